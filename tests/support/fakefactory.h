#pragma once

#include "factory.h"
#include "fakecommands.h"
#include "journal.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace ridge::test {

/// Puts scripted commands under a session and notes in one journal what is created, asked and
/// destroyed. It must outlive the session.
class FakeFactory final : public Factory<std::string> {
public:
    std::unique_ptr<SerialPort> createSerialPort(const std::string&, SerialPortListener&,
                                                 SerialPortErrorListener&) override {
        throw std::logic_error("The session asks for no serial port.");
    }

    std::unique_ptr<DataLinkHandler> createDataLinkHandler(const std::string&,
                                                           SerialPortErrorListener&,
                                                           DataLinkListener&) override {
        throw std::logic_error("The session asks for no data link.");
    }

    std::unique_ptr<PacketHandler> createPacketHandler(const std::string& portName,
                                                       SerialPortErrorListener& listener) override {
        journal.add("create packet handler " + portName);
        errorListener = &listener;
        if (duringCreatePacketHandler) {
            duringCreatePacketHandler();
        }
        auto handler = std::make_unique<Handler>(*this);
        packetHandler = handler.get();
        return handler;
    }

    std::unique_ptr<RidgeCommands> createCommands(PacketHandler* handler) override {
        journal.add("create commands");
        handlerOfCommands = handler;
        if (duringCreateCommands) {
            duringCreateCommands();
        }
        return std::make_unique<FakeCommands>(script, journal);
    }

    /// Reports a failure of the port, as its receive thread does.
    void failPort(const std::string& text) const { errorListener->onSerialPortError(text); }

    Journal journal;
    CommandScript script;
    PacketHandler* packetHandler = nullptr;
    PacketHandler* handlerOfCommands = nullptr;
    /// What these throw is what the operations throw.
    std::function<void()> duringCreatePacketHandler;
    std::function<void()> duringCreateCommands;
    std::function<void()> duringDestroyPacketHandler;

private:
    class Handler final : public PacketHandler {
    public:
        explicit Handler(FakeFactory& handlerOwner) : owner(handlerOwner) {}
        ~Handler() override {
            owner.journal.add("destroy packet handler");
            if (owner.duringDestroyPacketHandler) {
                owner.duringDestroyPacketHandler();
            }
        }

        Handler(const Handler&) = delete;
        Handler& operator=(const Handler&) = delete;

        std::unique_ptr<Packet> receive(bool acknowledge) override {
            owner.journal.add(acknowledge ? "receive and acknowledge" : "receive");
            return nullptr;
        }

        std::unique_ptr<Packet> receive(std::uint32_t timeoutMs, bool acknowledge) override {
            owner.journal.add("receive within " + std::to_string(timeoutMs) +
                              (acknowledge ? " and acknowledge" : ""));
            return nullptr;
        }

        void send(const Packet&) override { owner.journal.add("send"); }

    private:
        FakeFactory& owner;
    };

    SerialPortErrorListener* errorListener = nullptr;
};

} // namespace ridge::test
