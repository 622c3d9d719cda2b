#include "textbookchecksum.h"

namespace ridge::bench {

std::uint8_t textbookChecksum(const std::uint8_t* bytes, std::size_t count) {
    std::uint8_t sum = 0;
    for (std::size_t index = 0; index < count; ++index) {
        sum = static_cast<std::uint8_t>(sum + bytes[index]);
    }
    return static_cast<std::uint8_t>(-sum);
}

} // namespace ridge::bench
