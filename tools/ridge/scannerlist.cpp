#include "scannerlist.h"

#include "printable.h"
#include "scannererror.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <vector>

namespace ridge::tool {
namespace {

using Row = std::array<std::string, 4>;

Row row(const ridgeDeviceEntry& scanner) {
    Row cells;
    const std::array<const char*, 4> texts{scanner.portName, scanner.serialNumber,
                                           scanner.description, scanner.manufacturer};
    std::transform(texts.begin(), texts.end(), cells.begin(),
                   [](const char* text) { return printable(text); });
    return cells;
}

} // namespace

ScannerList::ScannerList() {
    ridgeDeviceList* queried = nullptr;
    const std::int32_t status = ridgeQueryDevices(&queried);
    list.reset(queried);
    if (status != RIDGE_SUCCESS) {
        throw scannerError("looking for scanners", status, "");
    }
}

std::span<const ridgeDeviceEntry> ScannerList::entries() const {
    return {list->devices, list->count};
}

std::string scannerTable(std::span<const ridgeDeviceEntry> scanners) {
    if (scanners.empty()) {
        return {};
    }
    std::vector<Row> rows{{"PORT", "SERIAL NUMBER", "DESCRIPTION", "MANUFACTURER"}};
    std::transform(scanners.begin(), scanners.end(), std::back_inserter(rows), row);
    std::string table;
    for (const Row& cells : rows) {
        std::string line;
        for (std::size_t column = 0; column < cells.size(); ++column) {
            std::size_t width = 0;
            for (const Row& other : rows) {
                width = std::max(width, other[column].size());
            }
            line += cells[column] + std::string(width - cells[column].size() + 2, ' ');
        }
        table += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return table;
}

} // namespace ridge::tool
