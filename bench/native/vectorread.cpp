#include "vectorread.h"

#include <array>

namespace ridge::bench {
namespace {

/// Two vectors of 16 bytes.
using Block = std::array<std::uint8_t, 32>;

/// Compilers make a load and an OR of each vector.
void look(const std::uint8_t* bytes, Block& seen) {
    for (std::size_t lane = 0; lane < seen.size(); ++lane) {
        seen[lane] |= bytes[lane];
    }
}

} // namespace

std::uint8_t readInVectors(const std::uint8_t* bytes, std::size_t count) {
    // Eight vectors, none of which waits for another.
    constexpr std::size_t step = 4 * sizeof(Block);
    Block first{};
    Block second{};
    Block third{};
    Block fourth{};
    std::size_t position = 0;
    for (; position + step <= count; position += step) {
        look(bytes + position, first);
        look(bytes + position + sizeof(Block), second);
        look(bytes + position + 2 * sizeof(Block), third);
        look(bytes + position + 3 * sizeof(Block), fourth);
    }
    look(second.data(), first);
    look(third.data(), first);
    look(fourth.data(), first);
    std::uint8_t all = 0;
    for (const std::uint8_t lane : first) {
        all |= lane;
    }
    for (; position < count; ++position) {
        all |= bytes[position];
    }
    return all;
}

} // namespace ridge::bench
