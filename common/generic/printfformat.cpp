#include "printfformat.h"

#include <cstddef>
#include <cstdio>

namespace ridge {

std::string vformatText(const char* format, std::va_list arguments) {
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length <= 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

std::string formatText(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        std::string text = vformatText(format, arguments);
        va_end(arguments);
        return text;
    } catch (...) {
        va_end(arguments);
        throw;
    }
}

} // namespace ridge
