#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace ridge::simulator {

enum class Command : std::uint8_t {
    startCapture = 0x10,
    getCaptureData = 0x11,
    stopCapture = 0x12,
    streamStart = 0x13,
    getStreamData = 0x14,
    getDeviceSettings = 0x15,
    setSettings = 0x16,
    hostAssistedCaptureStart = 0x17,
    hostAssistedCaptureResult = 0x18,
    setKey = 0x20,
    createCsr = 0x21,
    certSet = 0x22,
    certGet = 0x23,
    certClear = 0x24,
    clearKey = 0x2C,
    getDeviceInfo = 0x30,
    ping = 0x31,
};

struct CommandName {
    Command command;
    std::string_view name;
};

/// All commands with the names that hosts use in their messages.
std::span<const CommandName> commandNames();

/// Empty for a code that is no command.
std::string_view nameOfCommand(std::uint8_t code);

/// The name may be in upper or lower case.
std::optional<Command> commandNamed(std::string_view name);

/// Compares ASCII texts without regard to case.
bool sameText(std::string_view left, std::string_view right);

} // namespace ridge::simulator
