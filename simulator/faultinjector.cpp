#include "faultinjector.h"

#include <utility>

namespace ridge::simulator {

FaultInjector::FaultInjector(FaultSet faults) {
    for (Fault& fault : faults) {
        entries.push_back({std::move(fault)});
    }
}

FaultSet FaultInjector::occurred(FaultPoint point, std::uint8_t command) {
    FaultSet striking;
    for (Counted& entry : entries) {
        const Fault& fault = entry.fault;
        if (fault.point != point || fault.command.value_or(command) != command) {
            continue;
        }
        ++entry.occurrences;
        if (entry.occurrences == fault.occurrence ||
            (fault.always && entry.occurrences > fault.occurrence)) {
            striking.push_back(fault);
        }
    }
    return striking;
}

} // namespace ridge::simulator
