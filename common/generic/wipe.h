#pragma once

#include <cstdint>
#include <span>

namespace ridge {

/// Overwrites what must not stay behind in memory.
inline void wipe(std::span<std::uint8_t> bytes) noexcept {
    for (std::uint8_t& byte : bytes) {
        // What is volatile must not be left out, even if nobody reads it again.
        static_cast<volatile std::uint8_t&>(byte) = 0;
    }
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
