#pragma once

#include <memory>

#include <windows.h>

namespace ridge::simulator {

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

// Never holds INVALID_HANDLE_VALUE: wrap what may be it with validHandle().
using ScopedHandle = std::unique_ptr<void, HandleCloser>;

inline ScopedHandle validHandle(HANDLE handle) {
    return ScopedHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

} // namespace ridge::simulator
