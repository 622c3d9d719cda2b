// The exported functions that manage key, certificate and signing requests.

#include "ridge-sdk.h"

#include "devicecontext.h"
#include "gate.h"
#include "hexbytes.h"
#include "hextext.h"
#include "journal.h"
#include "logrecorder.h"
#include "scriptedscanner.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace ridge {
namespace {

using test::Bytes;
using test::Gate;
using test::hexBytes;
using test::hexText;
using test::Journal;
using test::LogLine;
using test::LogRecorder;
using test::ScriptedScanner;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::uint8_t infoCode = 0x30;
constexpr std::uint8_t setKeyCode = 0x20;
constexpr std::uint8_t createCsrCode = 0x21;
constexpr std::uint8_t certSetCode = 0x22;
constexpr std::uint8_t certGetCode = 0x23;
constexpr std::uint8_t certClearCode = 0x24;
constexpr std::uint8_t clearKeyCode = 0x2C;
constexpr const char* busyText = "Invalid state - command execution or capture is active!";

struct FreeContext {
    void operator()(ridgeDeviceContext* context) const { ridgeFreeDeviceContext(context); }
};

struct FreeCertificate {
    void operator()(std::uint8_t* certificate) const { ridgeDeviceSecurityCertFree(certificate); }
};

/// What the caller's callbacks are given, as texts.
struct Caller {
    Journal calls;
    /// Runs during the calls, on the worker's thread.
    std::function<void()> duringCall = [] {};
};

void onCsr(const std::uint8_t* request, std::uint32_t size, void* userContext) {
    auto& caller = *static_cast<Caller*>(userContext);
    caller.calls.add("csr [" + hexText(Bytes(request, request + size)) + "]");
    caller.duringCall();
}

void onError(std::int32_t status, const char* message, void* userContext) {
    auto& caller = *static_cast<Caller*>(userContext);
    caller.calls.add("error " + std::to_string(status) + " " + message);
    caller.duringCall();
}

void onImage(const ridgeCaptureResult*, void*) {}

constexpr ridgeCaptureCallbacks captureCallbacks{onError, onImage, nullptr};
constexpr ridgeCaptureParameters captureParameters{1, 5000, 1};
constexpr ridgeCsrSubjectName subject{"Ann", "DE", nullptr, "", "U", "S"};

class SecurityFunctions : public testing::Test {
protected:
    static constexpr const char* port = "COM7";
    static constexpr const char* earlierText = "Settings cannot be NULL.";

    SecurityFunctions() {
        std::generate(key.begin(), key.end(),
                      [n = 0]() mutable { return static_cast<std::uint8_t>(n++); });
    }

    [[nodiscard]] std::string lastError() const {
        return ridgeGetLastErrorDescription(context.get());
    }

    /// Connects, with the text of an earlier failure in place.
    void connect() {
        ASSERT_EQ(ridgeConnectCOM(port, context.get()), 0) << lastError();
        ASSERT_EQ(ridgeSettingsSet(context.get(), nullptr), 3);
        scanner.requests.clear();
    }

    std::int32_t createCsr(const ridgeCsrSubjectName& name, Caller& by) {
        return ridgeDeviceSecurityCreateCsr(context.get(), &name, onCsr, onError, &by);
    }

    void waitForEnd() const {
        while (!isIdle()) {
            std::this_thread::yield();
        }
    }

    [[nodiscard]] bool isIdle() const {
        try {
            context->device->checkReady();
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

    [[nodiscard]] std::string text7() const {
        ridgeDeviceInfo info{};
        EXPECT_EQ(ridgeGetInfo(context.get(), &info), 0) << lastError();
        return info.text7;
    }

    /// From now on the scanner says something else of itself.
    void changeInformation() {
        scanner.succeed(infoCode, hexBytes("0000 0000 0000 0000 0000 0000 0003 6E6577 "
                                           "0001 0002 00000000"));
    }

    ScriptedScanner scanner{port};
    Caller caller;
    Caller other;
    Bytes key = Bytes(32);
    std::unique_ptr<ridgeDeviceContext, FreeContext> context{ridgeCreateDeviceContext()};
};

TEST_F(SecurityFunctions, NullArguments_AreStatus3WithoutText) {
    connect();
    std::uint8_t* certificate = nullptr;
    std::uint32_t size = 0;
    ridgeDeviceContext* const some = context.get();
    EXPECT_EQ(ridgeDeviceSecuritySetKey(nullptr, key.data()), 3);
    EXPECT_EQ(ridgeDeviceSecuritySetKey(some, nullptr), 3);
    EXPECT_EQ(ridgeDeviceSecurityClearKey(nullptr), 3);
    EXPECT_EQ(ridgeDeviceSecurityCertGet(nullptr, &certificate, &size), 3);
    EXPECT_EQ(ridgeDeviceSecurityCertGet(some, nullptr, &size), 3);
    EXPECT_EQ(ridgeDeviceSecurityCertGet(some, &certificate, nullptr), 3);
    EXPECT_EQ(ridgeDeviceSecurityCertSet(nullptr, key.data(), 1), 3);
    EXPECT_EQ(ridgeDeviceSecurityCertSet(some, nullptr, 1), 3);
    EXPECT_EQ(ridgeDeviceSecurityCertClear(nullptr), 3);
    EXPECT_EQ(ridgeDeviceSecurityCreateCsr(nullptr, &subject, onCsr, onError, &caller), 3);
    EXPECT_EQ(ridgeDeviceSecurityCreateCsr(some, nullptr, onCsr, onError, &caller), 3);
    EXPECT_EQ(ridgeDeviceSecurityCreateCsr(some, &subject, nullptr, onError, &caller), 3);
    EXPECT_EQ(ridgeDeviceSecurityCreateCsr(some, &subject, onCsr, nullptr, &caller), 3);
    EXPECT_EQ(lastError(), earlierText);
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
    EXPECT_EQ(context->csrListener, nullptr);
}

/// Runs each function that needs a session.
void expectEach(ridgeDeviceContext* context, std::int32_t status, const std::string& text) {
    const Bytes bytes(32);
    std::uint8_t* certificate = nullptr;
    std::uint32_t size = 77;
    Caller nobody;
    const std::vector<std::function<std::int32_t()>> functions{
        [&] { return ridgeDeviceSecuritySetKey(context, bytes.data()); },
        [&] { return ridgeDeviceSecurityClearKey(context); },
        [&] { return ridgeDeviceSecurityCertGet(context, &certificate, &size); },
        [&] { return ridgeDeviceSecurityCertSet(context, bytes.data(), 32); },
        [&] { return ridgeDeviceSecurityCertClear(context); },
        [&] { return ridgeDeviceSecurityCreateCsr(context, &subject, onCsr, onError, &nobody); }};
    for (std::size_t index = 0; index < functions.size(); ++index) {
        SCOPED_TRACE(index);
        context->lastError.clear();
        EXPECT_EQ(functions[index](), status);
        EXPECT_EQ(ridgeGetLastErrorDescription(context), text);
    }
    EXPECT_EQ(certificate, nullptr);
    EXPECT_EQ(size, 77U);
    EXPECT_THAT(nobody.calls.entries(), IsEmpty());
}

TEST_F(SecurityFunctions, WithoutSession_Fail11) {
    expectEach(context.get(), 11, "Not connected.");
    connect();
    ridgeDisconnect(context.get());
    expectEach(context.get(), 11, "Not connected.");
}

TEST_F(SecurityFunctions, AfterTheSessionHasLostItsScanner_Fail11WithTheSessionsText) {
    connect();
    context->device->disconnect(false);
    expectEach(context.get(), 11, "Device is not connected!");
}

TEST_F(SecurityFunctions, AfterASerialErrorWhileIdle_Fail5) {
    connect();
    scanner.failPort("unplugged");
    expectEach(context.get(), 5, "Serial port error detected. unplugged");
}

TEST_F(SecurityFunctions, WhileACaptureRuns_Fail6AndTheCaptureGoesOn) {
    connect();
    ASSERT_EQ(
        ridgeStartCapture(context.get(), &captureParameters, nullptr, &captureCallbacks, &caller),
        0);
    expectEach(context.get(), 6, busyText);
    EXPECT_TRUE(context->device->isCaptureActive());
    ridgeStopCapture(context.get());
    EXPECT_THAT(caller.calls.entries(), IsEmpty());
}

TEST_F(SecurityFunctions, SetKey_SendsItMaskedAndReadsTheInformationAnew) {
    connect();
    changeInformation();
    EXPECT_EQ(ridgeDeviceSecuritySetKey(context.get(), key.data()), 0) << lastError();
    const std::vector<std::string> requests = scanner.requests.entries();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_THAT(requests[0], StartsWith("20 "));
    EXPECT_EQ(requests[1], "30");
    const Bytes sent = hexBytes(requests[0]);
    ASSERT_EQ(sent.size(), 65U);
    for (std::size_t index = 0; index < key.size(); ++index) {
        EXPECT_EQ(sent[2 * index + 1] ^ sent[2 * index + 2], key[index]);
    }
    EXPECT_EQ(text7(), "new");
    EXPECT_EQ(lastError(), earlierText);
}

TEST_F(SecurityFunctions, ClearKey_ReadsTheInformationAnew) {
    connect();
    changeInformation();
    EXPECT_EQ(ridgeDeviceSecurityClearKey(context.get()), 0) << lastError();
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("2C", "30"));
    EXPECT_EQ(text7(), "new");
}

TEST_F(SecurityFunctions, CertSet_SendsTheBytesAndReadsTheInformationAnew) {
    connect();
    changeInformation();
    const Bytes certificate{1, 2, 3};
    EXPECT_EQ(ridgeDeviceSecurityCertSet(context.get(), certificate.data(), 3), 0) << lastError();
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("22 01 02 03", "30"));
    EXPECT_EQ(text7(), "new");
}

TEST_F(SecurityFunctions, CertClear_ReadsTheInformationAnew) {
    connect();
    changeInformation();
    EXPECT_EQ(ridgeDeviceSecurityCertClear(context.get()), 0) << lastError();
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("24", "30"));
    EXPECT_EQ(text7(), "new");
}

TEST_F(SecurityFunctions, InformationThatFailsAfterAChange_IsReportedThoughTheChangeWasMade) {
    connect();
    scanner.refuse(infoCode, 5, "busy");
    EXPECT_EQ(ridgeDeviceSecurityCertClear(context.get()), 13);
    EXPECT_EQ(lastError(), "GET DEVICE INFO: Failed (48) with error 5. busy");
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("24", "30"));
    EXPECT_EQ(text7(), "seven");
}

TEST_F(SecurityFunctions, CertSet_OfAWrongSize_Fails2AndSendsNothing) {
    connect();
    const Bytes certificate(6001);
    const std::vector<std::pair<std::uint32_t, std::string>> cases{
        {0, "Invalid certificate size 0."},
        {6001, "Invalid certificate size 6001."},
        {0x80000000U, "Invalid certificate size -2147483648."},
        {0xFFFFFFFFU, "Invalid certificate size -1."}};
    for (const auto& [size, text] : cases) {
        EXPECT_EQ(ridgeDeviceSecurityCertSet(context.get(), certificate.data(), size), 2);
        EXPECT_EQ(lastError(), text);
    }
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
    EXPECT_EQ(ridgeDeviceSecurityCertSet(context.get(), certificate.data(), 6000), 0);
}

TEST_F(SecurityFunctions, CertGet_GivesACopyThatIsFreedByTheLibrary) {
    connect();
    scanner.succeed(certGetCode, {9, 8, 7});
    std::uint8_t* certificate = nullptr;
    std::uint32_t size = 0;
    ASSERT_EQ(ridgeDeviceSecurityCertGet(context.get(), &certificate, &size), 0) << lastError();
    const std::unique_ptr<std::uint8_t, FreeCertificate> owner(certificate);
    EXPECT_EQ(Bytes(certificate, certificate + size), (Bytes{9, 8, 7}));
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("23"));
    EXPECT_EQ(text7(), "seven");
}

TEST_F(SecurityFunctions, CertGet_OfAScannerWithoutCertificate_GivesNullAndSize0) {
    connect();
    Bytes storage(1);
    std::uint8_t* certificate = storage.data();
    std::uint32_t size = 77;
    EXPECT_EQ(ridgeDeviceSecurityCertGet(context.get(), &certificate, &size), 0) << lastError();
    EXPECT_EQ(certificate, nullptr);
    EXPECT_EQ(size, 0U);
}

TEST_F(SecurityFunctions, CertGet_Refused_StoresNothing) {
    connect();
    scanner.refuse(certGetCode, 5, "no");
    Bytes storage(1);
    std::uint8_t* certificate = storage.data();
    std::uint32_t size = 77;
    EXPECT_EQ(ridgeDeviceSecurityCertGet(context.get(), &certificate, &size), 13);
    EXPECT_EQ(lastError(), "CERT GET: Failed (35) with error 5. no");
    EXPECT_EQ(certificate, storage.data());
    EXPECT_EQ(size, 77U);
}

TEST(SecurityFunctionsWithoutContext, CertFree_OfNull_DoesNothing) {
    ridgeDeviceSecurityCertFree(nullptr);
}

struct RefusedCommand {
    std::uint8_t code;
    std::string text;
};

TEST_F(SecurityFunctions, Refusals_Fail13WithTheCommandsName) {
    connect();
    const std::vector<std::pair<std::function<std::int32_t()>, RefusedCommand>> cases{
        {[&] { return ridgeDeviceSecuritySetKey(context.get(), key.data()); },
         {setKeyCode, "SET KEY: Failed (32) with error 5. no"}},
        {[&] { return ridgeDeviceSecurityClearKey(context.get()); },
         {clearKeyCode, "CLEAR KEY: Failed (44) with error 5. no"}},
        {[&] { return ridgeDeviceSecurityCertSet(context.get(), key.data(), 1); },
         {certSetCode, "CERT SET: Failed (34) with error 5. no"}},
        {[&] { return ridgeDeviceSecurityCertClear(context.get()); },
         {certClearCode, "CERT CLEAR: Failed (36) with error 5. no"}}};
    for (const auto& [function, refused] : cases) {
        scanner.refuse(refused.code, 5, "no");
        EXPECT_EQ(function(), 13);
        EXPECT_EQ(lastError(), refused.text);
    }
}

TEST_F(SecurityFunctions, CreateCsr_SendsTheSubjectAndDeliversTheRequest) {
    connect();
    scanner.succeed(createCsrCode, {0x30, 0x82, 0x01});
    EXPECT_EQ(createCsr(subject, caller), 0) << lastError();
    caller.calls.waitFor("csr [30 82 01]");
    waitForEnd();
    EXPECT_THAT(scanner.requests.entries(),
                ElementsAre("21 00 03 41 6E 6E 00 02 44 45 00 00 00 00 00 01 55 00 01 53"));
    EXPECT_THAT(caller.calls.entries(), ElementsAre("csr [30 82 01]"));
    EXPECT_EQ(lastError(), earlierText);
}

TEST_F(SecurityFunctions, CreateCsr_AnswerWithoutData_IsReportedAs9) {
    connect();
    EXPECT_EQ(createCsr(subject, caller), 0) << lastError();
    caller.calls.waitFor("error 9 CREATE CSR: Missing response data");
    waitForEnd();
}

TEST_F(SecurityFunctions, CreateCsr_Refused_IsReportedAs13) {
    connect();
    scanner.refuse(createCsrCode, 5, "no");
    EXPECT_EQ(createCsr(subject, caller), 0) << lastError();
    caller.calls.waitFor("error 13 CREATE CSR: Failed (33) with error 5. no");
    waitForEnd();
    EXPECT_EQ(caller.calls.entries().size(), 1U);
}

TEST_F(SecurityFunctions, CreateCsr_BadSubject_Fails2AndKeepsThePreviousListener) {
    connect();
    scanner.succeed(createCsrCode, {0x30});
    ASSERT_EQ(createCsr(subject, caller), 0);
    caller.calls.waitFor("csr [30]");
    waitForEnd();
    scanner.requests.clear();
    const auto listener = context->csrListener;
    EXPECT_EQ(createCsr({"", "DE", nullptr, nullptr, nullptr, nullptr}, other), 2);
    EXPECT_EQ(lastError(), "common name must be specified.");
    EXPECT_EQ(createCsr({"Ann", "DEU", nullptr, nullptr, nullptr, nullptr}, other), 2);
    EXPECT_EQ(lastError(), "Invalid country name value.");
    EXPECT_EQ(context->csrListener, listener);
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
    EXPECT_THAT(other.calls.entries(), IsEmpty());
}

TEST_F(SecurityFunctions, CreateCsr_BadSubject_ComesBeforeTheSession) {
    EXPECT_EQ(createCsr({"", "", "", "", "", ""}, caller), 2);
    EXPECT_EQ(lastError(), "common name must be specified.");
    EXPECT_EQ(context->csrListener, nullptr);
}

TEST_F(SecurityFunctions, CreateCsr_WhileACaptureRuns_Fails6AndItsListenerIsStored) {
    connect();
    ASSERT_EQ(
        ridgeStartCapture(context.get(), &captureParameters, nullptr, &captureCallbacks, &caller),
        0);
    EXPECT_EQ(createCsr(subject, other), 6);
    EXPECT_EQ(lastError(), busyText);
    ASSERT_NE(context->csrListener, nullptr);
    context->csrListener->onError(1, "reaches the new caller");
    EXPECT_THAT(other.calls.entries(), ElementsAre("error 1 reaches the new caller"));
    EXPECT_TRUE(context->device->isCaptureActive());
    ridgeStopCapture(context.get());
}

/// A signing request that stays in its callback until the gate is opened.
class WhileACsrIsDelivered : public SecurityFunctions {
protected:
    void SetUp() override {
        connect();
        scanner.succeed(createCsrCode, {0x30});
        caller.duringCall = [this] { gate.pass(); };
        ASSERT_EQ(createCsr(subject, caller), 0) << lastError();
        caller.calls.waitFor("csr [30]");
    }

    void TearDown() override {
        gate.open();
        waitForEnd();
        EXPECT_THAT(caller.calls.entries(), ElementsAre("csr [30]"));
    }

    Gate gate;
};

TEST_F(WhileACsrIsDelivered, EverySecurityFunction_Fails6) {
    expectEach(context.get(), 6, busyText);
}

TEST_F(WhileACsrIsDelivered, SecondStart_Fails6AndReplacesTheListenerButNotTheRunningOnes) {
    EXPECT_EQ(createCsr(subject, other), 6);
    EXPECT_EQ(lastError(), busyText);
    context->csrListener->onError(1, "reaches the new caller");
    EXPECT_THAT(other.calls.entries(), ElementsAre("error 1 reaches the new caller"));
}

TEST_F(WhileACsrIsDelivered, CaptureStart_PassesTheChecksAndFails6WithItsListenerStored) {
    EXPECT_EQ(
        ridgeStartCapture(context.get(), &captureParameters, nullptr, &captureCallbacks, &other),
        6);
    EXPECT_EQ(lastError(), busyText);
    EXPECT_NE(context->captureListener, nullptr);
    EXPECT_THAT(other.calls.entries(), IsEmpty());
}

TEST_F(WhileACsrIsDelivered, SettingsSet_Fails6) {
    const ridgeDeviceSettings settings{1, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 6);
    EXPECT_EQ(lastError(), busyText);
}

TEST_F(WhileACsrIsDelivered, WhatNeedsNoCommand_Works) {
    ridgeDeviceSettings settings{};
    EXPECT_EQ(ridgeSettingsGet(context.get(), &settings), 0);
    EXPECT_EQ(text7(), "seven");
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
}

TEST_F(WhileACsrIsDelivered, StopCapture_ReturnsAtOnce) {
    ridgeStopCapture(context.get());
    EXPECT_EQ(lastError(), "");
    EXPECT_FALSE(isIdle());
}

TEST_F(WhileACsrIsDelivered, FailedStart_LeavesTheRunningRequestAlone) {
    EXPECT_EQ(createCsr({"", "", "", "", "", ""}, other), 2);
    EXPECT_FALSE(isIdle());
}

TEST_F(WhileACsrIsDelivered, CertSetOfSize0_Fails6BeforeItsSizeIsLookedAt) {
    EXPECT_EQ(ridgeDeviceSecurityCertSet(context.get(), key.data(), 0), 6);
    EXPECT_EQ(lastError(), busyText);
}

TEST_F(SecurityFunctions, CertSetOfSize0_WithoutAReadySession_FailsBeforeItsSizeIsLookedAt) {
    EXPECT_EQ(ridgeDeviceSecurityCertSet(context.get(), key.data(), 0), 11);
    connect();
    scanner.failPort("unplugged");
    EXPECT_EQ(ridgeDeviceSecurityCertSet(context.get(), key.data(), 0), 5);
    context->device->disconnect(false);
    EXPECT_EQ(ridgeDeviceSecurityCertSet(context.get(), key.data(), 0), 11);
}

/// Closes the session while the callback of a request runs, and checks the order of things.
class ClosedInTheCallback : public SecurityFunctions {
protected:
    void closeWith(const std::function<void()>& close) {
        connect();
        scanner.succeed(createCsrCode, {0x30});
        ridgeDeviceContext* const used = context.get();
        caller.duringCall = [this, used] {
            gate.pass();
            caller.calls.add("connected " + std::to_string(ridgeIsConnected(used)));
        };
        ASSERT_EQ(createCsr(subject, caller), 0) << lastError();
        caller.calls.waitFor("csr [30]");
        std::thread opener([this] {
            while (scanner.openPorts() != 0) {
                std::this_thread::yield();
            }
            gate.open();
        });
        close();
        caller.calls.add("closed");
        opener.join();
        EXPECT_THAT(caller.calls.entries(), ElementsAre("csr [30]", "connected 0", "closed"));
    }

    Gate gate;
};

TEST_F(ClosedInTheCallback, Disconnect_WaitsForItsReturn) {
    closeWith([this] { ridgeDisconnect(context.get()); });
    EXPECT_EQ(context->device, nullptr);
}

TEST_F(ClosedInTheCallback, FreeContext_WaitsForItsReturn) {
    closeWith([this] { context.reset(); });
}

TEST_F(SecurityFunctions, WhileTheScannerCreatesACsr_StopReturnsAndASecondStartFails) {
    connect();
    scanner.ignore(createCsrCode);
    ASSERT_EQ(createCsr(subject, caller), 0) << lastError();
    scanner.requests.waitFor("21 00 03 41 6E 6E 00 02 44 45 00 00 00 00 00 01 55 00 01 53");
    ridgeStopCapture(context.get());
    EXPECT_EQ(createCsr(subject, other), 6);
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
    EXPECT_THAT(caller.calls.entries(), IsEmpty());
    scanner.answerNow(0x81, createCsrCode, {0x31});
    caller.calls.waitFor("csr [31]");
    waitForEnd();
    EXPECT_THAT(other.calls.entries(), IsEmpty());
}

TEST_F(SecurityFunctions, NoLogLine_HoldsAKey) {
    const LogRecorder log;
    connect();
    EXPECT_EQ(ridgeDeviceSecuritySetKey(context.get(), key.data()), 0) << lastError();
    scanner.refuse(setKeyCode, 5, "no");
    EXPECT_EQ(ridgeDeviceSecuritySetKey(context.get(), key.data()), 13);
    scanner.failPort("unplugged");
    EXPECT_EQ(ridgeDeviceSecuritySetKey(context.get(), key.data()), 5);
    ASSERT_FALSE(log.lines().empty());
    const std::string rawKey(key.begin(), key.end());
    for (const LogLine& line : log.lines()) {
        EXPECT_EQ(line.line.find(rawKey), std::string::npos) << line.line;
        EXPECT_EQ(line.line.find(hexText(key)), std::string::npos) << line.line;
        EXPECT_EQ(line.line.find("00:01:02:03"), std::string::npos) << line.line;
    }
}

TEST_F(SecurityFunctions, ExceptionFromTheCallback_IsSurvived) {
    connect();
    scanner.succeed(createCsrCode, {0x30});
    caller.duringCall = [] { throw std::runtime_error("a host's mistake"); };
    ASSERT_EQ(createCsr(subject, caller), 0);
    caller.calls.waitFor("error 4 a host's mistake");
    waitForEnd();
    EXPECT_THAT(caller.calls.entries(), ElementsAre("csr [30]", "error 4 a host's mistake"));
}

} // namespace
} // namespace ridge
