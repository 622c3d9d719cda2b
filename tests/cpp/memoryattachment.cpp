#include "attachment.h"
#include "simulatedline.h"

#include <atomic>
#include <numeric>
#include <utility>

namespace ridge::test {
namespace {

std::string nextPortName() {
    static std::atomic<int> next{1};
    return "simulated-" + std::to_string(next++);
}

/// Quicker made than a fingerprint.
simulator::GreyImage stripes(std::uint8_t first) {
    simulator::GreyImage image{300, 400, std::vector<std::uint8_t>(120000)};
    std::iota(image.pixels.begin(), image.pixels.end(), first);
    return image;
}

simulator::ScannerConfig configFor(const std::string& serialNumber,
                                   const AttachmentOptions& options) {
    simulator::ScannerConfig config;
    config.identity.texts[1] = serialNumber;
    config.images = {stripes(0), stripes(1)};
    if (!options.finger) {
        config.finger.delay.reset();
    }
    config.finger.earlyLifts = options.earlyLifts;
    std::string script;
    for (const std::string& fault : options.faults) {
        script += fault + "\n";
    }
    config.faults = simulator::parseFaultScript(script);
    config.createCsr = [](const simulator::CsrSubject& subject) {
        std::vector<std::uint8_t> request{0x30};
        request.insert(request.end(), subject.commonName.begin(), subject.commonName.end());
        return request;
    };
    return config;
}

} // namespace

struct Attachment::Line {
    explicit Line(const AttachmentOptions& options)
        : portName(nextPortName()), simulated(portName, configFor(portName, options)) {}

    std::string portName;
    SimulatedLine simulated;
};

Attachment::Attachment(const AttachmentOptions& options) : line(std::make_unique<Line>(options)) {}

Attachment::~Attachment() = default;

std::string Attachment::portName() const {
    return line->portName;
}

std::string Attachment::serialNumber() const {
    return line->portName;
}

void Attachment::unplug() {
    line->simulated.line().failReceiving("unplugged");
}

void Attachment::plug() {}

} // namespace ridge::test
