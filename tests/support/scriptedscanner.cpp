#include "scriptedscanner.h"

#include "hextext.h"

#include <cstddef>
#include <utility>

namespace ridge::test {
namespace {

constexpr std::uint8_t startFlag = 0x7E;
constexpr std::uint8_t endFlag = 0x7F;
constexpr std::uint8_t escape = 0x7D;
constexpr std::uint8_t request = 0x01;
constexpr std::uint8_t response = 0x81;
constexpr std::uint8_t failureBit = 0x80;
constexpr std::uint8_t getCaptureData = 0x11;
constexpr std::uint8_t getStreamData = 0x14;
constexpr std::uint8_t getDeviceSettings = 0x15;
constexpr std::uint8_t getDeviceInfo = 0x30;
constexpr std::uint8_t nothingReady = 7;

void append16(Bytes& bytes, std::size_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes.push_back(static_cast<std::uint8_t>(value));
}

void append32(Bytes& bytes, std::uint32_t value) {
    append16(bytes, value >> 16);
    append16(bytes, value);
}

void appendText(Bytes& bytes, const std::string& text) {
    append16(bytes, text.size());
    bytes.insert(bytes.end(), text.begin(), text.end());
}

Bytes withoutFrame(const Bytes& frame) {
    Bytes packet;
    for (std::size_t index = 1; index + 1 < frame.size(); ++index) {
        if (frame[index] == escape) {
            ++index;
            packet.push_back(static_cast<std::uint8_t>(frame[index] + 0x20));
        } else {
            packet.push_back(frame[index]);
        }
    }
    return packet;
}

Bytes withFrame(const Bytes& packet) {
    Bytes frame{startFlag};
    for (const std::uint8_t byte : packet) {
        if (byte >= escape && byte <= endFlag) {
            frame.push_back(escape);
            frame.push_back(static_cast<std::uint8_t>(byte - 0x20));
        } else {
            frame.push_back(byte);
        }
    }
    frame.push_back(endFlag);
    return frame;
}

Bytes errorPayload(std::uint8_t errorCode, const std::string& text) {
    Bytes payload{errorCode};
    appendText(payload, text);
    return payload;
}

} // namespace

ScriptedScanner::ScriptedScanner(const std::string& portName) : line(portName) {
    setDeviceInfo(0, 0, 0);
    setSettings(0, 0);
    line.onHostWrite([this](const Bytes& frame) { onHostWrite(frame); });
}

void ScriptedScanner::setDeviceInfo(std::uint16_t value1, std::uint16_t value2,
                                    std::uint32_t flags) {
    Bytes payload;
    for (const char* text : {"one", "two", "three", "four", "five", "six", "seven"}) {
        appendText(payload, text);
    }
    append16(payload, value1);
    append16(payload, value2);
    append32(payload, flags);
    succeed(getDeviceInfo, payload);
}

void ScriptedScanner::setSettings(std::uint8_t rotation, std::uint32_t flags) {
    Bytes payload{rotation};
    append32(payload, flags);
    succeed(getDeviceSettings, payload);
}

void ScriptedScanner::succeed(std::uint8_t code, const Bytes& payload) {
    answer(code, response, code, payload);
}

void ScriptedScanner::refuse(std::uint8_t code, std::uint8_t errorCode, const std::string& text) {
    answer(code, response, code | failureBit, errorPayload(errorCode, text));
}

void ScriptedScanner::answer(std::uint8_t code, std::uint8_t answerType, std::uint8_t answerCode,
                             const Bytes& payload) {
    const std::lock_guard lock(mutex);
    answers[code] = Answer{answerType, answerCode, payload};
}

void ScriptedScanner::ignore(std::uint8_t code) {
    const std::lock_guard lock(mutex);
    answers[code] = std::nullopt;
}

void ScriptedScanner::answerNow(std::uint8_t answerType, std::uint8_t answerCode,
                                const Bytes& payload) {
    const std::lock_guard lock(mutex);
    send({answerType, answerCode, payload});
}

void ScriptedScanner::queueBlock(std::uint8_t code, const std::vector<Bytes>& chunks) {
    const std::lock_guard lock(mutex);
    data[code].push_back({chunks, 0});
}

void ScriptedScanner::queueError(std::uint8_t code, std::uint8_t errorCode) {
    const std::lock_guard lock(mutex);
    data[code].push_back({{}, errorCode});
}

void ScriptedScanner::onHostWrite(const Bytes& frame) {
    // Type, two bytes of length, code, payload, checksum.
    const Bytes packet = withoutFrame(frame);
    const std::uint8_t code = packet.at(3);
    const std::lock_guard lock(mutex);
    if (packet.at(0) == request) {
        onRequest(code, Bytes(packet.begin() + 4, packet.end() - 1));
    } else {
        onAcknowledgement(code);
    }
}

void ScriptedScanner::onRequest(std::uint8_t code, const Bytes& payload) {
    Bytes text{code};
    text.insert(text.end(), payload.begin(), payload.end());
    const auto found = answers.find(code);
    if (found == answers.end() && (code == getCaptureData || code == getStreamData)) {
        requests.addOnce(hexText(text));
        onPoll(code);
        return;
    }
    requests.add(hexText(text));
    if (found == answers.end()) {
        send({response, code, {}});
        return;
    }
    if (found->second) {
        send(*found->second);
    }
}

void ScriptedScanner::onPoll(std::uint8_t code) {
    std::deque<Data>& queue = data[code];
    if (queue.empty()) {
        send({response, static_cast<std::uint8_t>(code | failureBit),
              errorPayload(nothingReady, {})});
        return;
    }
    const Data next = std::move(queue.front());
    queue.pop_front();
    if (next.errorCode != 0) {
        send({response, static_cast<std::uint8_t>(code | failureBit),
              errorPayload(next.errorCode, {})});
        return;
    }
    pendingChunks.assign(next.chunks.begin(), next.chunks.end());
    send({response, code, {}});
    sendNextChunk(code);
}

void ScriptedScanner::onAcknowledgement(std::uint8_t code) {
    requests.add("ack " + hexText(Bytes{code}));
    sendNextChunk(code);
}

void ScriptedScanner::sendNextChunk(std::uint8_t code) {
    if (pendingChunks.empty()) {
        return;
    }
    send({response, code, pendingChunks.front()});
    pendingChunks.pop_front();
}

void ScriptedScanner::send(const Answer& packet) {
    Bytes bytes{packet.type};
    append16(bytes, packet.payload.size() + 1);
    bytes.push_back(packet.code);
    bytes.insert(bytes.end(), packet.payload.begin(), packet.payload.end());
    std::uint8_t sum = 0;
    for (std::size_t index = 1; index < bytes.size(); ++index) {
        sum = static_cast<std::uint8_t>(sum + bytes[index]);
    }
    bytes.push_back(static_cast<std::uint8_t>(0x100 - sum));
    line.deliver(withFrame(bytes));
}

} // namespace ridge::test
