#include "session.h"

#include "csrcaller.h"

#include <array>
#include <exception>
#include <memory>
#include <new>
#include <ostream>

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
        session.note("ridgeConnect", ridgeConnect(scanner, session.context()));
        ridgeDisconnect(session.context());
    }
}

void readInformationAndSettings(Session& session) {
    ridgeDeviceInfo info{};
    session.note("ridgeGetInfo", ridgeGetInfo(session.context(), &info));
    ridgeDeviceSettings settings{};
    session.note("ridgeSettingsGet", ridgeSettingsGet(session.context(), &settings));
    session.note("ridgeSettingsSet", ridgeSettingsSet(session.context(), &settings));
    ridgeDisconnect(session.context());
}

void capture(Session& session) {
    const std::array<std::uint8_t, 256> block{1, 2, 3};
    if (session.note("ridgeStartCapture",
                     session.client().startCapture(anyFinger, true, block.data()))) {
        session.awaitEnd("capture", 1);
    }
    ridgeStopCapture(session.context());
    ridgeDisconnect(session.context());
}

void assistedCapture(Session& session) {
    session.client().judgeWith([](const ReceivedImage&) -> std::uint8_t { return 1; });
    if (session.note("ridgeStartHostAssistedCapture",
                     session.client().startHostAssistedCapture(anyFinger))) {
        // The image that is judged, and the capture's own.
        session.awaitEnd("host-assisted capture", 2);
    }
    ridgeStopCapture(session.context());
    ridgeDisconnect(session.context());
}

/// The host forgets to disconnect.
void stream(Session& session) {
    if (session.note("ridgeStartStream", session.client().startStream())) {
        session.awaitEnd("stream", 2);
    }
    session.freeContext();
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
    session.note("ridgeDeviceSecurityCertGet",
                 ridgeDeviceSecurityCertGet(session.context(), &copy, &size));
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
    }
    ridgeDisconnect(session.context());
}

void connect(Session& session) {
    session.connect();
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
    failures.push_back({failure.status, operation + ": " + failure.message});
    if (failure.status < RIDGE_INVALID_ARGUMENT || failure.status > RIDGE_UNEXPECTED_RESPONSE ||
        failure.message.empty()) {
        wrong(operation + " gave " + std::to_string(failure.status) + " \"" + failure.message +
              "\"");
    }
}

void Session::awaitEnd(const std::string& operation, std::size_t images) {
    try {
        host->waitForImagesOrFailure(images);
    } catch (const std::exception& hanging) {
        wrong(operation + " does not end: " + hanging.what());
        return;
    }
    const std::vector<ReceivedFailure> reported = host->failures();
    for (const ReceivedFailure& failure : reported) {
        noteFailure(operation, failure);
    }
    if (reported.size() > 1) {
        wrong(operation + " failed more than once");
    }
}

void PrintTo(const Scenario& scenario, std::ostream* stream) {
    *stream << scenario.name;
}

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> all{
        {"Connection", false, connect},
        {"Discovery", false, discover},
        {"InformationAndSettings", true, readInformationAndSettings},
        {"Capture", true, capture},
        {"HostAssistedCapture", true, assistedCapture},
        {"Stream", true, stream},
        {"Key", true, changeKey},
        {"Certificate", true, changeCertificate},
        {"SigningRequest", true, requestSigning}};
    return all;
}

} // namespace ridge::test
