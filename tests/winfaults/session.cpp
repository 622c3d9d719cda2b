#include "session.h"

#include "csrcaller.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <ostream>
#include <string_view>

namespace ridge::test {
namespace {

struct FreeDevices {
    void operator()(ridgeDeviceList* list) const { ridgeFreeDevices(list); }
};
using DeviceList = std::unique_ptr<ridgeDeviceList, FreeDevices>;

/// Without memory the function lets the exception out.
DeviceList queryDevices(Session& session) {
    ridgeDeviceList* list = nullptr;
    try {
        const std::int32_t status = ridgeQueryDevices(&list);
        if (status != RIDGE_SUCCESS || list == nullptr) {
            session.wrong("ridgeQueryDevices gave " + std::to_string(status));
        }
    } catch (...) {
        session.noteFailure("ridgeQueryDevices",
                            {RIDGE_UNEXPECTED_FAILURE, std::bad_alloc().what()});
        if (list != nullptr) {
            session.wrong("ridgeQueryDevices wrote a list without having one");
        }
    }
    return DeviceList(list);
}

const ridgeDeviceEntry* findScanner(const ridgeDeviceList& list, const std::string& port) {
    for (std::uint32_t index = 0; index < list.count; ++index) {
        if (list.devices[index].portName == port) {
            return &list.devices[index];
        }
    }
    return nullptr;
}

void discover(Session& session) {
    const DeviceList list = queryDevices(session);
    const ridgeDeviceEntry* const scanner =
        list ? findScanner(*list, session.attached().comPort()) : nullptr;
    if (scanner != nullptr) {
        session.noteReceived(std::string("scanner ") + scanner->description + ", " +
                             scanner->manufacturer +
                             (*scanner->serialNumber == '\0' ? "" : ", with a serial number"));
        session.note("ridgeConnect", ridgeConnect(scanner, session.context()));
        ridgeDisconnect(session.context());
    }
}

void readInformationAndSettings(Session& session) {
    ridgeDeviceInfo info{};
    if (session.note("ridgeGetInfo", ridgeGetInfo(session.context(), &info))) {
        // Each scanner has a serial number of its own.
        std::string sizes;
        for (const char* text :
             {info.text1, info.text2, info.text3, info.text4, info.text5, info.text6, info.text7}) {
            sizes += " " + std::to_string(std::string_view(text).size());
        }
        session.noteReceived("information, in characters:" + sizes);
    }
    ridgeDeviceSettings settings{};
    if (session.note("ridgeSettingsGet", ridgeSettingsGet(session.context(), &settings))) {
        session.noteReceived("settings " + std::to_string(settings.rotation) + " " +
                             std::to_string(settings.option));
    }
    session.note("ridgeSettingsSet", ridgeSettingsSet(session.context(), &settings));
    ridgeDisconnect(session.context());
}

void capture(Session& session) {
    const std::array<std::uint8_t, 256> block{1, 2, 3};
    if (session.note("ridgeStartCapture",
                     session.client().startCapture(anyFinger, true, block.data()))) {
        session.awaitImages("capture", 1);
    }
    ridgeStopCapture(session.context());
    session.noteOutcome("capture", 1);
    ridgeDisconnect(session.context());
}

/// Gives a verdict when the scanner reports that it was pinged, as it is while one is awaited.
class AcceptAfterPing {
public:
    explicit AcceptAfterPing(Session& session) : scanner(session.attached()) {
        scanner.hearReports([context = session.context()](const std::string& report) {
            if (report.starts_with("PING")) {
                constexpr std::uint8_t accepted = 1;
                ridgeHostAssistedCaptureSetResult(context, accepted);
            }
        });
    }
    ~AcceptAfterPing() { scanner.hearReports({}); }

    AcceptAfterPing(const AcceptAfterPing&) = delete;
    AcceptAfterPing& operator=(const AcceptAfterPing&) = delete;

private:
    SimulatorProcess& scanner;
};

/// The first image is rejected, the second is accepted after a while.
void assistedCapture(Session& session) {
    constexpr std::uint8_t rejected = 0;
    constexpr std::uint8_t open = 2;
    // The two images that are judged, and the capture's own.
    constexpr std::size_t images = 3;
    session.client().judgeWith(
        [shown = 0](const ReceivedImage&) mutable { return shown++ == 0 ? rejected : open; });
    {
        const AcceptAfterPing accepting(session);
        if (session.note("ridgeStartHostAssistedCapture",
                         session.client().startHostAssistedCapture(anyFinger))) {
            session.awaitImages("host-assisted capture", images);
        }
        ridgeStopCapture(session.context());
    }
    session.noteOutcome("host-assisted capture", images);
    ridgeDisconnect(session.context());
}

/// The host forgets to stop it and to disconnect.
void stream(Session& session) {
    constexpr std::size_t images = 2;
    if (session.note("ridgeStartStream", session.client().startStream())) {
        session.awaitImages("stream", images);
    }
    session.client().freeContext();
    session.noteOutcome("stream", images);
}

void changeKey(Session& session) {
    const std::array<std::uint8_t, 32> key{1, 2, 3};
    session.note("ridgeDeviceSecuritySetKey",
                 ridgeDeviceSecuritySetKey(session.context(), key.data()));
    session.note("ridgeDeviceSecurityClearKey", ridgeDeviceSecurityClearKey(session.context()));
    ridgeDisconnect(session.context());
}

void changeCertificate(Session& session) {
    const std::array<std::uint8_t, 40> certificate{0x30, 0x7E, 0x7D};
    session.note("ridgeDeviceSecurityCertSet",
                 ridgeDeviceSecurityCertSet(session.context(), certificate.data(),
                                            static_cast<std::uint32_t>(certificate.size())));
    std::uint8_t* copy = nullptr;
    std::uint32_t size = 0;
    if (session.note("ridgeDeviceSecurityCertGet",
                     ridgeDeviceSecurityCertGet(session.context(), &copy, &size))) {
        const bool same = std::equal(certificate.begin(), certificate.end(), copy, copy + size);
        session.noteReceived(same ? "the certificate" : "something else");
    }
    ridgeDeviceSecurityCertFree(copy);
    session.note("ridgeDeviceSecurityCertClear", ridgeDeviceSecurityCertClear(session.context()));
    ridgeDisconnect(session.context());
}

void requestSigning(Session& session) {
    CsrCaller caller;
    if (session.note("ridgeDeviceSecurityCreateCsr", caller.start(session.client()))) {
        caller.waitForEnd();
        const std::vector<ReceivedFailure> failures = caller.failuresSoFar();
        if (caller.requestsSoFar().size() + failures.size() != 1) {
            session.wrong("the signing request did not end, or ended more than once");
        }
        for (const ReceivedFailure& failure : failures) {
            session.noteFailure("signing request", failure);
        }
        for (const std::vector<std::uint8_t>& request : caller.requestsSoFar()) {
            session.noteReceived(request.empty() ? "an empty request" : "a request");
        }
    }
    ridgeDisconnect(session.context());
}

void connect(Session& session) {
    session.note("ridgeConnectCOM", session.connect());
    ridgeDisconnect(session.context());
}

} // namespace

bool Session::note(const std::string& call, std::int32_t status) {
    if (status != RIDGE_SUCCESS) {
        noteFailure(call, {status, host->lastError()});
    }
    return status == RIDGE_SUCCESS;
}

void Session::noteFailure(const std::string& operation, const ReceivedFailure& failure) {
    failures.push_back({operation, failure});
    if (failure.status < RIDGE_INVALID_ARGUMENT || failure.status > RIDGE_UNEXPECTED_RESPONSE ||
        failure.message.empty()) {
        wrong(operation + " gave " + std::to_string(failure.status) + " \"" + failure.message +
              "\"");
    }
}

void Session::awaitImages(const std::string& operation, std::size_t images) {
    try {
        host->waitForImagesOrFailure(images);
    } catch (const std::exception& hanging) {
        wrong(operation + " does not end: " + hanging.what());
    }
}

void Session::noteOutcome(const std::string& operation, std::size_t images) {
    const std::vector<ReceivedFailure> reported = host->failures();
    for (const ReceivedFailure& failure : reported) {
        noteFailure(operation, failure);
    }
    if (reported.size() > 1) {
        wrong(operation + " failed more than once");
    }
    std::vector<ReceivedImage> shown = host->images();
    shown.resize(std::min(shown.size(), images));
    for (const ReceivedImage& image : shown) {
        noteReceived("image of " + std::to_string(image.width) + " x " +
                     std::to_string(image.height) + " pixels, " +
                     std::to_string(image.image.size()) + " and " +
                     std::to_string(image.trailer.size()) + " bytes");
    }
}

void PrintTo(const OperationFailure& failure, std::ostream* stream) {
    *stream << failure.operation << ": ";
    PrintTo(failure.failure, stream);
}

void PrintTo(const Scenario& scenario, std::ostream* stream) {
    *stream << scenario.name;
}

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> all{
        {"Connection", false, 0, connect},
        {"Discovery", false, 1, discover},
        {"InformationAndSettings", true, 2, readInformationAndSettings},
        {"Capture", true, 1, capture},
        {"HostAssistedCapture", true, 3, assistedCapture},
        {"Stream", true, 2, stream},
        {"Key", true, 0, changeKey},
        {"Certificate", true, 1, changeCertificate},
        {"SigningRequest", true, 1, requestSigning}};
    return all;
}

} // namespace ridge::test
