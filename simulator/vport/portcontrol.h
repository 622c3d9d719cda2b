#pragma once

#include "controldevice.h"
#include "ridgevport_ioctl.h"

#include <cstdint>
#include <string>

namespace ridge::simulator {

// The NTSTATUS values that faults are usually given, named for the Win32 error a caller then sees.
enum class PortStatus : std::uint32_t {
    fileNotFound = 0xC0000034,      // ERROR_FILE_NOT_FOUND (2)
    accessDenied = 0xC0000022,      // ERROR_ACCESS_DENIED (5)
    notReady = 0xC00000A3,          // ERROR_NOT_READY (21)
    generalFailure = 0xC0000001,    // ERROR_GEN_FAILURE (31)
    operationAborted = 0xC0000120,  // ERROR_OPERATION_ABORTED (995)
    deviceError = 0xC0000185,       // ERROR_IO_DEVICE (1117)
    deviceNotConnected = 0xC000009D // ERROR_DEVICE_NOT_CONNECTED (1167)
};

enum class PortRequest : std::uint32_t {
    open = RIDGE_VPORT_REQUEST_OPEN,
    purge = RIDGE_VPORT_REQUEST_PURGE,
    getState = RIDGE_VPORT_REQUEST_GET_STATE,
    setState = RIDGE_VPORT_REQUEST_SET_STATE,
    setTimeouts = RIDGE_VPORT_REQUEST_SET_TIMEOUTS,
    setMask = RIDGE_VPORT_REQUEST_SET_MASK,
    waitOnMask = RIDGE_VPORT_REQUEST_WAIT_ON_MASK,
    read = RIDGE_VPORT_REQUEST_READ,
    write = RIDGE_VPORT_REQUEST_WRITE
};

enum class PortFlag : std::uint32_t {
    present = RIDGE_VPORT_PRESENT,
    plugged = RIDGE_VPORT_PLUGGED,
    hostOpen = RIDGE_VPORT_HOST_OPEN,
    lineOpen = RIDGE_VPORT_LINE_OPEN,
    hostWaits = RIDGE_VPORT_HOST_WAITS,
    lineWaits = RIDGE_VPORT_LINE_WAITS,
    hostReads = RIDGE_VPORT_HOST_READS,
    lineReads = RIDGE_VPORT_LINE_READS,
    hostWrites = RIDGE_VPORT_HOST_WRITES,
    lineWrites = RIDGE_VPORT_LINE_WRITES,
    hostHasData = RIDGE_VPORT_HOST_HAS_DATA,
    lineHasData = RIDGE_VPORT_LINE_HAS_DATA
};

struct PortState {
    std::uint32_t flags;
    std::uint32_t bytesForHost;
    std::uint32_t bytesForLine;
    // What has crossed the line since the port was created, and the performance counter when the
    // last of it did.
    std::uint64_t bytesFromHost;
    std::uint64_t bytesFromLine;
    std::int64_t hostLastSent;
    std::int64_t lineLastSent;

    bool has(PortFlag flag) const { return (flags & static_cast<std::uint32_t>(flag)) != 0; }
};

// Commands a virtual port, whichever process created it. Failures are thrown as std::system_error
// with the Win32 error as code. The driver must run.
class PortControl {
public:
    explicit PortControl(std::uint32_t number);
    virtual ~PortControl() = default;
    PortControl(const PortControl&) = delete;
    PortControl& operator=(const PortControl&) = delete;

    std::uint32_t number() const { return port; }
    std::string hostName() const; // "\\.\COMn"
    std::string lineName() const; // "\\.\RidgeLinen"

    PortState state() const;

    // Blocks until the flag is as wanted.
    void await(PortFlag flag, bool wanted = true) const;

    // Refuses a kind of the host's requests; a read of the port's state and its setting take
    // several requests each, and a refusal made once meets the first of them.
    void refuseOnce(PortRequest request, PortStatus status) const;
    void refuse(PortRequest request, PortStatus status) const;
    void accept(PortRequest request) const;

    // Leaves the host's writes pending until they are let go.
    void holdWrites() const;
    void releaseWrites() const;

    // Completes the host's pending event wait with an error; fails if there is none.
    void abortWait(PortStatus status) const;

    // Takes the host end away: what is pending completes with the first status, every later request
    // of the open handle is answered with the second, and the port cannot be opened.
    void unplug(PortStatus pending = PortStatus::operationAborted,
                PortStatus later = PortStatus::deviceNotConnected) const;
    // The host end can be opened again, with nothing buffered; old handles stay dead.
    void replug() const;

    // Removes the port before its creator does.
    void remove() const;

protected:
    const ControlDevice& control() const { return device; }

private:
    void sendRefusal(PortRequest request, std::uint32_t status, bool once) const;

    std::uint32_t port;
    ControlDevice device;
};

} // namespace ridge::simulator
