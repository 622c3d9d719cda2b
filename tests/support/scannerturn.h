#pragma once

#include "scannermodel.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace ridge::test {

/// What a simulated scanner says to these bytes; nothing when it has nothing to say by itself
/// either. Its time jumps to what comes next.
inline std::vector<std::uint8_t> scannerTurn(simulator::ScannerModel& model, simulator::Time& now,
                                             const std::vector<std::uint8_t>& bytes) {
    model.receive(bytes, now);
    std::vector<std::uint8_t> output = model.takeOutput();
    while (output.empty()) {
        const std::optional<simulator::Time> deadline = model.nextDeadline();
        if (!deadline) {
            break;
        }
        now = std::max(now, *deadline);
        model.advance(now);
        output = model.takeOutput();
    }
    return output;
}

} // namespace ridge::test
