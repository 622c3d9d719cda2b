#include "lineframing.h"

#include <utility>

namespace ridge::simulator {

namespace {

constexpr std::uint8_t escapeDistance = 0x20;

bool needsEscape(std::uint8_t byte) {
    return byte >= escapeByte && byte <= frameEnd;
}

} // namespace

std::vector<std::uint8_t> encodeFrame(std::span<const std::uint8_t> payload) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(payload.size() + payload.size() / 16 + 2);
    bytes.push_back(frameStart);
    for (const std::uint8_t byte : payload) {
        if (needsEscape(byte)) {
            bytes.push_back(escapeByte);
            bytes.push_back(static_cast<std::uint8_t>(byte - escapeDistance));
        } else {
            bytes.push_back(byte);
        }
    }
    bytes.push_back(frameEnd);
    return bytes;
}

std::vector<std::vector<std::uint8_t>> FrameDecoder::decode(std::span<const std::uint8_t> bytes) {
    std::vector<std::vector<std::uint8_t>> frames;
    for (const std::uint8_t byte : bytes) {
        if (byte == frameStart) {
            if (state != State::idle && !frame.empty()) {
                ++abandoned;
            }
            state = State::inFrame;
            frame.clear();
        } else if (state == State::escaped) {
            const auto value = static_cast<std::uint8_t>(byte + escapeDistance);
            if (needsEscape(value)) {
                state = State::inFrame;
                store(value);
            } else {
                abandon();
            }
        } else if (state == State::inFrame) {
            if (byte == frameEnd) {
                state = State::idle;
                if (!frame.empty()) {
                    frames.push_back(std::exchange(frame, {}));
                }
            } else if (byte == escapeByte) {
                state = State::escaped;
            } else {
                store(byte);
            }
        }
    }
    return frames;
}

void FrameDecoder::reset() {
    state = State::idle;
    frame.clear();
}

void FrameDecoder::store(std::uint8_t byte) {
    if (frame.size() < capacity) {
        frame.push_back(byte);
    } else {
        abandon();
    }
}

void FrameDecoder::abandon() {
    ++abandoned;
    reset();
}

} // namespace ridge::simulator
