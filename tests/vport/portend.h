#pragma once

#include "scopedhandle.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <windows.h>

namespace ridge::simulator::tests {

using Bytes = std::vector<std::uint8_t>;

constexpr DWORD success = ERROR_SUCCESS;

struct Outcome {
    DWORD error; // success or why the request failed
    DWORD count;
};

// One overlapped request and what it works on. A request still pending at the end is cancelled.
class Operation {
public:
    explicit Operation(HANDLE portHandle);
    ~Operation();
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    // To be called once, right after the request has been made.
    void started(BOOL result);

    bool pended() const { return error == ERROR_IO_PENDING; }
    bool completed() const;
    void cancel();
    Outcome wait();

    OVERLAPPED overlapped{};
    DWORD events = 0;
    Bytes buffer;

private:
    HANDLE port;
    ScopedHandle event;
    DWORD error = ERROR_SUCCESS;
    bool waited = false;
};

using OperationPointer = std::unique_ptr<Operation>;

// One end of a virtual port, used through the system's serial port calls.
class PortEnd {
public:
    // Opens with reads that return at once and the character-received event set.
    explicit PortEnd(const std::string& name);

    HANDLE handle() const { return port.get(); }

    OperationPointer startRead(DWORD size) const;
    OperationPointer startWrite(Bytes bytes) const;
    OperationPointer startWait() const;

    void write(const Bytes& bytes) const;
    Bytes readAvailable() const;
    // Waits for events and reads until so many bytes have come.
    Bytes readExactly(std::size_t size) const;
    void setReadTimeouts(DWORD interval) const;

private:
    ScopedHandle port;
};

// ERROR_SUCCESS if the port can be opened.
DWORD openError(const std::string& name);

Bytes randomBytes(std::size_t size, unsigned seed);

} // namespace ridge::simulator::tests
