#include "scannersession.h"

#include "portname.h"
#include "scannererror.h"

#include <new>

namespace ridge::tool {
namespace {

std::string textOrNothing(const char* text) {
    return text == nullptr ? "" : text;
}

struct FreeCertificate {
    void operator()(std::uint8_t* certificate) const { ridgeDeviceSecurityCertFree(certificate); }
};

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

bool ScannerSession::isConnected() const {
    return ridgeIsConnected(context.get()) != 0;
}

void ScannerSession::disconnect() {
    ridgeDisconnect(context.get());
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
                                  const std::vector<std::uint8_t>& block, OperationInbox& inbox) {
    const ridgeCaptureCallbacks callbacks = OperationInbox::callbacks();
    check(ridgeStartCapture(context.get(), &parameters, dataOrNull(block), &callbacks, &inbox),
          "starting the capture");
}

void ScannerSession::startHostAssistedCapture(const ridgeCaptureParameters& parameters,
                                              const std::vector<std::uint8_t>& block,
                                              OperationInbox& inbox) {
    const ridgeCaptureCallbacks callbacks = OperationInbox::callbacks();
    check(ridgeStartHostAssistedCapture(context.get(), &parameters, dataOrNull(block), &callbacks,
                                        &inbox),
          "starting the capture");
}

void ScannerSession::startStream(const std::vector<std::uint8_t>& block, OperationInbox& inbox) {
    const ridgeCaptureCallbacks callbacks = OperationInbox::callbacks();
    check(ridgeStartStream(context.get(), dataOrNull(block), &callbacks, &inbox),
          "starting the stream");
}

void ScannerSession::judge(bool accepted) {
    ridgeHostAssistedCaptureSetResult(context.get(), accepted ? 1 : 0);
}

void ScannerSession::stop() {
    ridgeStopCapture(context.get());
}

void ScannerSession::setKey(const Key& key) {
    check(ridgeDeviceSecuritySetKey(context.get(), key.data()), "setting the device key");
}

void ScannerSession::clearKey() {
    check(ridgeDeviceSecurityClearKey(context.get()), "clearing the device key");
}

std::vector<std::uint8_t> ScannerSession::certificate() {
    std::uint8_t* bytes = nullptr;
    std::uint32_t size = 0;
    check(ridgeDeviceSecurityCertGet(context.get(), &bytes, &size), "reading the certificate");
    const std::unique_ptr<std::uint8_t, FreeCertificate> owner(bytes);
    return {bytes, bytes + size};
}

void ScannerSession::setCertificate(const std::vector<std::uint8_t>& certificate) {
    check(ridgeDeviceSecurityCertSet(context.get(), certificate.data(),
                                     static_cast<std::uint32_t>(certificate.size())),
          "setting the certificate");
}

void ScannerSession::clearCertificate() {
    check(ridgeDeviceSecurityCertClear(context.get()), "clearing the certificate");
}

void ScannerSession::createCsr(const CsrSubject& subject, OperationInbox& inbox) {
    const ridgeCsrSubjectName name{
        subject.commonName.c_str(),         subject.country.c_str(),
        subject.locality.c_str(),           subject.organization.c_str(),
        subject.organizationalUnit.c_str(), subject.stateOrProvince.c_str()};
    check(ridgeDeviceSecurityCreateCsr(context.get(), &name, OperationInbox::csrCallback(),
                                       OperationInbox::callbacks().errorCallback, &inbox),
          "creating the request");
}

void ScannerSession::check(std::int32_t status, const std::string& activity) const {
    if (status != RIDGE_SUCCESS) {
        throw scannerError(activity, status, ridgeGetLastErrorDescription(context.get()));
    }
}

} // namespace ridge::tool
