#include "ridgeexception.h"

#include "logmessage.h"
#include "statuscode.h"

#include <utility>

namespace ridge {

RidgeException::RidgeException(const char* sourceFile, int line, std::int32_t code,
                               const char* format, ...)
    : statusCode(code) {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        message = vformatText(format, arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
    logConstruction(sourceFile, line);
}

RidgeException::RidgeException(const char* sourceFile, int line, std::string text)
    : statusCode(status::serialPort), message(std::move(text)) {
    logConstruction(sourceFile, line);
}

void RidgeException::logConstruction(const char* sourceFile, int line) const noexcept {
    logMessage(logError, sourceFile, line, "Error %d - %s", static_cast<int>(statusCode),
               message.c_str());
}

} // namespace ridge
