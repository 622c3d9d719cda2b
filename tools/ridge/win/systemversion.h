#pragma once

#include <string>

namespace ridge::tool {

/// Such as "Windows 10.0.19045".
[[nodiscard]] std::string systemVersion();

} // namespace ridge::tool
