#pragma once

#include "portend.h"
#include "virtualport.h"

#include <cstdint>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

namespace ridge::simulator::tests {

// For tests that give a number up and count on nobody else's taking it.
inline constexpr std::uint32_t reservedNumber = 200;

class PortTest : public testing::Test {
protected:
    explicit PortTest(std::unique_ptr<VirtualPort> created = createFreePort())
        : port(std::move(created)) {}

    PortEnd openHost() const { return PortEnd(port->hostName()); }
    PortEnd openLine() const { return PortEnd(port->lineName()); }

    std::unique_ptr<VirtualPort> port;
};

} // namespace ridge::simulator::tests
