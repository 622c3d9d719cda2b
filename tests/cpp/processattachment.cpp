#include "attachment.h"
#include "simulatorprocess.h"

#include <atomic>

namespace ridge::test {
namespace {

std::string nextSerialNumber() {
    static std::atomic<int> next{1};
    return "ATTACHED-" + std::to_string(next++);
}

std::vector<std::string> optionsFor(const std::string& serialNumber,
                                    const AttachmentOptions& options) {
    std::vector<std::string> arguments{"--baud",         "0",
                                       "--serial",       serialNumber,
                                       "--finger-delay", options.finger ? "0" : "never",
                                       "--early-lifts",  std::to_string(options.earlyLifts)};
    for (const std::string& fault : options.faults) {
        arguments.insert(arguments.end(), {"--fault", fault});
    }
    return arguments;
}

} // namespace

struct Attachment::Line {
    explicit Line(const AttachmentOptions& options)
        : serialNumber(nextSerialNumber()), scanner(optionsFor(serialNumber, options)) {}

    std::string serialNumber;
    SimulatorProcess scanner;
};

Attachment::Attachment(const AttachmentOptions& options) : line(std::make_unique<Line>(options)) {}

Attachment::~Attachment() = default;

std::string Attachment::portName() const {
    return line->scanner.portName();
}

std::string Attachment::serialNumber() const {
    return line->serialNumber;
}

void Attachment::unplug() {
    line->scanner.unplug();
}

void Attachment::plug() {
    line->scanner.plug();
}

} // namespace ridge::test
