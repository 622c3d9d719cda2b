#include "deviceidentifier.h"

#include <exception>

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

} // namespace

std::optional<std::uint16_t> hexadecimalAfter(std::string_view identifier,
                                              std::string_view prefix) {
    constexpr std::size_t digits = 4;
    constexpr int base = 16;
    const std::size_t found = identifier.find(prefix);
    if (found == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string number(identifier.substr(found + prefix.size(), digits));
    try {
        return static_cast<std::uint16_t>(std::stoul(number, nullptr, base));
    } catch (const std::exception&) {
        return std::nullopt;
    }
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
