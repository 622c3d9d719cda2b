#pragma once

#include <ridge-sdk.h>

#include <memory>
#include <span>
#include <string>

namespace ridge::tool {

/// The scanners that were attached when the object was made. Throws CommandError.
class ScannerList {
public:
    ScannerList();

    [[nodiscard]] std::span<const ridgeDeviceEntry> entries() const;

private:
    struct Free {
        void operator()(ridgeDeviceList* list) const { ridgeFreeDevices(list); }
    };
    std::unique_ptr<ridgeDeviceList, Free> list;
};

/// The scanners as a table with a heading, each line with its line break; empty without scanners.
[[nodiscard]] std::string scannerTable(std::span<const ridgeDeviceEntry> scanners);

} // namespace ridge::tool
