#include "scannerline.h"

namespace ridge::simulator::test {

namespace {

constexpr std::string_view digits = "0123456789ABCDEF";

} // namespace

std::vector<std::uint8_t> bytesOf(std::string_view hex) {
    std::vector<std::uint8_t> bytes;
    bool second = false;
    for (const char c : hex) {
        const std::size_t digit = digits.find(c);
        if (digit == std::string_view::npos) {
            continue;
        }
        if (second) {
            bytes.back() = static_cast<std::uint8_t>((bytes.back() << 4) | static_cast<int>(digit));
        } else {
            bytes.push_back(static_cast<std::uint8_t>(digit));
        }
        second = !second;
    }
    return bytes;
}

std::string hexOf(const std::vector<std::uint8_t>& bytes) {
    std::string hex;
    for (const std::uint8_t byte : bytes) {
        if (!hex.empty()) {
            hex += ' ';
        }
        hex += digits[byte >> 4];
        hex += digits[byte & 0xF];
    }
    return hex;
}

GreyImage tinyImage() {
    return {2, 3, {0x00, 0x7E, 0x7F, 0x7D, 0x80, 0xFF}};
}

ScannerConfig tinyConfig() {
    ScannerConfig config;
    config.identity.texts = {"M", "S1", "F2", "", "L", "D"};
    config.identity.features = 0x15;
    config.firstFinger.width = 2;
    config.firstFinger.height = 3;
    config.images = {tinyImage()};
    config.finger.delay = milliseconds(100);
    config.finger.acquisition = milliseconds(50);
    config.marks = {true, true, false, {0xAA, 0xBB}};
    config.streamReduction = 1;
    config.streamInterval = milliseconds(40);
    config.pollHold = milliseconds(20);
    return config;
}

std::string ScannerLine::send(std::string_view hex) {
    scanner.receive(bytesOf(hex), now);
    return hexOf(scanner.takeOutput());
}

std::string ScannerLine::wait(Time duration) {
    now += duration;
    scanner.advance(now);
    return hexOf(scanner.takeOutput());
}

} // namespace ridge::simulator::test
