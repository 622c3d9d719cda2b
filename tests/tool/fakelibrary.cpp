#include "fakelibrary.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace {

ridge::test::FakeLibrary* library = nullptr;

} // namespace

struct ridgeDeviceContext {
    bool connected = false;
    std::string error;
    ridgeDeviceSettings settings{};
    std::unique_ptr<ridge::test::FakeWorker> worker;
    std::thread thread;

    void stop() {
        if (worker) {
            worker->stop();
        }
        if (thread.joinable()) {
            thread.join();
        }
        worker.reset();
    }
};

namespace ridge::test {
namespace {

std::int32_t result(ridgeDeviceContext& context, std::int32_t status) {
    if (status != RIDGE_SUCCESS) {
        context.error = library->errorText;
    }
    return status;
}

std::int32_t connect(ridgeDeviceContext& context, const std::string& call) {
    library->calls.push_back(call);
    if (library->onConnect) {
        library->onConnect();
    }
    context.connected = library->connectStatus == RIDGE_SUCCESS;
    context.settings = library->settings;
    return result(context, library->connectStatus);
}

std::int32_t start(ridgeDeviceContext& context, const std::string& call,
                   const ridgeCaptureParameters* parameters, const std::uint8_t* block,
                   const ridgeCaptureCallbacks& callbacks, void* userContext) {
    library->calls.push_back(call);
    if (context.worker && !context.worker->hasEnded()) {
        context.error = "Capture is active.";
        return RIDGE_CAPTURE_ACTIVE;
    }
    if (parameters != nullptr) {
        library->parameters = *parameters;
    }
    if (block != nullptr) {
        library->block.assign(block, block + 256);
    }
    if (library->startStatus == RIDGE_SUCCESS) {
        context.worker = std::make_unique<FakeWorker>(call, callbacks, userContext);
        context.thread = std::thread([&worker = *context.worker] {
            library->operation(worker);
            worker.end();
        });
    }
    return result(context, library->startStatus);
}

} // namespace

FakeWorker::FakeWorker(std::string operationName, const ridgeCaptureCallbacks& operationCallbacks,
                       void* context)
    : name(std::move(operationName)), callbacks(operationCallbacks), userContext(context) {}

void FakeWorker::event(std::uint32_t elapsedMilliseconds) {
    callbacks.eventCallback(userContext, elapsedMilliseconds);
}

void FakeWorker::image(std::uint32_t width, std::uint32_t height,
                       const std::vector<std::uint8_t>& bytes) {
    ridgeCaptureResult result{};
    result.width = width;
    result.height = height;
    result.image = bytes.data();
    result.imageSize = static_cast<std::uint32_t>(bytes.size());
    callbacks.captureCallback(&result, userContext);
}

void FakeWorker::imageWithExtras(std::uint32_t width, std::uint32_t height,
                                 const std::vector<std::uint8_t>& bytes) {
    const std::vector<std::uint8_t> trailer{0x01, 0xAB};
    ridgeCaptureResult result{};
    result.width = width;
    result.height = height;
    result.image = bytes.data();
    result.imageSize = static_cast<std::uint32_t>(bytes.size());
    result.extraValue = 7;
    result.trailerSize = 2;
    result.trailer = trailer.data();
    result.flagA = 1;
    result.flagC = 1;
    callbacks.captureCallback(&result, userContext);
}

void FakeWorker::error(std::int32_t status, const char* text) {
    callbacks.errorCallback(status, text, userContext);
}

std::optional<bool> FakeWorker::verdict() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return stopped || givenVerdict; });
    if (stopped) {
        return std::nullopt;
    }
    const bool accepted = *givenVerdict;
    givenVerdict.reset();
    return accepted;
}

void FakeWorker::waitForStop() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return stopped; });
}

bool FakeWorker::hasEnded() {
    const std::lock_guard lock(mutex);
    return ended;
}

void FakeWorker::end() {
    const std::lock_guard lock(mutex);
    ended = true;
}

void FakeWorker::giveVerdict(bool accepted) {
    {
        const std::lock_guard lock(mutex);
        givenVerdict = accepted;
    }
    changed.notify_all();
}

void FakeWorker::stop() {
    {
        const std::lock_guard lock(mutex);
        stopped = true;
    }
    changed.notify_all();
}

FakeLibrary::FakeLibrary() {
    library = this;
}

FakeLibrary::~FakeLibrary() {
    library = nullptr;
}

} // namespace ridge::test

using ridge::test::connect;
using ridge::test::result;
using ridge::test::start;

const char* ridgeGetSdkVersion() {
    return "9.8.7";
}

std::int32_t ridgeSetLogger(std::int32_t level, ridgeLogCallback callback, void* userContext) {
    library->logLevel = level;
    library->log = [=](std::int32_t lineLevel, const char* line) {
        callback(lineLevel, line, userContext);
    };
    callback(level, "[a line of the log]", userContext);
    return RIDGE_SUCCESS;
}

ridgeDeviceContext* ridgeCreateDeviceContext() {
    return new ridgeDeviceContext;
}

void ridgeFreeDeviceContext(ridgeDeviceContext* context) {
    context->stop();
    library->calls.emplace_back("free");
    delete context;
}

const char* ridgeGetLastErrorDescription(const ridgeDeviceContext* context) {
    return context->error.c_str();
}

std::int32_t ridgeQueryDevices(ridgeDeviceList** list) {
    if (library->queryStatus != RIDGE_SUCCESS) {
        return library->queryStatus;
    }
    auto entries = std::make_unique<std::vector<ridgeDeviceEntry>>();
    for (ridge::test::AttachedScanner& scanner : library->attached) {
        entries->push_back({scanner.port.c_str(), scanner.serialNumber.c_str(),
                            scanner.description.c_str(), scanner.manufacturer.c_str(), &scanner});
    }
    const auto count = static_cast<std::uint32_t>(entries->size());
    *list = new ridgeDeviceList{entries->data(), count, entries.get()};
    (void)entries.release();
    ++library->openLists;
    return RIDGE_SUCCESS;
}

void ridgeFreeDevices(ridgeDeviceList* list) {
    --library->openLists;
    delete static_cast<std::vector<ridgeDeviceEntry>*>(list->internal);
    delete list;
}

std::int32_t ridgeConnect(const ridgeDeviceEntry* device, ridgeDeviceContext* context) {
    return connect(*context, "connect to the scanner on " + std::string(device->portName));
}

std::int32_t ridgeConnectCOM(const char* comPort, ridgeDeviceContext* context) {
    return connect(*context, std::string("connect ") + comPort);
}

std::uint8_t ridgeIsConnected(const ridgeDeviceContext* context) {
    return context->connected ? 1 : 0;
}

void ridgeDisconnect(ridgeDeviceContext* context) {
    library->calls.emplace_back("disconnect");
    context->stop();
    context->connected = false;
}

std::int32_t ridgeGetInfo(ridgeDeviceContext* context, ridgeDeviceInfo* info) {
    *info = library->info;
    return context->connected ? RIDGE_SUCCESS : RIDGE_NOT_CONNECTED;
}

std::int32_t ridgeSettingsGet(ridgeDeviceContext* context, ridgeDeviceSettings* settings) {
    *settings = context->settings;
    return context->connected ? RIDGE_SUCCESS : RIDGE_NOT_CONNECTED;
}

std::int32_t ridgeSettingsSet(ridgeDeviceContext* context, const ridgeDeviceSettings* settings) {
    library->calls.emplace_back("write settings");
    if (settings->rotation > 3) {
        context->error = "Invalid rotation angle " + std::to_string(settings->rotation) + ".";
        return RIDGE_INVALID_ARGUMENT;
    }
    library->settings = *settings;
    return result(*context, library->settingsStatus);
}

std::int32_t ridgeStartCapture(ridgeDeviceContext* context,
                               const ridgeCaptureParameters* parameters, const std::uint8_t* block,
                               const ridgeCaptureCallbacks* callbacks, void* userContext) {
    return start(*context, "capture", parameters, block, *callbacks, userContext);
}

std::int32_t ridgeStartHostAssistedCapture(ridgeDeviceContext* context,
                                           const ridgeCaptureParameters* parameters,
                                           const std::uint8_t* block,
                                           const ridgeCaptureCallbacks* callbacks,
                                           void* userContext) {
    return start(*context, "host-assisted capture", parameters, block, *callbacks, userContext);
}

void ridgeHostAssistedCaptureSetResult(ridgeDeviceContext* context, std::uint8_t result) {
    library->calls.emplace_back(result == 0 ? "reject" : "accept");
    context->worker->giveVerdict(result != 0);
}

std::int32_t ridgeStartStream(ridgeDeviceContext* context, const std::uint8_t* block,
                              const ridgeCaptureCallbacks* callbacks, void* userContext) {
    return start(*context, "stream", nullptr, block, *callbacks, userContext);
}

std::int32_t ridgeDeviceSecuritySetKey(ridgeDeviceContext* context, const std::uint8_t* key) {
    library->calls.emplace_back("set key");
    library->key.assign(key, key + 32);
    return result(*context, library->securityStatus);
}

std::int32_t ridgeDeviceSecurityClearKey(ridgeDeviceContext* context) {
    library->calls.emplace_back("clear key");
    return result(*context, library->securityStatus);
}

std::int32_t ridgeDeviceSecurityCertGet(ridgeDeviceContext* context, std::uint8_t** certificate,
                                        std::uint32_t* size) {
    library->calls.emplace_back("get certificate");
    if (library->securityStatus == RIDGE_SUCCESS) {
        const std::vector<std::uint8_t>& bytes = library->certificate;
        *certificate = bytes.empty() ? nullptr : new std::uint8_t[bytes.size()];
        std::copy(bytes.begin(), bytes.end(), *certificate);
        *size = static_cast<std::uint32_t>(bytes.size());
        library->openCertificates += bytes.empty() ? 0 : 1;
    }
    return result(*context, library->securityStatus);
}

void ridgeDeviceSecurityCertFree(std::uint8_t* certificate) {
    library->openCertificates -= certificate == nullptr ? 0 : 1;
    delete[] certificate;
}

std::int32_t ridgeDeviceSecurityCertSet(ridgeDeviceContext* context,
                                        const std::uint8_t* certificate, std::uint32_t size) {
    library->calls.emplace_back("set certificate");
    library->certificate.assign(certificate, certificate + size);
    return result(*context, library->securityStatus);
}

std::int32_t ridgeDeviceSecurityCertClear(ridgeDeviceContext* context) {
    library->calls.emplace_back("clear certificate");
    library->certificate.clear();
    return result(*context, library->securityStatus);
}

std::int32_t ridgeDeviceSecurityCreateCsr(ridgeDeviceContext* context,
                                          const ridgeCsrSubjectName* subject,
                                          ridgeCsrCallback csrCallback,
                                          ridgeErrorCallback csrErrorCallback, void* userContext) {
    library->calls.push_back(std::string("create csr ") + subject->commonName + "|" +
                             subject->country + "|" + subject->locality + "|" +
                             subject->organization + "|" + subject->organizationalUnit + "|" +
                             subject->stateOrProvince);
    if (library->securityStatus == RIDGE_SUCCESS) {
        context->thread =
            std::thread(library->createCsr, csrCallback, csrErrorCallback, userContext);
    }
    return result(*context, library->securityStatus);
}

void ridgeStopCapture(ridgeDeviceContext* context) {
    library->calls.emplace_back("stop");
    library->stoppingThreads.push_back(std::this_thread::get_id());
    context->stop();
}
