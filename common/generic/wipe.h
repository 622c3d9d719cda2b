#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace ridge {

/// Overwrites what must not stay behind in memory.
inline void wipe(std::span<std::uint8_t> bytes) noexcept {
    // The compiler must read what is volatile, and cannot know the function that it finds there: it
    // must not leave the call out, even if nobody reads the bytes again.
    using Fill = void (*)(std::span<std::uint8_t>);
    static constexpr auto fillWithZeros = [](std::span<std::uint8_t> zeroed) {
        std::fill(zeroed.begin(), zeroed.end(), std::uint8_t{0});
    };
    static const volatile Fill fill = fillWithZeros;
    fill(bytes);
}

/// Wipes a container of bytes, as it is then, at the end of its scope.
template <typename Bytes>
class WipedAtEnd {
public:
    explicit WipedAtEnd(Bytes& container) : bytes(container) {}
    ~WipedAtEnd() { wipe(bytes); }

    WipedAtEnd(const WipedAtEnd&) = delete;
    WipedAtEnd& operator=(const WipedAtEnd&) = delete;

private:
    Bytes& bytes;
};

} // namespace ridge
