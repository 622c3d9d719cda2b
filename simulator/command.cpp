#include "command.h"

#include <algorithm>
#include <array>

namespace ridge::simulator {

namespace {

constexpr std::array<CommandName, 17> names{{
    {Command::startCapture, "START CAPTURE"},
    {Command::getCaptureData, "GET CAPTURE DATA"},
    {Command::stopCapture, "STOP CAPTURE"},
    {Command::streamStart, "STREAM START"},
    {Command::getStreamData, "GET STREAM DATA"},
    {Command::getDeviceSettings, "GET DEVICE SETTINGS"},
    {Command::setSettings, "SET SETTINGS"},
    {Command::hostAssistedCaptureStart, "HOST ASSISTED CAPTURE START"},
    {Command::hostAssistedCaptureResult, "HOST ASSISTED CAPTURE RESULT"},
    {Command::setKey, "SET KEY"},
    {Command::createCsr, "CREATE CSR"},
    {Command::certSet, "CERT SET"},
    {Command::certGet, "CERT GET"},
    {Command::certClear, "CERT CLEAR"},
    {Command::clearKey, "CLEAR KEY"},
    {Command::getDeviceInfo, "GET DEVICE INFO"},
    {Command::ping, "PING"},
}};

char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace

std::span<const CommandName> commandNames() {
    return names;
}

std::string_view nameOfCommand(std::uint8_t code) {
    const auto found = std::ranges::find(names, static_cast<Command>(code), &CommandName::command);
    return found == names.end() ? std::string_view() : found->name;
}

std::optional<Command> commandNamed(std::string_view name) {
    const auto found = std::ranges::find_if(
        names, [name](const CommandName& entry) { return sameText(entry.name, name); });
    return found == names.end() ? std::nullopt : std::optional(found->command);
}

bool sameText(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, {}, upperCase, upperCase);
}

} // namespace ridge::simulator
