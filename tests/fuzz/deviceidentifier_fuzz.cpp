#include "deviceidentifier.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void checkSerialNumber(std::string_view identifier) {
    const std::string serialNumber = ridge::serialNumberIn(identifier);
    require(identifier.find(serialNumber) != std::string_view::npos);
    require(serialNumber.find('\\') == std::string::npos);
    if (identifier.starts_with("USB\\")) {
        require(serialNumber.find('&') == std::string::npos);
    } else if (identifier.starts_with("FTDIBUS\\")) {
        require(serialNumber.find('+') == std::string::npos);
    } else {
        require(serialNumber.empty());
    }
}

void checkNumber(std::string_view identifier, std::string_view prefix) {
    const auto number = ridge::hexadecimalAfter(identifier, prefix);
    require(!number || identifier.find(prefix) != std::string_view::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view identifier(reinterpret_cast<const char*>(data), size);
    checkSerialNumber(identifier);
    for (const char* prefix : {"VID_", "VEN_", "PID_", "DEV_"}) {
        checkNumber(identifier, prefix);
    }
    return 0;
}
