#pragma once

#include "utf8path.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <filesystem>

namespace ridge::tool {

/// A file that a command has written.
[[nodiscard]] inline nlohmann::ordered_json fileJson(const std::filesystem::path& file,
                                                     std::size_t size) {
    return {{"file", utf8FromPath(file)}, {"size", size}};
}

} // namespace ridge::tool
