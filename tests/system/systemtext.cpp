#include "systemtext.h"

#include <windows.h>

namespace ridge::test {

std::string systemText(unsigned long code) {
    char* buffer = nullptr;
    FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                       FORMAT_MESSAGE_IGNORE_INSERTS,
                   nullptr, code, 0, reinterpret_cast<char*>(&buffer), 0, nullptr);
    std::string text = buffer == nullptr ? std::string() : std::string(buffer);
    LocalFree(buffer);
    return text;
}

} // namespace ridge::test
