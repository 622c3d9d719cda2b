#include "scannererror.h"

namespace ridge::tool {
namespace {

/// The system's texts end in a line break.
std::string withoutTrailingSpace(const std::string& text) {
    return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}

} // namespace

CommandError scannerError(const std::string& activity, std::int32_t libraryStatus,
                          const std::string& libraryText, ExitStatus exitStatus) {
    std::string text = withoutTrailingSpace(libraryText);
    if (text.empty()) {
        text = "failed";
    }
    return {exitStatus, activity + ": " + text + " (status " + std::to_string(libraryStatus) + ")",
            libraryStatus};
}

} // namespace ridge::tool
