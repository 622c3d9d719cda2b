#pragma once

#include "faults.h"

#include <cstdint>
#include <vector>

namespace ridge::simulator {

/// Counts what happens and says which faults strike.
class FaultInjector {
public:
    FaultInjector() = default;
    explicit FaultInjector(FaultSet faults);

    /// Notes one occurrence and returns the faults that strike it.
    FaultSet occurred(FaultPoint point, std::uint8_t command);

private:
    struct Counted {
        Fault fault;
        std::uint32_t occurrences = 0;
    };

    std::vector<Counted> entries;
};

} // namespace ridge::simulator
