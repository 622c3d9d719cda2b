#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace ridge::simulator {

inline constexpr std::uint8_t escapeByte = 0x7D;
inline constexpr std::uint8_t frameStart = 0x7E;
inline constexpr std::uint8_t frameEnd = 0x7F;

/// The bytes on the line for one frame. Deliberately not shared with the host's side of the
/// line, so that the two check each other.
std::vector<std::uint8_t> encodeFrame(std::span<const std::uint8_t> payload);

/// Finds the frames in the bytes from the line, however they are cut into pieces. Takes only
/// the three escapes that a sender has reason to produce.
class FrameDecoder {
public:
    static constexpr std::size_t capacity = 10005;

    /// The frames that these bytes complete, empty ones left out.
    std::vector<std::vector<std::uint8_t>> decode(std::span<const std::uint8_t> bytes);

    /// Forgets a frame under way.
    void reset();

    /// Frames given up because of a bad escape, of their length or of a new start.
    [[nodiscard]] std::uint64_t abandonedFrames() const { return abandoned; }

private:
    enum class State { idle, inFrame, escaped };

    void store(std::uint8_t byte);
    void abandon();

    State state = State::idle;
    std::vector<std::uint8_t> frame;
    std::uint64_t abandoned = 0;
};

} // namespace ridge::simulator
