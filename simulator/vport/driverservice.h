#pragma once

#include <filesystem>

namespace ridge::simulator {

// ridgevport.sys in the folder of the running program.
std::filesystem::path driverFileBesideProgram();

// Starts the virtual port driver unless it runs. Any number of processes may call it at once. The
// driver stays running afterwards. Throws std::runtime_error when it cannot be started or when the
// running one has another interface version.
void startDriver(const std::filesystem::path& driverFile);

} // namespace ridge::simulator
