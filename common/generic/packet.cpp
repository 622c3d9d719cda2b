#include "packet.h"

#include "bigendian.h"
#include "ridgeexception.h"
#include "statuscode.h"

#include <array>
#include <numeric>

namespace ridge {
namespace {

constexpr std::size_t headerSize = 4;
constexpr std::size_t errorHeaderSize = 3;

/// Sums of bytes, modulo 256.
using ByteSums = std::array<std::uint8_t, 32>;

/// Adds a byte to each: a fixed number of them, of which compilers make vector additions.
void addBytes(ByteSums& sums, const std::uint8_t* bytes) {
    for (std::size_t lane = 0; lane < sums.size(); ++lane) {
        sums[lane] = static_cast<std::uint8_t>(sums[lane] + bytes[lane]);
    }
}

} // namespace

Packet::Packet(std::uint32_t packetType, std::uint8_t packetCode, const std::uint8_t* payload,
               std::size_t length)
    : type(packetType), code(packetCode) {
    if (payload != nullptr) {
        data.assign(payload, payload + length);
    }
    if (data.size() > maxPacketPayload) {
        throw RIDGE_EXCEPTION(status::protocol, "Invalid packet data length %d",
                              static_cast<int>(data.size()));
    }
}

std::vector<std::uint8_t> Packet::serialize() const {
    if (data.size() > maxPacketPayload) {
        throw RIDGE_EXCEPTION(status::protocol, "Failed to serialize packet!");
    }
    std::vector<std::uint8_t> bytes;
    bytes.reserve(data.size() + packetOverhead);
    bytes.push_back(static_cast<std::uint8_t>(type));
    appendBigEndian16(bytes, static_cast<std::uint16_t>(data.size() + 1));
    bytes.push_back(code);
    bytes.insert(bytes.end(), data.begin(), data.end());
    bytes.push_back(checksum(bytes.data() + 1, bytes.size() - 1));
    return bytes;
}

std::unique_ptr<Packet> Packet::parse(const std::uint8_t* bytes, std::size_t size) {
    if (size < packetOverhead) {
        return nullptr;
    }
    const std::size_t length = readBigEndian16(bytes + 1);
    if (length + headerSize != size) {
        return nullptr;
    }
    if (checksum(bytes + 1, length + 2) != bytes[size - 1]) {
        return nullptr;
    }
    const std::uint8_t type = bytes[0];
    if (type != packetTypeRequest && type != packetTypeResponse) {
        return nullptr;
    }
    const std::size_t payloadLength = length - 1;
    if (payloadLength > maxPacketPayload) {
        return nullptr;
    }
    return std::make_unique<Packet>(type, bytes[3], bytes + headerSize, payloadLength);
}

std::uint8_t checksum(const std::uint8_t* bytes, std::size_t count) {
    constexpr std::size_t blockSize = ByteSums().size();
    ByteSums even{};
    ByteSums odd{};
    std::size_t position = 0;
    for (; position + 2 * blockSize <= count; position += 2 * blockSize) {
        addBytes(even, bytes + position);
        addBytes(odd, bytes + position + blockSize);
    }
    if (position + blockSize <= count) {
        addBytes(even, bytes + position);
        position += blockSize;
    }
    addBytes(even, odd.data());
    unsigned sum = std::accumulate(even.begin(), even.end(), 0U);
    for (; position < count; ++position) {
        sum += bytes[position];
    }
    return static_cast<std::uint8_t>(0U - sum);
}

bool readResponseStatus(const Packet& response, std::uint8_t expectedCode, const char* commandName,
                        bool requireData, std::uint8_t& errorCode, std::string& errorText) {
    if (response.type != packetTypeResponse) {
        throw RIDGE_EXCEPTION(status::unexpectedResponse, "%s: Invalid response type %d.",
                              commandName, static_cast<int>(response.type));
    }
    if (response.code == expectedCode) {
        if (requireData && response.data.empty()) {
            throw RIDGE_EXCEPTION(status::noResponse, "%s: Missing response data", commandName);
        }
        return true;
    }
    if (response.code != (expectedCode | failureCodeBit)) {
        throw RIDGE_EXCEPTION(status::noResponse, "%s: Invalid response code %d. Expected %d.",
                              commandName, response.code, expectedCode & ~failureCodeBit);
    }
    const std::vector<std::uint8_t>& data = response.data;
    if (data.size() < errorHeaderSize) {
        // The second number is the payload's length, not an error code, on purpose.
        throw RIDGE_EXCEPTION(status::deviceFailure, "%s: Failed (%d/%d). No error code available",
                              commandName, expectedCode, static_cast<int>(data.size()));
    }
    errorCode = data[0];
    errorText.clear();
    const std::size_t textLength = readBigEndian16(data.data() + 1);
    if (textLength != 0 && textLength + errorHeaderSize == data.size()) {
        errorText.assign(data.begin() + errorHeaderSize, data.end());
    }
    return false;
}

void verifyResponse(const Packet& response, std::uint8_t expectedCode, const char* commandName,
                    bool requireData) {
    std::uint8_t errorCode = 0;
    std::string errorText;
    if (!readResponseStatus(response, expectedCode, commandName, requireData, errorCode,
                            errorText)) {
        throw RIDGE_EXCEPTION(status::deviceFailure, "%s: Failed (%d) with error %d. %s",
                              commandName, expectedCode, errorCode, errorText.c_str());
    }
}

} // namespace ridge
