#include "virtualport.h"

#include <stdexcept>
#include <system_error>

#include <windows.h>

namespace ridge::simulator {

VirtualPort::VirtualPort(std::uint32_t number) : PortControl(number) {
    control().send(RIDGE_VPORT_CREATE, RidgeVportPort{.port = number});
}

std::unique_ptr<VirtualPort> createFreePort() {
    constexpr std::uint32_t first = 32;
    constexpr std::uint32_t last = 199;
    for (std::uint32_t number = first; number <= last; ++number) {
        try {
            return std::make_unique<VirtualPort>(number);
        } catch (const std::system_error& error) {
            if (error.code().value() != ERROR_ALREADY_EXISTS) {
                throw;
            }
        }
    }
    throw std::runtime_error("no virtual port number is free");
}

} // namespace ridge::simulator
