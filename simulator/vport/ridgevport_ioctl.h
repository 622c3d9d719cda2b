/* Control interface of the virtual COM port driver, shared by the driver and its clients.
 *
 * The control device \\.\RidgeVport takes the requests below; all of them name the port they are
 * about, so any process may command any port. A port lives as long as the control handle that
 * created it: when that handle is closed, by its owner or by the end of the owner's process, the
 * port and both its names disappear.
 *
 * Port n has a host end \\.\COMn and a line end \\.\RidgeLinen. Each end takes one handle at a
 * time and answers the serial port requests of the system. What is written at one end is read at
 * the other; bytes for an end that nobody has open are dropped, as on a real line.
 */
#pragma once

#include <stdint.h>

#if !defined(CTL_CODE)
#include <windows.h>

#include <winioctl.h>
#endif

/* Raised whenever a record or a code below changes its meaning. */
#define RIDGE_VPORT_VERSION 2u

#define RIDGE_VPORT_CONTROL_NAME "\\\\.\\RidgeVport"
#define RIDGE_VPORT_HOST_PREFIX "\\\\.\\COM"
#define RIDGE_VPORT_LINE_PREFIX "\\\\.\\RidgeLine"

#define RIDGE_VPORT_FIRST 1u
#define RIDGE_VPORT_LAST 255u

/* Bytes that each direction holds before a write is left pending. */
#define RIDGE_VPORT_FIFO_SIZE 65536u

#define RIDGE_VPORT_CODE(number)                                                                   \
    CTL_CODE(FILE_DEVICE_UNKNOWN, 0x900 + (number), METHOD_BUFFERED, FILE_ANY_ACCESS)

/* out: uint32_t, RIDGE_VPORT_VERSION of the running driver */
#define RIDGE_VPORT_GET_VERSION RIDGE_VPORT_CODE(0)
/* in: RidgeVportPort; fails with STATUS_OBJECT_NAME_COLLISION when the port or its name exists */
#define RIDGE_VPORT_CREATE RIDGE_VPORT_CODE(1)
/* in: RidgeVportPort */
#define RIDGE_VPORT_REMOVE RIDGE_VPORT_CODE(2)
/* in: RidgeVportPort; out: RidgeVportState */
#define RIDGE_VPORT_GET_STATE RIDGE_VPORT_CODE(3)
/* in: RidgeVportAwaitState; out: RidgeVportState; pending until (flags & mask) == flags wanted */
#define RIDGE_VPORT_AWAIT_STATE RIDGE_VPORT_CODE(4)
/* in: RidgeVportRefuse */
#define RIDGE_VPORT_REFUSE RIDGE_VPORT_CODE(5)
/* in: RidgeVportHoldWrites */
#define RIDGE_VPORT_HOLD_WRITES RIDGE_VPORT_CODE(6)
/* in: RidgeVportAbortWait; fails with STATUS_NOT_FOUND when the host has no event wait pending */
#define RIDGE_VPORT_ABORT_WAIT RIDGE_VPORT_CODE(7)
/* in: RidgeVportUnplug; fails with STATUS_INVALID_DEVICE_STATE when already unplugged */
#define RIDGE_VPORT_UNPLUG RIDGE_VPORT_CODE(8)
/* in: RidgeVportPort; fails with STATUS_INVALID_DEVICE_STATE when plugged in */
#define RIDGE_VPORT_REPLUG RIDGE_VPORT_CODE(9)
/* Sent to a handle of either end. out: RidgeVportOpenResult, how the driver answered its opening */
#define RIDGE_VPORT_GET_OPEN_RESULT RIDGE_VPORT_CODE(10)

/* Requests of the host end that can be refused. */
enum RidgeVportRequest {
    RIDGE_VPORT_REQUEST_OPEN,
    RIDGE_VPORT_REQUEST_PURGE,
    RIDGE_VPORT_REQUEST_GET_STATE,
    RIDGE_VPORT_REQUEST_SET_STATE,
    RIDGE_VPORT_REQUEST_SET_TIMEOUTS,
    RIDGE_VPORT_REQUEST_SET_MASK,
    RIDGE_VPORT_REQUEST_WAIT_ON_MASK,
    RIDGE_VPORT_REQUEST_READ,
    RIDGE_VPORT_REQUEST_WRITE,
    RIDGE_VPORT_REQUEST_COUNT
};

enum RidgeVportFlag {
    RIDGE_VPORT_PRESENT = 0x0001,
    RIDGE_VPORT_PLUGGED = 0x0002,
    RIDGE_VPORT_HOST_OPEN = 0x0004,
    RIDGE_VPORT_LINE_OPEN = 0x0008,
    /* an event wait, a read or a write of that end is pending */
    RIDGE_VPORT_HOST_WAITS = 0x0010,
    RIDGE_VPORT_LINE_WAITS = 0x0020,
    RIDGE_VPORT_HOST_READS = 0x0040,
    RIDGE_VPORT_LINE_READS = 0x0080,
    RIDGE_VPORT_HOST_WRITES = 0x0100,
    RIDGE_VPORT_LINE_WRITES = 0x0200,
    /* that end has bytes to read */
    RIDGE_VPORT_HOST_HAS_DATA = 0x0400,
    RIDGE_VPORT_LINE_HAS_DATA = 0x0800
};

struct RidgeVportPort {
    uint32_t port;
};

struct RidgeVportState {
    /* bytes that have crossed the line since the port was created */
    uint64_t bytesFromHost;
    uint64_t bytesFromLine;
    /* performance counter when the last of them crossed; 0 before the first */
    int64_t hostLastSent;
    int64_t lineLastSent;
    uint32_t flags; /* RidgeVportFlag; 0 for a port that does not exist */
    uint32_t bytesForHost;
    uint32_t bytesForLine;
};

struct RidgeVportAwaitState {
    uint32_t port;
    uint32_t mask;
    uint32_t wanted;
};

struct RidgeVportRefuse {
    uint32_t port;
    uint32_t request; /* RidgeVportRequest */
    uint32_t status;  /* an NTSTATUS of error severity; 0 ends the refusal */
    uint32_t once;    /* 0: until ended; otherwise the next request only */
};

struct RidgeVportHoldWrites {
    uint32_t port;
    uint32_t hold; /* 0: let them go */
};

struct RidgeVportAbortWait {
    uint32_t port;
    uint32_t status; /* an NTSTATUS of error severity */
};

struct RidgeVportUnplug {
    uint32_t port;
    uint32_t pendingStatus; /* completes what the host has pending; error severity */
    uint32_t laterStatus;   /* answers every further request of that handle; error severity */
};

/* Tells an answer of this driver from another one's. */
#define RIDGE_VPORT_SIGNATURE 0x54525056u

struct RidgeVportOpenResult {
    uint32_t signature;
    uint32_t status; /* 0, or why the handle is refused */
};
