#include "serialend.h"

#include "systemfailure.h"

namespace ridge::bench {
namespace {

using simulator::ScopedHandle;
using simulator::throwSystemFailure;

ScopedHandle createEvent() {
    ScopedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event) {
        throwSystemFailure("cannot create an event");
    }
    return event;
}

ScopedHandle openPort(const std::string& name) {
    ScopedHandle port =
        simulator::validHandle(CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                           OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
    if (!port) {
        throwSystemFailure("cannot open " + name);
    }
    return port;
}

/// The calls that set up a scanner's line.
bool setUp(const ScopedHandle& port) {
    DCB settings{};
    settings.DCBlength = sizeof(settings);
    if (PurgeComm(port.get(), PURGE_TXCLEAR | PURGE_RXCLEAR) == 0 ||
        GetCommState(port.get(), &settings) == 0) {
        return false;
    }
    settings.BaudRate = CBR_115200;
    settings.ByteSize = 8;
    settings.Parity = NOPARITY;
    settings.StopBits = ONESTOPBIT;
    COMMTIMEOUTS timeouts{};
    // A read returns at once with what has arrived.
    timeouts.ReadIntervalTimeout = MAXDWORD;
    return SetCommState(port.get(), &settings) != 0 &&
           SetCommTimeouts(port.get(), &timeouts) != 0 && SetCommMask(port.get(), EV_RXCHAR) != 0;
}

OVERLAPPED overlappedWith(const ScopedHandle& event) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = event.get();
    return overlapped;
}

} // namespace

SerialEnd::SerialEnd(const std::string& name)
    : stopEvent(createEvent()), arrivalEvent(createEvent()), readEvent(createEvent()),
      writeEvent(createEvent()), port(openPort(name)) {
    if (!setUp(port)) {
        throwSystemFailure("cannot set up " + name);
    }
}

SerialEnd::~SerialEnd() {
    if (waiting) {
        CancelIo(port.get());
        WaitForSingleObject(arrivalEvent.get(), INFINITE);
    }
}

void SerialEnd::write(std::span<const std::uint8_t> bytes) {
    OVERLAPPED overlapped = overlappedWith(writeEvent);
    if (WriteFile(port.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr,
                  &overlapped) != 0) {
        return;
    }
    if (GetLastError() != ERROR_IO_PENDING) {
        throwSystemFailure("cannot write");
    }
    WaitForSingleObject(writeEvent.get(), INFINITE);
    DWORD written = 0;
    if (GetOverlappedResult(port.get(), &overlapped, &written, FALSE) == 0) {
        throwSystemFailure("cannot write");
    }
}

Awaited SerialEnd::await(DWORD timeoutMs) {
    if (!waiting) {
        startWait();
    }
    if (!waiting) {
        return Awaited::bytes;
    }
    const std::array<HANDLE, 2> events{stopEvent.get(), arrivalEvent.get()};
    switch (WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE,
                                   timeoutMs)) {
    case WAIT_OBJECT_0:
        return Awaited::stop;
    case WAIT_TIMEOUT:
        return Awaited::timeout;
    default:
        endWait();
        return Awaited::bytes;
    }
}

void SerialEnd::startWait() {
    wait = overlappedWith(arrivalEvent);
    if (WaitCommEvent(port.get(), &arrived, &wait) == 0) {
        if (GetLastError() != ERROR_IO_PENDING) {
            throwSystemFailure("cannot wait for bytes");
        }
        waiting = true;
    }
}

void SerialEnd::endWait() {
    waiting = false;
    DWORD transferred = 0;
    if (GetOverlappedResult(port.get(), &wait, &transferred, FALSE) == 0) {
        throwSystemFailure("cannot wait for bytes");
    }
}

std::span<const std::uint8_t> SerialEnd::read() {
    OVERLAPPED overlapped = overlappedWith(readEvent);
    DWORD count = 0;
    // Under the port's time-outs it completes at once.
    if (ReadFile(port.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &count,
                 &overlapped) == 0) {
        throwSystemFailure("cannot read");
    }
    return std::span(buffer).first(count);
}

} // namespace ridge::bench
