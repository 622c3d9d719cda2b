#include "ridgedevice.h"

#include "loadedmodule.h"
#include "logmessage.h"
#include "ridgeexception.h"
#include "statuscode.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <mutex>
#include <utility>

namespace ridge {
namespace {

/// The text of a failure that has no memory for its own: as much as fits into a string object.
std::string shortText(const std::exception& failure) {
    std::string text;
    text.assign(failure.what(), std::min(std::strlen(failure.what()), text.capacity()));
    return text;
}

/// Without memory for the text, that is the failure instead: status 4.
void reportFailure(BaseListener& listener, std::int32_t code, const char* what) {
    std::string text;
    try {
        text = what;
    } catch (const std::exception& failure) {
        code = status::unexpected;
        text = shortText(failure);
    }
    listener.onError(code, text);
}

} // namespace

RidgeDevice::RidgeDevice(const std::string& portName, Factory<std::string>& factory)
    : stateMutex(std::make_shared<Mutex>()), workerDone(std::make_shared<Condition>()) {
    try {
        packetHandler = factory.createPacketHandler(portName, *this);
        commands = factory.createCommands(packetHandler.get());
        deviceInfo = commands->getDeviceInfo();
        settings = commands->getDeviceSettings();
    } catch (...) {
        // The port reports its failures to this object: it must close before the members go.
        commands.reset();
        packetHandler.reset();
        throw;
    }
}

RidgeDevice::~RidgeDevice() {
    close();
}

void RidgeDevice::close() {
    if (isCsrBeingCreated()) {
        // The worker's thread object must not go while its thread runs. Better at once than after
        // the worker has used what was freed.
        RIDGE_LOG(logError, "Session released while a CSR is being created");
        std::terminate();
    }
    disconnect(true);
    waitForCsrDelivery();
}

void RidgeDevice::disconnect(bool stopWorker) {
    if (stopWorker) {
        stopCapture();
    }
    const std::lock_guard lock(*stateMutex);
    commands.reset();
    packetHandler.reset();
}

bool RidgeDevice::isConnected() const {
    const std::lock_guard lock(*stateMutex);
    return packetHandler != nullptr;
}

bool RidgeDevice::isCaptureActive() const {
    const std::lock_guard lock(*stateMutex);
    return worker != nullptr && workerKind == WorkerKind::stoppable;
}

const DeviceInfo& RidgeDevice::getDeviceInfo() const {
    static const DeviceInfo released;
    return isConnected() ? deviceInfo : released;
}

const DeviceSettings& RidgeDevice::getSettings() const {
    return settings;
}

void RidgeDevice::checkReady() const {
    if (!isConnected()) {
        throw RIDGE_EXCEPTION(status::notConnected, "Device is not connected!");
    }
    {
        const std::lock_guard lock(*stateMutex);
        if (worker) {
            throw RIDGE_EXCEPTION(status::protocol,
                                  "Invalid state - command execution or capture is active!");
        }
    }
    if (hasSerialError()) {
        throw RIDGE_EXCEPTION(status::serialPort, "Serial port error detected. %s",
                              getSerialError().c_str());
    }
}

bool RidgeDevice::hasSerialError() const {
    const std::lock_guard lock(errorMutex);
    return !serialError.empty();
}

std::string RidgeDevice::getSerialError() const {
    const std::lock_guard lock(errorMutex);
    return serialError;
}

void RidgeDevice::onSerialPortError(const std::string& text) {
    RIDGE_LOG(logError, "Serial port error detected. %s", text.c_str());
    const std::lock_guard lock(errorMutex);
    try {
        serialError = text;
    } catch (const std::exception& failure) {
        // That the port has failed must be known, whatever is known of why.
        serialError = shortText(failure);
    }
}

void RidgeDevice::setSettings(std::uint8_t rotation, bool option) {
    const std::uint32_t optionFlag = option ? DeviceSettings::optionFlag : 0;
    checkReady();
    commands->setSettings({rotation, optionFlag | (settings.flags & DeviceSettings::deviceFlag)});
}

void RidgeDevice::setKey(const std::uint8_t* key) {
    checkReady();
    commands->setKey(key);
    reloadDeviceInfo();
}

void RidgeDevice::clearKey() {
    checkReady();
    commands->clearKey();
    reloadDeviceInfo();
}

void RidgeDevice::setCertificate(const std::uint8_t* certificate, std::int32_t size) {
    checkReady();
    commands->certSet(certificate, size);
    reloadDeviceInfo();
}

void RidgeDevice::clearCertificate() {
    checkReady();
    commands->certClear();
    reloadDeviceInfo();
}

std::vector<std::uint8_t> RidgeDevice::getCertificate() {
    checkReady();
    return commands->certGet();
}

void RidgeDevice::reloadDeviceInfo() {
    DeviceInfo info = commands->getDeviceInfo();
    const std::lock_guard lock(*stateMutex);
    deviceInfo = std::move(info);
}

void RidgeDevice::setHostAssistedCaptureResult(std::uint8_t verdict) {
    const std::lock_guard lock(*stateMutex);
    hacVerdict = verdict;
}

void RidgeDevice::stopCapture() {
    std::unique_lock lock(*stateMutex);
    if (worker && workerKind == WorkerKind::stoppable) {
        stopRequested = true;
        workerDone->wait(lock, [this] { return !worker; });
    }
}

void RidgeDevice::startWorker(WorkerKind kind, const char* name, BaseListener& listener,
                              std::function<void()> body) {
    keepModuleLoaded();
    stopRequested = false;
    // Held until the thread is stored: a short worker must not clear its slot before.
    const std::lock_guard lock(*stateMutex);
    worker = std::make_unique<std::thread>(
        [this, name, &listener, body = std::move(body), slotMutex = stateMutex, done = workerDone] {
            runWorker(name, listener, body, slotMutex, done);
        });
    workerKind = kind;
    csrAnswered = false;
}

void RidgeDevice::runWorker(const char* name, BaseListener& listener,
                            const std::function<void()>& body,
                            const std::shared_ptr<Mutex>& slotMutex,
                            const std::shared_ptr<Condition>& done) noexcept {
    RIDGE_LOG(logInformation, "%s thread active", name);
    try {
        runReporting(name, listener, body);
    } catch (...) {
        RIDGE_LOG(logError, "%s error could not be reported", name);
    }
    RIDGE_LOG(logInformation, "%s thread completed", name);
    {
        const std::lock_guard lock(*slotMutex);
        worker->detach();
        worker.reset();
        workerKind = WorkerKind::none;
    }
    // The session may be gone from here on.
    done->notify_all();
}

void RidgeDevice::runReporting(const char* name, BaseListener& listener,
                               const std::function<void()>& body) {
    try {
        body();
    } catch (const RidgeException& failure) {
        RIDGE_LOG(logError, "%s error %d/%s", name, static_cast<int>(failure.code()),
                  failure.what());
        reportFailure(listener, failure.code(), failure.what());
    } catch (const std::exception& failure) {
        RIDGE_LOG(logError, "%s error %s", name, failure.what());
        reportFailure(listener, status::unexpected, failure.what());
    } catch (...) {
        RIDGE_LOG(logError, "Unknown %s error", name);
        listener.onError(status::unexpected, "Unknown command error");
    }
}

} // namespace ridge
