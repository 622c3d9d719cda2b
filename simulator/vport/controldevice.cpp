#include "controldevice.h"

#include "ridgevport_ioctl.h"
#include "systemfailure.h"

#include <stdexcept>

#include <windows.h>

namespace ridge::simulator {

namespace {

ScopedHandle openControl() {
    return validHandle(CreateFileA(RIDGE_VPORT_CONTROL_NAME, GENERIC_READ | GENERIC_WRITE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                   FILE_FLAG_OVERLAPPED, nullptr));
}

} // namespace

bool ControlDevice::exists() {
    return openControl() != nullptr;
}

ControlDevice::ControlDevice() : handle(openControl()) {
    if (!handle) {
        throwSystemFailure("cannot reach the virtual port driver");
    }
}

void ControlDevice::transfer(unsigned long code, std::span<const std::byte> input,
                             std::span<std::byte> output) const {
    const ScopedHandle ended(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!ended) {
        throwSystemFailure("cannot create an event");
    }
    OVERLAPPED overlapped{};
    overlapped.hEvent = ended.get();
    DWORD size = 0;
    if (DeviceIoControl(handle.get(), code, const_cast<std::byte*>(input.data()),
                        static_cast<DWORD>(input.size()), output.data(),
                        static_cast<DWORD>(output.size()), nullptr, &overlapped) == 0) {
        if (GetLastError() != ERROR_IO_PENDING) {
            throwSystemFailure("the virtual port driver refuses a request");
        }
        // Waits on the event: under an unmended Wine the result's waiting form does not wait.
        WaitForSingleObject(ended.get(), INFINITE);
    }
    if (GetOverlappedResult(handle.get(), &overlapped, &size, FALSE) == 0) {
        throwSystemFailure("the virtual port driver refuses a request");
    }
    if (size != output.size()) {
        throw std::runtime_error("the virtual port driver gives a record of another size");
    }
}

} // namespace ridge::simulator
