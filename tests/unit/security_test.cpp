// Key, certificate and signing requests of a session.

#include "ridgedevice.h"

#include "defaultcreatecsrlistener.h"
#include "fakefactory.h"
#include "gate.h"
#include "logrecorder.h"
#include "recordinglistener.h"
#include "ridgeexception.h"
#include "throwsridgeexception.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace ridge {
namespace {

using test::FakeFactory;
using test::Gate;
using test::hexText;
using test::Journal;
using test::LogRecorder;
using test::RecordingListener;
using test::throwsRidgeException;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

constexpr const char* busyText = "Invalid state - command execution or capture is active!";

class RecordingCsrListener final : public CreateCsrListener {
public:
    explicit RecordingCsrListener(Journal& callJournal) : journal(callJournal) {}
    ~RecordingCsrListener() override { journal.add("listener destroyed"); }

    RecordingCsrListener(const RecordingCsrListener&) = delete;
    RecordingCsrListener& operator=(const RecordingCsrListener&) = delete;

    void onError(std::int32_t code, const std::string& message) override {
        journal.add("error " + std::to_string(code) + " " + message);
        if (duringError) {
            duringError();
        }
    }
    void onCsrCreated(const std::vector<std::uint8_t>& request) override {
        journal.add("csr [" + hexText(request) + "]");
        if (duringCsrCreated) {
            duringCsrCreated();
        }
    }

    std::function<void()> duringCsrCreated;
    std::function<void()> duringError;

private:
    Journal& journal;
};

CsrName nameOf(const std::string& commonName) {
    CsrName name;
    name.commonName = commonName;
    return name;
}

class SecurityTest : public testing::Test {
protected:
    SecurityTest() {
        factory.script.deviceInfo.text7 = "before";
        factory.script.csr = {0x30, 0x82};
        device = std::make_unique<RidgeDevice>("COM7", factory);
        factory.journal.clear();
        factory.script.deviceInfo.text7 = "after";
    }

    void startCsr(const CsrName& name = nameOf("Ann")) {
        device->createCsr(name, std::make_shared<RecordingCsrListener>(csrCalls));
    }

    /// Starts a signing request that stays in its command until the gate is opened.
    void startHeldCsr() {
        factory.script.during("createCsr", [this] { gate.pass(); });
        startCsr();
        factory.journal.waitFor("createCsr Ann|||||");
    }

    /// The worker lets go of its listener as its last act.
    void waitForEnd() { csrCalls.waitFor("listener destroyed"); }

    void expectEveryOperationToFail(std::int32_t code, const std::string& text) {
        const std::vector<std::uint8_t> bytes(32, 1);
        const std::vector<std::function<void()>> operations{
            [&] { device->setKey(bytes.data()); },
            [&] { device->clearKey(); },
            [&] { device->setCertificate(bytes.data(), 32); },
            [&] { device->clearCertificate(); },
            [&] { (void)device->getCertificate(); },
            [&] { device->setSettings(0, false); },
            [&] { device->startCapture(0, 0, 0, nullptr, captureListener); },
            [&] { device->startHostAssistedCapture(0, 1, nullptr, captureListener); },
            [&] { device->startStream(nullptr, captureListener); },
            [&] {
                device->createCsr(nameOf("Bob"), std::make_shared<RecordingCsrListener>(others));
            }};
        for (const auto& operation : operations) {
            EXPECT_THAT(operation, throwsRidgeException(code, text));
        }
        EXPECT_THAT(others.entries(), ElementsAre("listener destroyed"));
    }

    FakeFactory factory;
    Journal csrCalls;
    Journal others;
    RecordingListener captureListener;
    Gate gate;
    std::unique_ptr<RidgeDevice> device;
};

TEST_F(SecurityTest, SetKey_SendsItAndReadsTheInformationAnew) {
    std::array<std::uint8_t, 32> key{};
    key[0] = 0xAB;
    key[31] = 0xCD;
    device->setKey(key.data());
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("setKey " + hexText(std::vector<std::uint8_t>(key.begin(), key.end())),
                            "getDeviceInfo"));
    EXPECT_EQ(device->getDeviceInfo().text7, "after");
}

TEST_F(SecurityTest, ClearKey_ReadsTheInformationAnew) {
    device->clearKey();
    EXPECT_THAT(factory.journal.entries(), ElementsAre("clearKey", "getDeviceInfo"));
    EXPECT_EQ(device->getDeviceInfo().text7, "after");
}

TEST_F(SecurityTest, SetCertificate_SendsItAndReadsTheInformationAnew) {
    const std::vector<std::uint8_t> certificate{1, 2, 3};
    device->setCertificate(certificate.data(), 3);
    EXPECT_THAT(factory.journal.entries(), ElementsAre("certSet 01 02 03", "getDeviceInfo"));
    EXPECT_EQ(device->getDeviceInfo().text7, "after");
}

TEST_F(SecurityTest, ClearCertificate_ReadsTheInformationAnew) {
    device->clearCertificate();
    EXPECT_THAT(factory.journal.entries(), ElementsAre("certClear", "getDeviceInfo"));
    EXPECT_EQ(device->getDeviceInfo().text7, "after");
}

TEST_F(SecurityTest, GetCertificate_ReadsNothingElse) {
    factory.script.certificate = {9, 8, 7};
    EXPECT_THAT(device->getCertificate(), ElementsAre(9, 8, 7));
    EXPECT_THAT(factory.journal.entries(), ElementsAre("certGet"));
    EXPECT_EQ(device->getDeviceInfo().text7, "before");
}

TEST_F(SecurityTest, CommandThatFails_PassesItsFailureAndLeavesTheInformation) {
    factory.script.during("clearKey",
                          [] { throw RIDGE_EXCEPTION(9, "Timeout clearing device key."); });
    EXPECT_THAT([this] { device->clearKey(); },
                throwsRidgeException(9, "Timeout clearing device key."));
    EXPECT_THAT(factory.journal.entries(), ElementsAre("clearKey"));
    EXPECT_EQ(device->getDeviceInfo().text7, "before");
}

TEST_F(SecurityTest, InformationThatFailsAfterAChange_IsReportedAndTheOldOneStays) {
    factory.script.during("getDeviceInfo", [] {
        throw RIDGE_EXCEPTION(9, "Timeout retrieving device information.");
    });
    EXPECT_THAT([this] { device->clearCertificate(); },
                throwsRidgeException(9, "Timeout retrieving device information."));
    EXPECT_THAT(factory.journal.entries(), ElementsAre("certClear", "getDeviceInfo"));
    EXPECT_EQ(device->getDeviceInfo().text7, "before");
}

TEST_F(SecurityTest, NotConnected_EveryOperationFails11) {
    device->disconnect(true);
    factory.journal.clear();
    expectEveryOperationToFail(11, "Device is not connected!");
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(SecurityTest, AfterASerialError_EveryOperationFails5) {
    factory.failPort("unplugged");
    expectEveryOperationToFail(5, "Serial port error detected. unplugged");
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(SecurityTest, CreateCsr_DeliversTheRequest) {
    CsrName name;
    name.commonName = "Ann";
    name.country = "DE";
    name.locality = "L";
    name.organization = "O";
    name.organizationalUnit = "U";
    name.stateOrProvince = "S";
    startCsr(name);
    waitForEnd();
    EXPECT_THAT(factory.journal.entries(), ElementsAre("createCsr Ann|DE|L|O|U|S"));
    EXPECT_THAT(csrCalls.entries(), ElementsAre("csr [30 82]", "listener destroyed"));
}

TEST_F(SecurityTest, CreateCsr_LogsInOrder) {
    const LogRecorder log;
    startCsr();
    waitForEnd();
    EXPECT_THAT(log.messages('I'),
                ElementsAre("Create CSR thread active", "Creating CSR", "CSR created - size 2",
                            "Create CSR thread completed"));
    EXPECT_THAT(log.messages('E'), IsEmpty());
}

TEST_F(SecurityTest, CreateCsr_LogsTheSizeBeforeItCallsTheListener) {
    const LogRecorder log;
    auto listener = std::make_shared<RecordingCsrListener>(csrCalls);
    std::vector<std::string> before;
    listener->duringCsrCreated = [&] { before = log.messages('I'); };
    device->createCsr(nameOf("Ann"), std::move(listener));
    waitForEnd();
    EXPECT_THAT(before,
                ElementsAre("Create CSR thread active", "Creating CSR", "CSR created - size 2"));
}

TEST_F(SecurityTest, CreateCsr_CommandFails_ReportsIt) {
    const LogRecorder log;
    factory.script.during("createCsr", [] { throw RIDGE_EXCEPTION(9, "Timeout creating CSR."); });
    startCsr();
    waitForEnd();
    EXPECT_THAT(csrCalls.entries(),
                ElementsAre("error 9 Timeout creating CSR.", "listener destroyed"));
    EXPECT_THAT(log.messages('E'), ElementsAre("Error 9 - Timeout creating CSR.",
                                               "Create CSR error 9/Timeout creating CSR."));
}

TEST_F(SecurityTest, CreateCsr_OtherExceptions_AreStatus4) {
    const LogRecorder log;
    factory.script.during("createCsr", [] { throw std::runtime_error("odd"); });
    startCsr();
    waitForEnd();
    EXPECT_THAT(csrCalls.entries(), ElementsAre("error 4 odd", "listener destroyed"));
    EXPECT_THAT(log.messages('E'), ElementsAre("Create CSR error odd"));
}

struct Caller {
    Journal calls;
};

TEST_F(SecurityTest, CreateCsr_EmptyRequest_IsReportedAs4WithTheTextThatHostsKnow) {
    const LogRecorder log;
    factory.script.csr = {};
    Caller caller;
    device->createCsr(nameOf("Ann"),
                      std::make_shared<DefaultCreateCsrListener>(
                          [](const std::uint8_t*, std::uint32_t, void* userContext) {
                              static_cast<Caller*>(userContext)->calls.add("csr");
                          },
                          [](std::int32_t status, const char* message, void* userContext) {
                              static_cast<Caller*>(userContext)
                                  ->calls.add("error " + std::to_string(status) + " " + message);
                          },
                          &caller));
    caller.calls.waitFor("error 4 invalid vector<T> subscript");
    device.reset();
    EXPECT_EQ(caller.calls.entries().size(), 1U);
    EXPECT_THAT(log.messages('I'),
                ElementsAre("Create CSR thread active", "Creating CSR", "CSR created - size 0",
                            "Create CSR thread completed"));
    EXPECT_THAT(log.messages('E'), ElementsAre("Create CSR error invalid vector<T> subscript"));
}

TEST_F(SecurityTest, CreateCsr_UnknownExceptions_AreStatus4) {
    const LogRecorder log;
    factory.script.during("createCsr", [] { throw 42; });
    startCsr();
    waitForEnd();
    EXPECT_THAT(csrCalls.entries(),
                ElementsAre("error 4 Unknown command error", "listener destroyed"));
    EXPECT_THAT(log.messages('E'), ElementsAre("Unknown Create CSR error"));
}

TEST_F(SecurityTest, WhileACsrIsCreated_EveryOperationFails6AndTheRequestIsDelivered) {
    startHeldCsr();
    expectEveryOperationToFail(6, busyText);
    gate.open();
    waitForEnd();
    EXPECT_THAT(factory.journal.entries(), ElementsAre("createCsr Ann|||||"));
    EXPECT_THAT(csrCalls.entries(), ElementsAre("csr [30 82]", "listener destroyed"));
    device->clearKey();
}

TEST_F(SecurityTest, WhileACsrIsCreated_NoCaptureIsActive) {
    startHeldCsr();
    EXPECT_FALSE(device->isCaptureActive());
    gate.open();
    waitForEnd();
}

TEST_F(SecurityTest, StopCapture_DuringACsr_ReturnsAtOnceAndTheRequestIsDelivered) {
    startHeldCsr();
    device->stopCapture();
    EXPECT_THAT(csrCalls.entries(), IsEmpty());
    gate.open();
    waitForEnd();
    EXPECT_THAT(csrCalls.entries(), ElementsAre("csr [30 82]", "listener destroyed"));
}

TEST_F(SecurityTest, SerialErrorDuringACsr_DoesNotInterruptIt) {
    startHeldCsr();
    factory.failPort("unplugged");
    gate.open();
    waitForEnd();
    EXPECT_THAT(csrCalls.entries(), ElementsAre("csr [30 82]", "listener destroyed"));
    EXPECT_TRUE(device->isConnected());
}

TEST_F(SecurityTest, ListenerThatItsOwnerGaveUp_LivesUntilTheRequestIsDelivered) {
    auto listener = std::make_shared<RecordingCsrListener>(csrCalls);
    factory.script.during("createCsr", [this] { gate.pass(); });
    device->createCsr(nameOf("Ann"), listener);
    listener.reset();
    gate.open();
    waitForEnd();
    EXPECT_THAT(csrCalls.entries(), ElementsAre("csr [30 82]", "listener destroyed"));
}

TEST_F(SecurityTest, CreateCsr_WhileACaptureRuns_Fails6AndTheCaptureGoesOn) {
    factory.script.captureData.then([this] {
        gate.pass();
        return test::Chunk{};
    });
    device->startCapture(0, 0, 0, nullptr, captureListener);
    factory.journal.waitFor("getCaptureData poll");
    EXPECT_THAT([this] { startCsr(); }, throwsRidgeException(6, busyText));
    EXPECT_TRUE(device->isCaptureActive());
    gate.open();
    device->stopCapture();
    EXPECT_THAT(captureListener.events.entries(), IsEmpty());
}

/// A signing request that stays in its callback until the gate is opened.
class CsrInItsCallback : public SecurityTest {
protected:
    void start(const std::function<void()>& duringCallback) {
        auto listener = std::make_shared<RecordingCsrListener>(csrCalls);
        listener->duringCsrCreated = duringCallback;
        device->createCsr(nameOf("Ann"), std::move(listener));
        csrCalls.waitFor("csr [30 82]");
    }
};

TEST_F(CsrInItsCallback, Disconnect_DoesNotWait) {
    start([this] { gate.pass(); });
    device->disconnect(true);
    EXPECT_FALSE(device->isConnected());
    gate.open();
    waitForEnd();
}

TEST_F(CsrInItsCallback, Destructor_WaitsForItsReturn) {
    start([this] {
        gate.pass();
        csrCalls.add("callback returns");
    });
    // The destructor is past the closing of the port when the callback returns.
    std::thread opener([this] {
        factory.journal.waitFor("destroy packet handler");
        gate.open();
    });
    device.reset();
    csrCalls.add("session destroyed");
    opener.join();
    waitForEnd();
    const std::vector<std::string> calls = csrCalls.entries();
    ASSERT_EQ(calls.size(), 4U);
    EXPECT_EQ(calls[0], "csr [30 82]");
    EXPECT_EQ(calls[1], "callback returns");
    EXPECT_THAT((std::vector<std::string>{calls[2], calls[3]}),
                UnorderedElementsAre("session destroyed", "listener destroyed"));
}

TEST_F(CsrInItsCallback, DestructorAfterAnError_WaitsForItsCallbackToo) {
    factory.script.during("createCsr", [] { throw RIDGE_EXCEPTION(9, "Timeout creating CSR."); });
    auto listener = std::make_shared<RecordingCsrListener>(csrCalls);
    listener->duringError = [this] {
        gate.pass();
        csrCalls.add("callback returns");
    };
    device->createCsr(nameOf("Ann"), std::move(listener));
    csrCalls.waitFor("error 9 Timeout creating CSR.");
    std::thread opener([this] {
        factory.journal.waitFor("destroy packet handler");
        gate.open();
    });
    device.reset();
    EXPECT_EQ(csrCalls.entries()[1], "callback returns");
    opener.join();
    waitForEnd();
}

TEST_F(CsrInItsCallback, Close_OnTheWorkerItself_ReturnsAtOnce) {
    start([this] {
        device->close();
        csrCalls.add("went on");
    });
    waitForEnd();
    EXPECT_THAT(csrCalls.entries(), ElementsAre("csr [30 82]", "went on", "listener destroyed"));
}

void noteToStandardError(std::int32_t, const char* line, void*) {
    std::fprintf(stderr, "%s\n", line);
}

using SecurityDeathTest = SecurityTest;

TEST_F(SecurityDeathTest, SessionThatGoesWhileACsrIsCreated_EndsTheProcessBeforeItsPortCloses) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            factory.duringDestroyPacketHandler = [] { std::fprintf(stderr, "port closed\n"); };
            startHeldCsr();
            const LogRecorder removesItsLogger;
            ASSERT_EQ(ridgeSetLogger('E', noteToStandardError, nullptr), 0);
            device.reset();
        },
        AllOf(HasSubstr("Session released while a CSR is being created"),
              Not(HasSubstr("port closed"))));
}

} // namespace
} // namespace ridge
