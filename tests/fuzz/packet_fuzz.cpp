#include "packet.h"
#include "require.h"
#include "ridgeexception.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using ridge::test::require;

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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto packet = ridge::Packet::parse(data, size);
    if (packet) {
        // What is valid has one form only.
        require(packet->serialize() == std::vector<std::uint8_t>(data, data + size));
        for (const bool requireData : {false, true}) {
            checkResponse(*packet, static_cast<std::uint8_t>(packet->code & 0x7F), requireData);
            checkResponse(*packet, 0x31, requireData);
        }
    }
    return 0;
}
