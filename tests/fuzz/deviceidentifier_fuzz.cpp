#include "deviceidentifier.h"
#include "require.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using ridge::test::require;

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

/// Against the C library, where it is of one mind with all others.
void checkNumber(std::string_view identifier, std::string_view prefix) {
    const auto number = ridge::hexadecimalAfter(identifier, prefix);
    const std::size_t place = identifier.find(prefix);
    if (place == std::string_view::npos) {
        require(!number);
        return;
    }
    const std::string digits(identifier.substr(place + prefix.size(), 4));
    char* end = nullptr;
    const unsigned long expected = std::strtoul(digits.c_str(), &end, 16);
    if (end == digits.c_str()) {
        require(!number);
    } else {
        require(number && *number == static_cast<std::uint16_t>(expected));
    }
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
