#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ridge {

inline constexpr std::uint8_t packetTypeRequest = 0x01;
inline constexpr std::uint8_t packetTypeResponse = 0x81;
/// A response with this bit in its code reports a failure of the device.
inline constexpr std::uint8_t failureCodeBit = 0x80;
inline constexpr std::size_t maxPacketPayload = 10000;
/// Type, two length bytes, code and checksum.
inline constexpr std::size_t packetOverhead = 5;
inline constexpr std::size_t maxPacketSize = maxPacketPayload + packetOverhead;

/// The unit of the scanner protocol: what travels in one frame of the line.
struct Packet {
    /// Copies `length` bytes; none when `payload` is null. Throws status 6 for too many.
    Packet(std::uint32_t packetType, std::uint8_t packetCode, const std::uint8_t* payload = nullptr,
           std::size_t length = 0);

    /// The bytes for the wire. Throws status 6 when the payload has grown too long.
    [[nodiscard]] std::vector<std::uint8_t> serialize() const;

    /// The packet in one received frame, or null when the bytes are not a valid packet.
    static std::unique_ptr<Packet> parse(const std::uint8_t* bytes, std::size_t size);

    /// Only the low 8 bits go on the wire.
    std::uint32_t type;
    std::uint8_t code;
    std::vector<std::uint8_t> data;
};

/// The two's complement of the bytes' 8-bit sum: a sum that runs through the checksum itself is 0.
std::uint8_t checksum(const std::uint8_t* bytes, std::size_t count);

/// Checks that `response` answers the command `expectedCode`, named `commandName` in the texts.
/// Returns true for success, and false with the device's own error in the out arguments. Throws
/// when the response is not one for this command (14, 9), lacks required data (9) or reports a
/// failure without an error code (13).
bool readResponseStatus(const Packet& response, std::uint8_t expectedCode, const char* commandName,
                        bool requireData, std::uint8_t& errorCode, std::string& errorText);

/// As `readResponseStatus`, and a failure of the device throws too (13).
void verifyResponse(const Packet& response, std::uint8_t expectedCode, const char* commandName,
                    bool requireData);

} // namespace ridge
