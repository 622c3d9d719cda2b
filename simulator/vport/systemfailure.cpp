#include "systemfailure.h"

#include <system_error>

#include <windows.h>

namespace ridge::simulator {

void throwSystemFailure(const std::string& action) {
    throwSystemFailure(action, GetLastError());
}

void throwSystemFailure(const std::string& action, unsigned long error) {
    throw std::system_error(static_cast<int>(error), std::system_category(),
                            action + " (error " + std::to_string(error) + ")");
}

} // namespace ridge::simulator
