#include "simulatedline.h"

#include "scannerturn.h"

#include <utility>

namespace ridge::test {

SimulatedLine::SimulatedLine(const std::string& portName, simulator::ScannerConfig config)
    : model(std::move(config)), memoryLine(portName) {
    memoryLine.onHostWrite([this](const Bytes& bytes) { onHostWrite(bytes); });
}

void SimulatedLine::onHostWrite(const Bytes& bytes) {
    Bytes output = scannerTurn(model, now, bytes);
    if (!output.empty()) {
        memoryLine.deliver(std::move(output));
    }
}

} // namespace ridge::test
