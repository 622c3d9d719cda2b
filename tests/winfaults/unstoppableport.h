#pragma once

#include <string>

namespace ridge::test {

/// Closes a port whose receive thread cannot be told to stop. The process should not get to the end
/// of this.
int closeUnstoppablePort(const std::string& portName);

} // namespace ridge::test
