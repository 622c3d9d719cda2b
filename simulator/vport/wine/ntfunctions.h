#pragma once

#include <windows.h>

namespace ridge::simulator {

// A function that ntdll exports; null if it does not.
template <typename Function>
Function ntFunction(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), name)));
}

inline bool isWine() {
    return ntFunction<void*>("wine_get_version") != nullptr;
}

} // namespace ridge::simulator
