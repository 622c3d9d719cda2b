#include "randombytes.h"

#include <limits>
#include <random>

namespace ridge {

void fillRandom(std::span<std::uint8_t> bytes) {
    constexpr double scale = 255.0;
    std::random_device systemSource;
    std::mt19937 generator(systemSource());
    for (std::uint8_t& byte : bytes) {
        const auto uniform =
            std::generate_canonical<double, std::numeric_limits<double>::digits>(generator);
        byte = static_cast<std::uint8_t>(uniform * scale);
    }
}

} // namespace ridge
