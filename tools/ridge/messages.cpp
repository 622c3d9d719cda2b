#include "messages.h"

namespace ridge::tool {
namespace {

constexpr std::size_t timeWidth = 7;

} // namespace

Messages::Messages(std::ostream& output, const Clock& timeSource,
                   std::optional<std::size_t> terminalColumns)
    : stream(output), clock(timeSource), columns(terminalColumns), start(timeSource.now()) {}

void Messages::progress(const std::string& text) {
    const std::string time =
        seconds(std::chrono::duration_cast<std::chrono::milliseconds>(clock.now() - start));
    const std::string indent(time.size() < timeWidth ? timeWidth - time.size() : 0, ' ');
    line("[" + indent + time + "] " + text);
}

void Messages::error(const std::string& text) {
    line("ridge: " + text);
}

void Messages::line(const std::string& text) {
    const std::lock_guard lock(mutex);
    const std::string status = shownStatus;
    overwriteStatus("");
    stream << text << '\n';
    overwriteStatus(status);
    stream << std::flush;
}

void Messages::status(const std::string& text) {
    if (!columns) {
        return;
    }
    const std::lock_guard lock(mutex);
    overwriteStatus(text.substr(0, *columns));
    stream << std::flush;
}

void Messages::eraseStatus() {
    status("");
}

void Messages::overwriteStatus(const std::string& text) {
    if (text == shownStatus) {
        return;
    }
    if (text.size() < shownStatus.size()) {
        stream << '\r' << std::string(shownStatus.size(), ' ');
    }
    stream << '\r' << text;
    shownStatus = text;
}

std::string seconds(std::chrono::milliseconds time) {
    const auto tenths = time.count() / 100;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

} // namespace ridge::tool
