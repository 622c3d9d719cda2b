#include "csrsubject.h"

#include "bigendian.h"

#include <array>
#include <cstddef>
#include <utility>

namespace ridge::simulator {

namespace {

constexpr std::size_t lengthSize = 2;
constexpr std::size_t countrySize = 2;
constexpr std::size_t longestName = 256;
constexpr std::size_t longestPlace = 512;

/// Takes the first text and its length off the bytes. Nothing if they do not hold all of it.
std::optional<std::string> takeText(std::span<const std::uint8_t>& bytes) {
    if (bytes.size() < lengthSize) {
        return std::nullopt;
    }
    const std::size_t length = readBigEndian16(bytes.data());
    bytes = bytes.subspan(lengthSize);
    if (bytes.size() < length) {
        return std::nullopt;
    }
    const std::span<const std::uint8_t> text = bytes.first(length);
    bytes = bytes.subspan(length);
    return std::string(text.begin(), text.end());
}

bool hasAllowedLengths(const CsrSubject& subject) {
    return !subject.commonName.empty() && subject.commonName.size() <= longestName &&
           (subject.country.empty() || subject.country.size() == countrySize) &&
           subject.locality.size() <= longestPlace && subject.organization.size() <= longestName &&
           subject.organizationalUnit.size() <= longestName &&
           subject.stateOrProvince.size() <= longestPlace;
}

} // namespace

std::optional<CsrSubject> parseCsrSubject(std::span<const std::uint8_t> payload) {
    CsrSubject subject;
    const std::array<std::string*, 6> fields{&subject.commonName,         &subject.country,
                                             &subject.locality,           &subject.organization,
                                             &subject.organizationalUnit, &subject.stateOrProvince};
    for (std::string* const field : fields) {
        std::optional<std::string> text = takeText(payload);
        if (!text) {
            return std::nullopt;
        }
        *field = std::move(*text);
    }
    if (!payload.empty() || !hasAllowedLengths(subject)) {
        return std::nullopt;
    }
    return subject;
}

} // namespace ridge::simulator
