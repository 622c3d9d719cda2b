#include "hostassistance.h"

#include <algorithm>
#include <iterator>

namespace ridge::simulator {

HostAssistance::HostAssistance(const Mask& mask) : mask(mask) {}

HostAssistance::Mask HostAssistance::randomMask(RandomSource& random) {
    Mask mask{};
    std::ranges::generate(mask, [&random] { return random.byte(); });
    return mask;
}

std::vector<std::uint8_t> HostAssistance::announcement() const {
    std::vector<std::uint8_t> halves;
    std::ranges::rotate_copy(mask, mask.begin() + maskSize / 2, std::back_inserter(halves));
    return halves;
}

void HostAssistance::apply(std::span<std::uint8_t> bytes) const {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] ^= mask[i % maskSize];
    }
}

std::optional<bool> HostAssistance::verdict(std::span<const std::uint8_t, maskSize> message) const {
    Mask clear{};
    std::ranges::copy(message, clear.begin());
    apply(clear);
    // Byte 0 says where the verdict stands; a neighbour of the verdict repeats that place.
    const std::size_t place = clear[0];
    if (place == 0 || place >= maskSize) {
        return std::nullopt;
    }
    const std::size_t copy = place == maskSize - 1 ? place - 1 : place + 1;
    if (clear[copy] != place || clear[place] > 1) {
        return std::nullopt;
    }
    return clear[place] == 1;
}

} // namespace ridge::simulator
