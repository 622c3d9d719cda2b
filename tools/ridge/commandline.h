#pragma once

#include "scannerchoice.h"
#include "scannersession.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ridge::tool {

struct InfoOptions {
    ScannerChoice scanner;
};

struct SettingsOptions {
    ScannerChoice scanner;
    /// What is given is written; the rest stays.
    std::optional<std::uint8_t> rotation;
    std::optional<std::uint8_t> option;
};

struct CaptureOptions {
    ScannerChoice scanner;
    std::filesystem::path output;
    std::uint8_t finger = 0;
    std::uint32_t timeout = 10000;
    std::uint32_t option = 1;
    std::optional<std::filesystem::path> block;
    bool hostAssisted = false;
    /// How many images a host-assisted capture rejects before it gives up.
    std::uint32_t attempts = 10;
};

struct StreamOptions {
    ScannerChoice scanner;
    std::filesystem::path directory;
    std::uint32_t count = 1;
    std::optional<std::filesystem::path> block;
};

struct KeySetOptions {
    ScannerChoice scanner;
    /// "-" is the standard input.
    std::string file;
};

struct KeyClearOptions {
    ScannerChoice scanner;
};

struct CertGetOptions {
    ScannerChoice scanner;
    std::filesystem::path output;
};

struct CertSetOptions {
    ScannerChoice scanner;
    std::filesystem::path file;
};

struct CertClearOptions {
    ScannerChoice scanner;
};

struct CsrOptions {
    ScannerChoice scanner;
    CsrSubject subject;
    std::filesystem::path output;
};

struct ListOptions {};

struct VersionRequest {};

struct HelpRequest {
    std::string text;
};

struct CommandLine {
    bool json = false;
    /// 'D', 'I', 'W' or 'E'; nothing when the library's log is not wanted.
    std::optional<std::int32_t> logLevel;
    std::variant<HelpRequest, VersionRequest, ListOptions, InfoOptions, SettingsOptions,
                 CaptureOptions, StreamOptions, KeySetOptions, KeyClearOptions, CertGetOptions,
                 CertSetOptions, CertClearOptions, CsrOptions>
        command;
};

/// Reads the arguments, the program's name not among them. Throws UsageError.
[[nodiscard]] CommandLine parseCommandLine(const std::vector<std::string>& arguments);

} // namespace ridge::tool
