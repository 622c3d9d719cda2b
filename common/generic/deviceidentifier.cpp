#include "deviceidentifier.h"

#include <charconv>
#include <system_error>

namespace ridge {
namespace {

std::string usbSerialNumber(std::string_view identifier) {
    constexpr std::size_t suffixLength = 3;
    const std::size_t begin = identifier.rfind('\\') + 1;
    std::size_t end = identifier.size();
    // A suffix such as "_00" tells the interfaces of one device apart.
    if (identifier.find('_', begin) == end - suffixLength) {
        end -= suffixLength;
    }
    const std::string_view last = identifier.substr(begin, end - begin);
    return last.find('&') == std::string_view::npos ? std::string(last) : std::string();
}

std::string ftdiSerialNumber(std::string_view identifier) {
    const std::size_t plus = identifier.rfind('+');
    if (plus == std::string_view::npos) {
        return {};
    }
    const std::size_t end = identifier.find('\\', plus);
    return end == std::string_view::npos ? std::string()
                                         : std::string(identifier.substr(plus + 1, end - plus - 1));
}

bool isBlank(char character) {
    constexpr std::string_view blanks = " \t\n\v\f\r";
    return blanks.find(character) != std::string_view::npos;
}

bool isHexadecimalDigit(char character) {
    constexpr std::string_view digits = "0123456789abcdefABCDEF";
    return digits.find(character) != std::string_view::npos;
}

/// What strtoul makes of the text with base 16, except that one runtime finds a number in "0x" and
/// "0xG" and another none: here it is 0 everywhere.
std::optional<std::uint16_t> leadingHexadecimal(std::string_view text) {
    constexpr int base = 16;
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    if ((text.starts_with("0x") || text.starts_with("0X")) && text.size() > 2 &&
        isHexadecimalDigit(text[2])) {
        text.remove_prefix(2);
    }
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc()) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(negative ? 0U - number : number);
}

} // namespace

std::optional<std::uint16_t> hexadecimalAfter(std::string_view identifier,
                                              std::string_view prefix) {
    constexpr std::size_t digits = 4;
    const std::size_t found = identifier.find(prefix);
    return found == std::string_view::npos
               ? std::nullopt
               : leadingHexadecimal(identifier.substr(found + prefix.size(), digits));
}

std::string serialNumberIn(std::string_view identifier) {
    if (identifier.starts_with("USB\\")) {
        return usbSerialNumber(identifier);
    }
    if (identifier.starts_with("FTDIBUS\\")) {
        return ftdiSerialNumber(identifier);
    }
    return {};
}

} // namespace ridge
