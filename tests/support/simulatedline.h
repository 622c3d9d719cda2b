#pragma once

#include "memoryline.h"
#include "scannermodel.h"

#include <string>

namespace ridge::test {

/// A simulated scanner on a line in memory. Its time is its own and jumps to what comes next, so
/// nobody ever waits for it.
class SimulatedLine {
public:
    SimulatedLine(const std::string& portName, simulator::ScannerConfig config);

    [[nodiscard]] MemoryLine& line() { return memoryLine; }

    /// To be asked only while the host is idle.
    [[nodiscard]] const simulator::ScannerModel& scanner() const { return model; }

private:
    void onHostWrite(const Bytes& bytes);

    simulator::ScannerModel model;
    simulator::Time now{0};
    MemoryLine memoryLine;
};

} // namespace ridge::test
