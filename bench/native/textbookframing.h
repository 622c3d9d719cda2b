#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace ridge::bench {

/// Byte-stuffed framing as a textbook has it, one byte after the other: the reference for the
/// library's own.
class TextbookDecoder {
public:
    using OnFrame = std::function<void(const std::uint8_t* bytes, std::size_t size)>;

    explicit TextbookDecoder(OnFrame onFrame);

    void receive(const std::uint8_t* bytes, std::size_t size);

private:
    enum class State { idle, inFrame, escaped };

    inline void receiveByte(std::uint8_t byte);
    inline void store(std::uint8_t byte);

    OnFrame onFrame;
    State state = State::idle;
    std::size_t length = 0;
    std::array<std::uint8_t, 10005> frame{};
};

class TextbookEncoder {
public:
    using Write = std::function<void(const std::uint8_t* bytes, std::size_t size)>;

    explicit TextbookEncoder(Write write);

    /// Payloads of at most 10005 bytes.
    void send(const std::uint8_t* payload, std::size_t size);

private:
    Write write;
    std::array<std::uint8_t, 20012> frame{};
};

} // namespace ridge::bench
