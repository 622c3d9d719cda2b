#include "consoleterminals.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <windows.h>

namespace ridge::tool {
namespace {

/// Nothing when the stream does not go to a console.
std::optional<DWORD> consoleMode(DWORD stream) {
    DWORD mode = 0;
    if (GetConsoleMode(GetStdHandle(stream), &mode) == 0) {
        return std::nullopt;
    }
    return mode;
}

std::optional<std::size_t> columns(DWORD stream) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(stream), &info) == 0) {
        return std::nullopt;
    }
    // A character in the last column may already begin a new line.
    return static_cast<std::size_t>(
        std::max(1, static_cast<int>(info.srWindow.Right) - info.srWindow.Left));
}

/// The variable by which users tell all programs that they want no colours.
bool coloursAreUnwanted() {
    const char* const value = std::getenv("NO_COLOR");
    return value != nullptr && !std::string_view(value).empty();
}

} // namespace

bool inputIsTerminal() {
    return consoleMode(STD_INPUT_HANDLE).has_value();
}

std::optional<Terminal> outputTerminal() {
    const std::optional<DWORD> mode = consoleMode(STD_OUTPUT_HANDLE);
    const std::optional<std::size_t> width = columns(STD_OUTPUT_HANDLE);
    if (!mode || !width) {
        return std::nullopt;
    }
    return Terminal{*width,
                    (*mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0 && !coloursAreUnwanted()};
}

std::optional<std::size_t> errorColumns() {
    return columns(STD_ERROR_HANDLE);
}

ConsoleEscapeSequences::ConsoleEscapeSequences() : modeBefore(consoleMode(STD_OUTPUT_HANDLE)) {
    if (modeBefore) {
        SetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE),
                       *modeBefore | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
}

ConsoleEscapeSequences::~ConsoleEscapeSequences() {
    if (modeBefore) {
        SetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), *modeBefore);
    }
}

} // namespace ridge::tool
