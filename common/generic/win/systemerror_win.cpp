#include "systemerror.h"

#include "printfformat.h"

#include <windows.h>

#include <memory>

namespace ridge {

std::string systemErrorText(std::uint32_t errorCode) {
    char* buffer = nullptr;
    // With FORMAT_MESSAGE_ALLOCATE_BUFFER the pointer's address stands in for the buffer.
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, errorCode, 0, reinterpret_cast<char*>(&buffer), 0, nullptr);
    if (length == 0) {
        return formatText("Error %d.", static_cast<int>(errorCode));
    }
    const std::unique_ptr<char, decltype(&LocalFree)> owner(buffer, &LocalFree);
    return std::string(buffer, length);
}

} // namespace ridge
