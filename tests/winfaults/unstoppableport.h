#pragma once

#include <cstdint>
#include <string>

namespace ridge::test {

/// Makes the library close a port whose receive thread cannot be told to stop: by "disconnect",
/// after a "failed-connect", or when a worker finds a "failed-port". The process should not get to
/// the end of this.
int closeUnstoppablePort(const std::string& way, std::uint32_t portNumber);

} // namespace ridge::test
