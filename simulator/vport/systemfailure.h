#pragma once

#include <string>

namespace ridge::simulator {

// Throws std::system_error with the calling thread's last error.
[[noreturn]] void throwSystemFailure(const std::string& action);
[[noreturn]] void throwSystemFailure(const std::string& action, unsigned long error);

} // namespace ridge::simulator
