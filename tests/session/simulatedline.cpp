#include "simulatedline.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace ridge::test {

SimulatedLine::SimulatedLine(const std::string& portName, simulator::ScannerConfig config)
    : model(std::move(config)), memoryLine(portName) {
    memoryLine.onHostWrite([this](const Bytes& bytes) { onHostWrite(bytes); });
}

void SimulatedLine::onHostWrite(const Bytes& bytes) {
    model.receive(bytes, now);
    Bytes output = model.takeOutput();
    while (output.empty()) {
        const std::optional<simulator::Time> deadline = model.nextDeadline();
        if (!deadline) {
            return;
        }
        now = std::max(now, *deadline);
        model.advance(now);
        output = model.takeOutput();
    }
    memoryLine.deliver(std::move(output));
}

} // namespace ridge::test
