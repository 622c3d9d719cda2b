#pragma once

#include <windows.h>

namespace ridge {

/// Owns an operating-system handle. Both of the system's values for "no handle" count as none.
class ScopedHandle {
public:
    explicit ScopedHandle(HANDLE ownedHandle = INVALID_HANDLE_VALUE) : handle(ownedHandle) {}
    ~ScopedHandle() { reset(); }

    ScopedHandle(const ScopedHandle&) = delete;
    ScopedHandle& operator=(const ScopedHandle&) = delete;

    [[nodiscard]] HANDLE get() const { return handle; }
    [[nodiscard]] bool valid() const { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }

    void reset(HANDLE newHandle = INVALID_HANDLE_VALUE) {
        if (valid()) {
            CloseHandle(handle);
        }
        handle = newHandle;
    }

private:
    HANDLE handle;
};

} // namespace ridge
