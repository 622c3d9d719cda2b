#pragma once

#include "journal.h"
#include "memoryline.h"

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ridge::test {

/// A scanner at the far end of an in-memory line. It has its own idea of frames and packets, so
/// that a mistake of the library is not shared. Each request gets a success without data until the
/// test says otherwise; the data commands have nothing ready until blocks are queued.
class ScriptedScanner {
public:
    explicit ScriptedScanner(const std::string& portName);

    ScriptedScanner(const ScriptedScanner&) = delete;
    ScriptedScanner& operator=(const ScriptedScanner&) = delete;

    /// The seven texts in wire order are "one" to "seven".
    void setDeviceInfo(std::uint16_t value1, std::uint16_t value2, std::uint32_t flags);
    void setSettings(std::uint8_t rotation, std::uint32_t flags);

    /// From now on requests of this code succeed with this payload.
    void succeed(std::uint8_t code, const Bytes& payload = {});
    /// From now on requests of this code are refused.
    void refuse(std::uint8_t code, std::uint8_t errorCode, const std::string& text);
    /// From now on requests of this code are answered with a packet as it stands.
    void answer(std::uint8_t code, std::uint8_t answerType, std::uint8_t answerCode,
                const Bytes& payload);
    /// From now on requests of this code get no answer.
    void ignore(std::uint8_t code);
    /// Sends a packet that nobody asks for now.
    void answerNow(std::uint8_t answerType, std::uint8_t answerCode, const Bytes& payload);

    /// The next poll of this code that finds nothing before it gets the block, chunk by chunk.
    void queueBlock(std::uint8_t code, const std::vector<Bytes>& chunks);
    /// The next poll of this code that finds nothing before it is refused with this error.
    void queueError(std::uint8_t code, std::uint8_t errorCode);

    /// What the host sends, as texts: a request such as "16 03 00 00 00 02", code and payload; an
    /// acknowledgement such as "ack 11". Polls for data stand once in a row.
    Journal requests;

    /// Breaks the line.
    void failPort(const std::string& text) { line.failReceiving(text); }
    [[nodiscard]] int openPorts() const { return line.openPorts(); }

private:
    struct Answer {
        std::uint8_t type;
        std::uint8_t code;
        Bytes payload;
    };
    /// What a poll gets: the chunks of a block or an error.
    struct Data {
        std::vector<Bytes> chunks;
        std::uint8_t errorCode;
    };

    void onHostWrite(const Bytes& frame);
    void onRequest(std::uint8_t code, const Bytes& payload);
    void onAcknowledgement(std::uint8_t code);
    void onPoll(std::uint8_t code);
    void send(const Answer& packet);
    void sendNextChunk(std::uint8_t code);

    std::mutex mutex;
    /// No packet: the request is ignored.
    std::map<std::uint8_t, std::optional<Answer>> answers;
    std::map<std::uint8_t, std::deque<Data>> data;
    std::deque<Bytes> pendingChunks;
    MemoryLine line;
};

} // namespace ridge::test
