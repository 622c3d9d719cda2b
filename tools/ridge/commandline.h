#pragma once

#include "commandmodel.h"
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
    /// Draw the image on the standard output.
    bool show = false;
};

struct StreamOptions {
    ScannerChoice scanner;
    std::filesystem::path directory;
    std::uint32_t count = 1;
    std::optional<std::filesystem::path> block;
    /// Draw the images on the standard output.
    bool show = false;
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

struct SelfTestOptions {
    ScannerChoice scanner;
    std::filesystem::path report;
    /// Do not wait for the person to press Enter.
    bool yes = false;
    /// Ask for the cable to be pulled.
    bool unplugging = false;
    /// Set and clear key and certificate.
    bool security = false;
};

struct CompletionOptions {
    /// "bash" or "powershell".
    std::string shell;
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
                 CertSetOptions, CertClearOptions, CsrOptions, SelfTestOptions, CompletionOptions>
        command;
};

/// Reads the arguments, the program's name not among them. Throws UsageError.
[[nodiscard]] CommandLine parseCommandLine(const std::vector<std::string>& arguments);

/// What the parser accepts, as its help tells it.
[[nodiscard]] CommandModel commandModel();

} // namespace ridge::tool
