#include "commands.h"
#include "connecting.h"
#include "printable.h"

#include <cstddef>

namespace ridge::tool {
namespace {

std::string featureNumbers(std::uint32_t features) {
    std::string numbers;
    for (unsigned bit = 0; bit < 32; ++bit) {
        if ((features >> bit & 1U) != 0) {
            numbers += (numbers.empty() ? "" : ", ") + std::to_string(bit);
        }
    }
    return numbers.empty() ? "none" : numbers;
}

} // namespace

CommandResult runInfo(const InfoOptions&, const ChosenScanner& scanner,
                      const CommandContext& context) {
    ScannerSession session = connectTo(scanner, context);
    const ScannerInformation information = session.information();

    CommandResult result;
    nlohmann::ordered_json device;
    for (std::size_t index = 0; index < information.texts.size(); ++index) {
        const std::string number = std::to_string(index + 1);
        result.text += "Text " + number + ":   " + printable(information.texts[index]) + "\n";
        device["text" + number] = information.texts[index];
    }
    result.text += "Value 1:  " + std::to_string(information.value1) + "\n";
    result.text += "Value 2:  " + std::to_string(information.value2) + "\n";
    result.text += "Features: " + featureNumbers(information.features) + "\n";
    device["value1"] = information.value1;
    device["value2"] = information.value2;
    device["features"] = information.features;
    result.json["device"] = device;
    return result;
}

} // namespace ridge::tool
