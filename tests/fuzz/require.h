#pragma once

#include <cstdlib>

namespace ridge::test {

/// What does not hold is a crash, which the fuzzer keeps.
inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace ridge::test
