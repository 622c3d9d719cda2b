#pragma once

#include "capturedimage.h"

#include <nlohmann/json.hpp>

#include <filesystem>

namespace ridge::tool {

/// What the scanner says about an image, and the file that the image lies in.
[[nodiscard]] nlohmann::ordered_json imageJson(const CapturedImage& image,
                                               const std::filesystem::path& file);

} // namespace ridge::tool
