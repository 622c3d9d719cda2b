#include "textbookframing.h"

#include <utility>

namespace ridge::bench {
namespace {

constexpr std::uint8_t escapeByte = 0x7D;
constexpr std::uint8_t startFlag = 0x7E;
constexpr std::uint8_t endFlag = 0x7F;
constexpr std::uint8_t escapeBit = 0x20;

} // namespace

TextbookDecoder::TextbookDecoder(OnFrame frameFunction) : onFrame(std::move(frameFunction)) {}

inline void TextbookDecoder::store(std::uint8_t byte) {
    if (length == frame.size()) {
        state = State::idle;
        return;
    }
    frame[length] = byte;
    ++length;
}

inline void TextbookDecoder::receiveByte(std::uint8_t byte) {
    if (byte == startFlag) {
        state = State::inFrame;
        length = 0;
        return;
    }
    switch (state) {
    case State::idle:
        break;
    case State::inFrame:
        if (byte == endFlag) {
            state = State::idle;
            if (length > 0) {
                onFrame(frame.data(), length);
            }
        } else if (byte == escapeByte) {
            state = State::escaped;
        } else {
            store(byte);
        }
        break;
    case State::escaped:
        state = State::inFrame;
        store(byte ^ escapeBit);
        break;
    }
}

void TextbookDecoder::receive(const std::uint8_t* bytes, std::size_t size) {
    for (std::size_t index = 0; index < size; ++index) {
        receiveByte(bytes[index]);
    }
}

TextbookEncoder::TextbookEncoder(Write writeFunction) : write(std::move(writeFunction)) {}

void TextbookEncoder::send(const std::uint8_t* payload, std::size_t size) {
    std::size_t length = 0;
    frame[length++] = startFlag;
    for (std::size_t index = 0; index < size; ++index) {
        const std::uint8_t byte = payload[index];
        if (byte == escapeByte || byte == startFlag || byte == endFlag) {
            frame[length++] = escapeByte;
            frame[length++] = byte ^ escapeBit;
        } else {
            frame[length++] = byte;
        }
    }
    frame[length++] = endFlag;
    write(frame.data(), length);
}

} // namespace ridge::bench
