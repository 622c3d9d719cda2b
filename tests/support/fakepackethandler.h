#pragma once

#include "packethandler.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace ridge::test {

/// Answers commands with prepared packets, without a line and without waiting, and notes what the
/// commands ask of it.
class FakePacketHandler final : public PacketHandler {
public:
    /// One call of `receive`; no time-out is the call without one.
    struct Receive {
        std::optional<std::uint32_t> timeoutMs;
        bool acknowledge;

        bool operator==(const Receive&) const = default;
    };

    /// Prepares the next packet that `receive` returns; without one it comes to a time-out.
    void answer(std::uint32_t type, std::uint8_t code,
                const std::vector<std::uint8_t>& payload = {}) {
        answers.push_back(std::make_unique<Packet>(type, code, payload.data(), payload.size()));
    }

    std::unique_ptr<Packet> receive(bool acknowledge) override {
        return receiveNext({std::nullopt, acknowledge});
    }

    std::unique_ptr<Packet> receive(std::uint32_t timeoutMs, bool acknowledge) override {
        return receiveNext({timeoutMs, acknowledge});
    }

    void send(const Packet& packet) override {
        if (onSend) {
            onSend(packet);
        }
        sent.push_back(packet);
    }

    /// The packets sent, in order.
    std::vector<Packet> sent;
    std::vector<Receive> receives;
    /// Called before a packet counts as sent; what it throws is what `send` throws.
    std::function<void(const Packet&)> onSend;

private:
    std::unique_ptr<Packet> receiveNext(const Receive& call) {
        receives.push_back(call);
        if (answers.empty()) {
            return nullptr;
        }
        std::unique_ptr<Packet> packet = std::move(answers.front());
        answers.pop_front();
        return packet;
    }

    std::deque<std::unique_ptr<Packet>> answers;
};

} // namespace ridge::test
