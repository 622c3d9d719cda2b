#include "contrast.h"

#include <array>
#include <cstddef>

namespace ridge::tool {
namespace {

/// The grey level that `rank` pixels lie below.
int levelAtRank(const std::array<std::size_t, 256>& histogram, std::size_t rank) {
    int level = 0;
    for (std::size_t below = 0; const std::size_t count : histogram) {
        below += count;
        if (below > rank) {
            break;
        }
        ++level;
    }
    return level;
}

} // namespace

int contrast(const std::vector<std::uint8_t>& pixels) {
    if (pixels.empty()) {
        return 0;
    }
    std::array<std::size_t, 256> histogram{};
    for (const std::uint8_t pixel : pixels) {
        ++histogram[pixel];
    }
    const std::size_t tenth = pixels.size() / 10;
    return levelAtRank(histogram, pixels.size() - 1 - tenth) - levelAtRank(histogram, tenth);
}

} // namespace ridge::tool
