#pragma once

#include "randomsource.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace ridge::simulator {

/// The mask of one host-assisted capture: it hides the images on the line and the host's verdict
/// about them.
class HostAssistance {
public:
    static constexpr std::size_t maskSize = 64;
    using Mask = std::array<std::uint8_t, maskSize>;

    explicit HostAssistance(const Mask& mask);

    static Mask randomMask(RandomSource& random);

    /// The mask as it is sent: its halves are exchanged.
    [[nodiscard]] std::vector<std::uint8_t> announcement() const;

    /// Masks pixels, or makes masked ones readable.
    void apply(std::span<std::uint8_t> bytes) const;

    /// Whether the host accepts the image; nothing when the message contradicts itself.
    [[nodiscard]] std::optional<bool>
    verdict(std::span<const std::uint8_t, maskSize> message) const;

private:
    Mask mask;
};

} // namespace ridge::simulator
