#include "messages.h"

namespace ridge::tool {
namespace {

constexpr std::size_t timeWidth = 7;

} // namespace

Messages::Messages(std::ostream& output) : stream(output) {}

void Messages::progress(const std::string& text) {
    const std::string time = seconds(std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start));
    const std::string indent(time.size() < timeWidth ? timeWidth - time.size() : 0, ' ');
    line("[" + indent + time + "] " + text);
}

void Messages::error(const std::string& text) {
    line("ridge: " + text);
}

void Messages::line(const std::string& text) {
    const std::lock_guard lock(mutex);
    stream << text << '\n' << std::flush;
}

std::string seconds(std::chrono::milliseconds time) {
    const auto tenths = time.count() / 100;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

} // namespace ridge::tool
