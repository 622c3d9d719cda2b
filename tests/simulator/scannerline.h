#pragma once

#include "scannermodel.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ridge::simulator::test {

using std::chrono::milliseconds;

/// Bytes from hexadecimal digits, blanks ignored; and back, as "7E 01".
std::vector<std::uint8_t> bytesOf(std::string_view hex);
std::string hexOf(const std::vector<std::uint8_t>& bytes);

/// A command that changes nothing, and its answer.
constexpr const char* ping = "7E 01 00 01 31 CE 7F";
constexpr const char* pong = "7E 81 00 01 31 CE 7F";

/// Two columns, three rows, with a pixel for every value that the line must escape.
GreyImage tinyImage();

/// A scanner on which a finger lies 100 ms after a start and whose image is ready 50 ms later.
ScannerConfig tinyConfig();

/// The host's end of the line, speaking in literal bytes.
class ScannerLine {
public:
    explicit ScannerLine(ScannerConfig config = tinyConfig()) : scanner(std::move(config)) {}

    /// Sends bytes and returns what the scanner answers at once.
    std::string send(std::string_view hex);

    /// Lets time pass and returns what the scanner sends meanwhile.
    std::string wait(Time duration);

    ScannerModel scanner;
    Time now{0};
};

} // namespace ridge::simulator::test
