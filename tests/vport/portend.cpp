#include "portend.h"

#include "systemfailure.h"

#include <random>
#include <utility>

namespace ridge::simulator::tests {

namespace {

ScopedHandle openPort(const std::string& name) {
    return validHandle(CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                   OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
}

} // namespace

Operation::Operation(HANDLE portHandle)
    : port(portHandle), event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    overlapped.hEvent = event.get();
}

Operation::~Operation() {
    if (pended() && !waited) {
        CancelIoEx(port, &overlapped);
        wait();
    }
}

void Operation::started(BOOL result) {
    error = result != 0 ? ERROR_SUCCESS : GetLastError();
}

bool Operation::completed() const {
    return HasOverlappedIoCompleted(&overlapped);
}

void Operation::cancel() {
    if (CancelIoEx(port, &overlapped) == 0) {
        throwSystemFailure("cannot cancel");
    }
}

Outcome Operation::wait() {
    waited = true;
    if (error != ERROR_SUCCESS && error != ERROR_IO_PENDING) {
        return {.error = error, .count = 0};
    }
    Outcome outcome{.error = ERROR_SUCCESS, .count = 0};
    if (GetOverlappedResult(port, &overlapped, &outcome.count, TRUE) == 0) {
        outcome.error = GetLastError();
    }
    return outcome;
}

PortEnd::PortEnd(const std::string& name) : port(openPort(name)) {
    if (!port) {
        throwSystemFailure("cannot open " + name);
    }
    setReadTimeouts(MAXDWORD);
    if (SetCommMask(port.get(), EV_RXCHAR) == 0) {
        throwSystemFailure("cannot set the event mask of " + name);
    }
}

void PortEnd::setReadTimeouts(DWORD interval) const {
    COMMTIMEOUTS timeouts{};
    timeouts.ReadIntervalTimeout = interval;
    if (SetCommTimeouts(port.get(), &timeouts) == 0) {
        throwSystemFailure("cannot set time-outs");
    }
}

OperationPointer PortEnd::startRead(DWORD size) const {
    auto operation = std::make_unique<Operation>(port.get());
    operation->buffer.resize(size);
    operation->started(
        ReadFile(port.get(), operation->buffer.data(), size, nullptr, &operation->overlapped));
    return operation;
}

OperationPointer PortEnd::startWrite(Bytes bytes) const {
    auto operation = std::make_unique<Operation>(port.get());
    operation->buffer = std::move(bytes);
    operation->started(WriteFile(port.get(), operation->buffer.data(),
                                 static_cast<DWORD>(operation->buffer.size()), nullptr,
                                 &operation->overlapped));
    return operation;
}

OperationPointer PortEnd::startWait() const {
    auto operation = std::make_unique<Operation>(port.get());
    operation->started(WaitCommEvent(port.get(), &operation->events, &operation->overlapped));
    return operation;
}

void PortEnd::write(const Bytes& bytes) const {
    const Outcome outcome = startWrite(bytes)->wait();
    if (outcome.error != ERROR_SUCCESS || outcome.count != bytes.size()) {
        throwSystemFailure("cannot write", outcome.error);
    }
}

Bytes PortEnd::readAvailable() const {
    constexpr DWORD chunk = 30000;
    Bytes bytes;
    for (;;) {
        const OperationPointer read = startRead(chunk);
        const Outcome outcome = read->wait();
        if (outcome.error != ERROR_SUCCESS) {
            throwSystemFailure("cannot read", outcome.error);
        }
        if (outcome.count == 0) {
            return bytes;
        }
        bytes.insert(bytes.end(), read->buffer.begin(), read->buffer.begin() + outcome.count);
    }
}

Bytes PortEnd::readExactly(std::size_t size) const {
    Bytes bytes;
    while (bytes.size() < size) {
        const Outcome outcome = startWait()->wait();
        if (outcome.error != ERROR_SUCCESS) {
            throwSystemFailure("cannot wait for bytes", outcome.error);
        }
        const Bytes available = readAvailable();
        bytes.insert(bytes.end(), available.begin(), available.end());
    }
    return bytes;
}

DWORD openError(const std::string& name) {
    return openPort(name) ? ERROR_SUCCESS : GetLastError();
}

Bytes randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_int_distribution<unsigned> byte(0, 255);
    Bytes bytes(size);
    for (std::uint8_t& value : bytes) {
        value = static_cast<std::uint8_t>(byte(generator));
    }
    return bytes;
}

} // namespace ridge::simulator::tests
