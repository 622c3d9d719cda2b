#pragma once

#include "scannerlist.h"

#include <optional>
#include <string>

namespace ridge::tool {

/// Which scanner a command is for: not more than one of both; with neither, the only one that is
/// attached.
struct ScannerChoice {
    std::optional<std::string> port;
    std::optional<std::string> serialNumber;
};

/// The scanner that a choice leads to.
class ChosenScanner {
public:
    /// Looks through the attached scanners unless a port has been given. Throws CommandError when
    /// there is none, or more than one to choose from.
    explicit ChosenScanner(const ScannerChoice& choice);

    /// As the user or the system names it.
    [[nodiscard]] const std::string& port() const { return portName; }
    /// Where the scanner was found; null when the user has named its port.
    [[nodiscard]] const ridgeDeviceEntry* entry() const { return found; }

private:
    std::string portName;
    std::optional<ScannerList> list;
    const ridgeDeviceEntry* found = nullptr;
};

} // namespace ridge::tool
