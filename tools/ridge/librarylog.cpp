#include "librarylog.h"

#include "scannererror.h"

#include <ridge-sdk.h>

#include <exception>

namespace ridge::tool {

void showLibraryLog(std::int32_t level, Messages& messages) {
    const auto show = [](std::int32_t, const char* line, void* userContext) {
        try {
            static_cast<Messages*>(userContext)->line(line);
        } catch (const std::exception&) {
            // A log line is lost rather than an exception let into the library.
        }
    };
    const std::int32_t status = ridgeSetLogger(level, show, &messages);
    if (status != RIDGE_SUCCESS) {
        throw scannerError("installing the log", status, "");
    }
}

} // namespace ridge::tool
