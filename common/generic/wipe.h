#pragma once

#include <cstdint>
#include <cstring>
#include <span>

namespace ridge {

/// Overwrites what must not stay behind in memory.
inline void wipe(std::span<std::uint8_t> bytes) noexcept {
    // Which function it is has to be looked up, so the compiler cannot know that it may be left
    // out.
    static void* (*const volatile fill)(void*, int, std::size_t) = &std::memset;
    if (!bytes.empty()) {
        fill(bytes.data(), 0, bytes.size());
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
