#pragma once

#include <filesystem>

namespace ridge::simulator {

// The folder of the running program's file.
std::filesystem::path programFolder();

} // namespace ridge::simulator
