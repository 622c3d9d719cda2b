#pragma once

#include <filesystem>
#include <string>

namespace ridge::tool {

/// The program's arguments and output are UTF-8, whatever the system's paths are made of. Throws
/// an exception of the standard library where the text is not UTF-8 but has to be.
[[nodiscard]] inline std::filesystem::path pathFromUtf8(const std::string& text) {
    return std::u8string(text.begin(), text.end());
}

[[nodiscard]] inline std::string utf8FromPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace ridge::tool
