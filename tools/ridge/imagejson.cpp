#include "imagejson.h"

#include "utf8path.h"

#include <string>

namespace ridge::tool {
namespace {

std::string hexadecimal(const std::vector<std::uint8_t>& bytes) {
    constexpr auto digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

} // namespace

nlohmann::ordered_json imageJson(const CapturedImage& image, const std::filesystem::path& file) {
    return {{"file", utf8FromPath(file)},
            {"width", image.width},
            {"height", image.height},
            {"size", image.bytes.size()},
            {"extraValue", image.extraValue},
            {"trailer", hexadecimal(image.trailer)},
            {"flagA", image.flagA},
            {"flagB", image.flagB},
            {"flagC", image.flagC}};
}

} // namespace ridge::tool
