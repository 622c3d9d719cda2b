#include "packet.h"
#include "require.h"
#include "ridgeexception.h"
#include "runs.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using ridge::test::require;

/// More than a packet has.
constexpr std::size_t longest = 12000;

void checkResponse(const ridge::Packet& packet, std::uint8_t expectedCode, bool requireData) {
    try {
        std::uint8_t errorCode = 0;
        std::string errorText;
        if (readResponseStatus(packet, expectedCode, "PING", requireData, errorCode, errorText)) {
            require(packet.type == ridge::packetTypeResponse && packet.code == expectedCode);
            require(!requireData || !packet.data.empty());
        } else {
            require(packet.code == (expectedCode | ridge::failureCodeBit));
        }
    } catch (const ridge::RidgeException& failure) {
        require(failure.code() == 9 || failure.code() == 13 || failure.code() == 14);
    }
}

} // namespace

/// A frame's content as runs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> bytes = ridge::test::Runs({data, size}).joined(longest);
    const auto packet = ridge::Packet::parse(bytes.data(), bytes.size());
    if (packet) {
        require(packet->data.size() <= 10000);
        // What is valid has one form only.
        require(packet->serialize() == bytes);
        for (const bool requireData : {false, true}) {
            checkResponse(*packet, static_cast<std::uint8_t>(packet->code & 0x7F), requireData);
            checkResponse(*packet, 0x31, requireData);
        }
    }
    return 0;
}
