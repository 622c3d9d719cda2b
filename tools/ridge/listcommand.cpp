#include "commands.h"
#include "scannerlist.h"

namespace ridge::tool {

CommandResult runList() {
    const ScannerList list;
    CommandResult result;
    result.text =
        list.entries().empty() ? "no scanner is attached\n" : scannerTable(list.entries());
    result.json["scanners"] = nlohmann::ordered_json::array();
    for (const ridgeDeviceEntry& scanner : list.entries()) {
        result.json["scanners"].push_back({{"port", scanner.portName},
                                           {"serialNumber", scanner.serialNumber},
                                           {"description", scanner.description},
                                           {"manufacturer", scanner.manufacturer}});
    }
    return result;
}

} // namespace ridge::tool
