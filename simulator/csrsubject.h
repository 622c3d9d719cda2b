#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace ridge::simulator {

/// Whom a certificate signing request is for, in UTF-8. Only the common name is never empty.
struct CsrSubject {
    std::string commonName;
    std::string country;
    std::string locality;
    std::string organization;
    std::string organizationalUnit;
    std::string stateOrProvince;

    bool operator==(const CsrSubject&) const = default;
};

/// Reads the payload of CREATE CSR: six texts, each behind its length. Nothing if one of them is
/// missing, cut off, or has a length that it must not have, or if bytes follow the last.
std::optional<CsrSubject> parseCsrSubject(std::span<const std::uint8_t> payload);

} // namespace ridge::simulator
