#include "librarylog.h"

#include "scannererror.h"

#include <ridge-sdk.h>

#include <exception>
#include <string_view>

namespace ridge::tool {
namespace {

void install(std::int32_t level, ridgeLogCallback callback, void* userContext) {
    const std::int32_t status = ridgeSetLogger(level, callback, userContext);
    if (status != RIDGE_SUCCESS) {
        throw scannerError("installing the log", status, "");
    }
}

/// Levels from the most to the least verbose have rising ranks.
std::size_t rank(std::int32_t level) {
    return std::string_view("DIWE").find(static_cast<char>(level));
}

} // namespace

void showLibraryLog(std::int32_t level, Messages& messages) {
    const auto show = [](std::int32_t, const char* line, void* userContext) {
        try {
            static_cast<Messages*>(userContext)->line(line);
        } catch (const std::exception&) {
            // A log line is lost rather than an exception let into the library.
        }
    };
    install(level, show, &messages);
}

LibraryLogRecorder::LibraryLogRecorder(std::optional<std::int32_t> levelToShow,
                                       Messages& shownMessages)
    : shownLevel(levelToShow), messages(shownMessages) {
    const auto keep = [](std::int32_t level, const char* line, void* userContext) {
        try {
            static_cast<LibraryLogRecorder*>(userContext)->record(level, line);
        } catch (const std::exception&) {
            // As above.
        }
    };
    install('D', keep, this);
}

LibraryLogRecorder::~LibraryLogRecorder() {
    // A logger cannot be removed, only replaced: nothing of the library may come here any more.
    ridgeSetLogger(
        'E', [](std::int32_t, const char*, void*) {}, nullptr);
    if (shownLevel) {
        showLibraryLog(*shownLevel, messages);
    }
}

std::vector<std::string> LibraryLogRecorder::lines() const {
    const std::lock_guard lock(mutex);
    return recorded;
}

void LibraryLogRecorder::record(std::int32_t level, const char* line) {
    {
        const std::lock_guard lock(mutex);
        recorded.push_back(withoutPacketBytes(line));
    }
    if (shownLevel && rank(level) >= rank(*shownLevel)) {
        messages.line(line);
    }
}

std::string withoutPacketBytes(const std::string& line) {
    constexpr std::string_view beginning = "] Data: ";
    const std::size_t position = line.find(beginning);
    if (position == std::string::npos) {
        return line;
    }
    return line.substr(0, position + beginning.size()) + "(left out)";
}

} // namespace ridge::tool
