#pragma once

#include "portcontrol.h"

#include <cstdint>
#include <memory>

namespace ridge::simulator {

// Creates a virtual port and commands it. The port lives as long as this object, and no longer than
// its process.
class VirtualPort : public PortControl {
public:
    // Throws std::system_error: ERROR_ALREADY_EXISTS when the number is taken.
    explicit VirtualPort(std::uint32_t number);
};

// Creates a port with the first free number from 32, above those that real ports usually have, to
// 199. The numbers above are left to those who must choose for themselves.
std::unique_ptr<VirtualPort> createFreePort();

} // namespace ridge::simulator
