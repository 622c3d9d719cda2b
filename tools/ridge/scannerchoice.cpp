#include "scannerchoice.h"

#include "commanderror.h"

#include <cstddef>
#include <span>

namespace ridge::tool {
namespace {

using Scanners = std::span<const ridgeDeviceEntry>;

std::string listing(Scanners scanners) {
    const std::string table = scannerTable(scanners);
    return table.empty() ? "" : "\n" + table.substr(0, table.size() - 1);
}

const ridgeDeviceEntry& onlyOne(Scanners scanners) {
    if (scanners.empty()) {
        throw CommandError(ExitStatus::libraryError, "no scanner is attached");
    }
    if (scanners.size() > 1) {
        throw UsageError(std::to_string(scanners.size()) +
                         " scanners are attached: choose one with --serial or --port" +
                         listing(scanners));
    }
    return scanners.front();
}

const ridgeDeviceEntry& withSerialNumber(Scanners scanners, const std::string& serialNumber) {
    const ridgeDeviceEntry* match = nullptr;
    for (const ridgeDeviceEntry& scanner : scanners) {
        if (serialNumber != scanner.serialNumber) {
            continue;
        }
        if (match != nullptr) {
            throw UsageError("several scanners have the serial number " + serialNumber +
                             ": choose one with --port" + listing(scanners));
        }
        match = &scanner;
    }
    if (match == nullptr) {
        throw CommandError(ExitStatus::libraryError, "no scanner with the serial number " +
                                                         serialNumber + " is attached" +
                                                         listing(scanners));
    }
    return *match;
}

} // namespace

ChosenScanner::ChosenScanner(const ScannerChoice& choice) {
    if (choice.port) {
        portName = *choice.port;
        return;
    }
    const Scanners scanners = list.emplace().entries();
    found = choice.serialNumber ? &withSerialNumber(scanners, *choice.serialNumber)
                                : &onlyOne(scanners);
    portName = found->portName;
}

} // namespace ridge::tool
