#include "defaultpackethandler.h"

#include "logmessage.h"
#include "wipe.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <mutex>
#include <utility>

namespace ridge {
namespace {

constexpr std::uint32_t standardTimeoutMs = 3000;
constexpr std::size_t queueLimit = 2;

std::string hexDump(const std::uint8_t* bytes, std::uint32_t size) {
    std::string dump;
    dump.reserve(std::size_t{size} * 3);
    std::array<char, 4> digits{};
    for (std::uint32_t position = 0; position < size; ++position) {
        const bool last = position + 1 == size;
        std::snprintf(digits.data(), digits.size(), last ? "%.2hhx" : "%.2hhx:", bytes[position]);
        dump += digits.data();
    }
    return dump;
}

} // namespace

DefaultPacketHandler::DefaultPacketHandler(Factory<std::string>& factory,
                                           const std::string& portName,
                                           SerialPortErrorListener& errorListener)
    : defaultTimeoutMs(standardTimeoutMs) {
    // Frames may arrive from here on, before the constructor has returned: all else is ready.
    dataLink = factory.createDataLinkHandler(portName, errorListener, *this);
}

DefaultPacketHandler::~DefaultPacketHandler() {
    // Until the data link has gone, its thread may still bring frames to the queue.
    dataLink.reset();
}

std::unique_ptr<Packet> DefaultPacketHandler::receive(bool acknowledge) {
    return receive(defaultTimeoutMs, acknowledge);
}

std::unique_ptr<Packet> DefaultPacketHandler::receive(std::uint32_t timeoutMs, bool acknowledge) {
    if (timeoutMs == 0) {
        timeoutMs = defaultTimeoutMs;
    }
    std::unique_lock lock(mutex);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    if (!packetAvailable.wait_until(lock, deadline, [this] { return !receivedPackets.empty(); })) {
        return nullptr;
    }
    std::unique_ptr<Packet> packet = std::move(receivedPackets.front());
    receivedPackets.pop_front();
    if (acknowledge) {
        // Under the lock, so that a frame that answers the acknowledgement waits its turn.
        send(Packet(packetTypeResponse, packet->code));
    }
    return packet;
}

void DefaultPacketHandler::send(const Packet& packet) {
    std::vector<std::uint8_t> bytes = packet.serialize();
    // They may hold a key.
    const WipedAtEnd wiped(bytes);
    dataLink->sendFrame(bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

void DefaultPacketHandler::onFrame(const std::uint8_t* bytes, std::uint32_t size) {
    try {
        queueFrame(bytes, size);
    } catch (const std::exception& failure) {
        // No memory for the packet: it is lost like one that the line has spoiled.
        RIDGE_LOG(logError, "Received packet dropped. %s", failure.what());
    }
}

void DefaultPacketHandler::queueFrame(const std::uint8_t* bytes, std::uint32_t size) {
    const std::lock_guard lock(mutex);
    if (receivedPackets.size() >= queueLimit) {
        RIDGE_LOG(logError, "Protocol error - existing packet not processed!");
        return;
    }
    if (std::unique_ptr<Packet> packet = Packet::parse(bytes, size)) {
        receivedPackets.push_back(std::move(packet));
        packetAvailable.notify_one();
        return;
    }
    RIDGE_LOG(logError, "Received invalid packet of size %d!", static_cast<int>(size));
    if (size != 0) {
        RIDGE_LOG(logError, "Data: %s", hexDump(bytes, size).c_str());
    }
}

} // namespace ridge
