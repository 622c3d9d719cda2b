#include "scannersession.h"

#include "portname.h"
#include "scannererror.h"

#include <new>

namespace ridge::tool {
namespace {

std::string textOrNothing(const char* text) {
    return text == nullptr ? "" : text;
}

const std::uint8_t* dataOrNull(const std::vector<std::uint8_t>& block) {
    return block.empty() ? nullptr : block.data();
}

} // namespace

ScannerSession::ScannerSession(const ChosenScanner& scanner) : context(ridgeCreateDeviceContext()) {
    if (!context) {
        throw std::bad_alloc();
    }
    const std::int32_t status =
        scanner.entry() != nullptr
            ? ridgeConnect(scanner.entry(), context.get())
            : ridgeConnectCOM(systemPortName(scanner.port()).c_str(), context.get());
    check(status, "connecting to " + scanner.port());
}

ScannerInformation ScannerSession::information() {
    ridgeDeviceInfo info{};
    check(ridgeGetInfo(context.get(), &info), "reading the information");
    return {{textOrNothing(info.text1), textOrNothing(info.text2), textOrNothing(info.text3),
             textOrNothing(info.text4), textOrNothing(info.text5), textOrNothing(info.text6),
             textOrNothing(info.text7)},
            info.value1,
            info.value2,
            info.features};
}

ridgeDeviceSettings ScannerSession::settings() {
    ridgeDeviceSettings settings{};
    check(ridgeSettingsGet(context.get(), &settings), "reading the settings");
    return settings;
}

void ScannerSession::writeSettings(const ridgeDeviceSettings& settings) {
    check(ridgeSettingsSet(context.get(), &settings), "writing the settings");
}

void ScannerSession::startCapture(const ridgeCaptureParameters& parameters,
                                  const std::vector<std::uint8_t>& block, CaptureInbox& inbox) {
    const ridgeCaptureCallbacks callbacks = CaptureInbox::callbacks();
    check(ridgeStartCapture(context.get(), &parameters, dataOrNull(block), &callbacks, &inbox),
          "starting the capture");
}

void ScannerSession::startHostAssistedCapture(const ridgeCaptureParameters& parameters,
                                              const std::vector<std::uint8_t>& block,
                                              CaptureInbox& inbox) {
    const ridgeCaptureCallbacks callbacks = CaptureInbox::callbacks();
    check(ridgeStartHostAssistedCapture(context.get(), &parameters, dataOrNull(block), &callbacks,
                                        &inbox),
          "starting the capture");
}

void ScannerSession::startStream(const std::vector<std::uint8_t>& block, CaptureInbox& inbox) {
    const ridgeCaptureCallbacks callbacks = CaptureInbox::callbacks();
    check(ridgeStartStream(context.get(), dataOrNull(block), &callbacks, &inbox),
          "starting the stream");
}

void ScannerSession::judge(bool accepted) {
    ridgeHostAssistedCaptureSetResult(context.get(), accepted ? 1 : 0);
}

void ScannerSession::stop() {
    ridgeStopCapture(context.get());
}

void ScannerSession::check(std::int32_t status, const std::string& activity) const {
    if (status != RIDGE_SUCCESS) {
        throw scannerError(activity, status, ridgeGetLastErrorDescription(context.get()));
    }
}

} // namespace ridge::tool
