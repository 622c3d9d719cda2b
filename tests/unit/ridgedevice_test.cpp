#include "ridgedevice.h"

#include "fakefactory.h"
#include "gate.h"
#include "logrecorder.h"
#include "recordinglistener.h"
#include "ridgeexception.h"
#include "throwsridgeexception.h"

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace ridge {
namespace {

using test::Chunk;
using test::FakeFactory;
using test::Gate;
using test::LogRecorder;
using test::RecordingListener;
using test::throwsRidgeException;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

constexpr const char* busyText = "Invalid state - command execution or capture is active!";
constexpr const char* notConnectedText = "Device is not connected!";

class RidgeDeviceTest : public testing::Test {
protected:
    RidgeDeviceTest() {
        factory.script.deviceInfo = {"one", "two",   "three", "four", "five",
                                     "six", "seven", 0x1234,  0xFEDC, 0x001F0001};
        factory.script.deviceSettings = {2, 0xFFFFFFFD};
    }

    void open() {
        device = std::make_unique<RidgeDevice>("COM7", factory);
        factory.journal.clear();
    }

    /// Starts a capture that stays in its first poll until the gate is opened.
    void startHeldCapture() {
        factory.script.captureData.then([this] {
            gate.pass();
            return Chunk{};
        });
        device->startCapture(0, 0, 0, nullptr, listener);
        factory.journal.waitFor("getCaptureData poll");
    }

    FakeFactory factory;
    RecordingListener listener;
    Gate gate;
    std::unique_ptr<RidgeDevice> device;
};

TEST_F(RidgeDeviceTest, Open_BuildsTheStackAndReadsInformationThenSettings) {
    device = std::make_unique<RidgeDevice>("COM7", factory);
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("create packet handler COM7", "create commands", "getDeviceInfo",
                            "getDeviceSettings"));
    EXPECT_NE(factory.packetHandler, nullptr);
    EXPECT_EQ(factory.handlerOfCommands, factory.packetHandler);
    EXPECT_TRUE(device->isConnected());
    EXPECT_FALSE(device->isCaptureActive());
    EXPECT_FALSE(device->hasSerialError());
    EXPECT_EQ(device->getSerialError(), "");
}

TEST_F(RidgeDeviceTest, GetDeviceInfo_ReturnsWhatWasReadWithoutTraffic) {
    open();
    const DeviceInfo& info = device->getDeviceInfo();
    EXPECT_EQ(info.text1, "one");
    EXPECT_EQ(info.text2, "two");
    EXPECT_EQ(info.text3, "three");
    EXPECT_EQ(info.text4, "four");
    EXPECT_EQ(info.text5, "five");
    EXPECT_EQ(info.text6, "six");
    EXPECT_EQ(info.text7, "seven");
    EXPECT_EQ(info.value1, 0x1234);
    EXPECT_EQ(info.value2, 0xFEDC);
    EXPECT_EQ(info.flags, 0x001F0001U);
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(RidgeDeviceTest, GetSettings_ReturnsWhatWasReadWithoutTraffic) {
    open();
    EXPECT_EQ(device->getSettings().rotation, 2);
    EXPECT_EQ(device->getSettings().flags, 0xFFFFFFFDU);
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(RidgeDeviceTest, Open_PacketHandlerFails_LeavesNothing) {
    factory.duringCreatePacketHandler = [] {
        throw RIDGE_EXCEPTION(std::string("File not found.\r\n"));
    };
    EXPECT_THAT([this] { RidgeDevice("COM7", factory); },
                throwsRidgeException(5, "File not found.\r\n"));
    EXPECT_THAT(factory.journal.entries(), ElementsAre("create packet handler COM7"));
}

TEST_F(RidgeDeviceTest, Open_CommandsFail_ReleasesThePacketHandler) {
    factory.duringCreateCommands = [] { throw std::runtime_error("no commands"); };
    EXPECT_THAT([this] { RidgeDevice("COM7", factory); },
                ThrowsMessage<std::runtime_error>("no commands"));
    EXPECT_THAT(
        factory.journal.entries(),
        ElementsAre("create packet handler COM7", "create commands", "destroy packet handler"));
}

TEST_F(RidgeDeviceTest, Open_InformationFails_ReleasesCommandsThenPacketHandler) {
    factory.script.during("getDeviceInfo", [] {
        throw RIDGE_EXCEPTION(9, "Timeout retrieving device information.");
    });
    EXPECT_THAT([this] { RidgeDevice("COM7", factory); },
                throwsRidgeException(9, "Timeout retrieving device information."));
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("create packet handler COM7", "create commands", "getDeviceInfo",
                            "destroy commands", "destroy packet handler"));
}

TEST_F(RidgeDeviceTest, Open_SettingsFail_ReleasesCommandsThenPacketHandler) {
    factory.script.during("getDeviceSettings", [] {
        throw RIDGE_EXCEPTION(10, "Invalid device settings data (%d).", 4);
    });
    EXPECT_THAT([this] { RidgeDevice("COM7", factory); },
                throwsRidgeException(10, "Invalid device settings data (4)."));
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("create packet handler COM7", "create commands", "getDeviceInfo",
                            "getDeviceSettings", "destroy commands", "destroy packet handler"));
}

TEST_F(RidgeDeviceTest, Open_SomethingElseIsThrown_PassesAndReleasesAll) {
    factory.script.during("getDeviceSettings", [] { throw 42; });
    EXPECT_THROW(RidgeDevice("COM7", factory), int);
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("create packet handler COM7", "create commands", "getDeviceInfo",
                            "getDeviceSettings", "destroy commands", "destroy packet handler"));
}

TEST_F(RidgeDeviceTest, Open_FailsWhileThePortReportsAnError_StillTakesTheReport) {
    const LogRecorder log;
    factory.duringDestroyPacketHandler = [this] { factory.failPort("unplugged"); };
    factory.script.during("getDeviceInfo", [] {
        throw RIDGE_EXCEPTION(9, "Timeout retrieving device information.");
    });
    EXPECT_THAT([this] { RidgeDevice("COM7", factory); },
                throwsRidgeException(9, "Timeout retrieving device information."));
    EXPECT_THAT(log.messages('E'), ElementsAre("Error 9 - Timeout retrieving device information.",
                                               "Serial port error detected. unplugged"));
}

TEST_F(RidgeDeviceTest, Open_PortFailsDuringTheOpening_IsRecorded) {
    factory.duringCreateCommands = [this] { factory.failPort("unplugged"); };
    open();
    EXPECT_TRUE(device->isConnected());
    EXPECT_EQ(device->getSerialError(), "unplugged");
    EXPECT_THAT([this] { device->checkReady(); },
                throwsRidgeException(5, "Serial port error detected. unplugged"));
}

TEST_F(RidgeDeviceTest, Disconnect_ReleasesCommandsThenPacketHandler) {
    open();
    device->disconnect(true);
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("destroy commands", "destroy packet handler"));
    EXPECT_FALSE(device->isConnected());
}

TEST_F(RidgeDeviceTest, Disconnect_ClearsTheInformationAndKeepsTheSettings) {
    open();
    device->disconnect(false);
    const DeviceInfo& info = device->getDeviceInfo();
    EXPECT_EQ(info.text1 + info.text2 + info.text3 + info.text4 + info.text5 + info.text6 +
                  info.text7,
              "");
    EXPECT_EQ(info.value1, 0);
    EXPECT_EQ(info.value2, 0);
    EXPECT_EQ(info.flags, 0U);
    EXPECT_EQ(device->getSettings().rotation, 2);
    EXPECT_EQ(device->getSettings().flags, 0xFFFFFFFDU);
}

TEST_F(RidgeDeviceTest, Disconnect_LeavesTextsThatWereHandedOutInPlace) {
    open();
    const char* text = device->getDeviceInfo().text5.c_str();
    device->disconnect(true);
    EXPECT_STREQ(text, "five");
}

TEST_F(RidgeDeviceTest, Disconnect_Again_DoesNothing) {
    open();
    device->disconnect(true);
    factory.journal.clear();
    device->disconnect(true);
    device->disconnect(false);
    device.reset();
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(RidgeDeviceTest, Disconnect_StopsARunningCaptureAndWaitsForItsEnd) {
    open();
    startHeldCapture();
    factory.script.during("stopCapture", [this] { EXPECT_TRUE(device->isConnected()); });
    gate.open();
    device->disconnect(true);
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("startCapture mode=0 timeoutMs=0 parameter=0 events=1 block=",
                            "getCaptureData poll", "stopCapture", "destroy commands",
                            "destroy packet handler"));
    EXPECT_THAT(listener.events.entries(), IsEmpty());
}

TEST_F(RidgeDeviceTest, Destructor_StopsARunningCaptureAndReleasesTheStack) {
    open();
    startHeldCapture();
    gate.open();
    device.reset();
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("startCapture mode=0 timeoutMs=0 parameter=0 events=1 block=",
                            "getCaptureData poll", "stopCapture", "destroy commands",
                            "destroy packet handler"));
    EXPECT_THAT(listener.events.entries(), IsEmpty());
}

TEST_F(RidgeDeviceTest, Destructor_PortReportsAnErrorWhileItCloses_TakesTheReport) {
    const LogRecorder log;
    open();
    factory.duringDestroyPacketHandler = [this] { factory.failPort("closing"); };
    device.reset();
    EXPECT_THAT(log.messages('E'), ElementsAre("Serial port error detected. closing"));
}

TEST_F(RidgeDeviceTest, CheckReady_OnAnIdleSession_Passes) {
    open();
    EXPECT_NO_THROW(device->checkReady());
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(RidgeDeviceTest, CheckReady_NotConnected_ComesBeforeTheSerialError) {
    open();
    factory.failPort("unplugged");
    device->disconnect(true);
    EXPECT_THAT([this] { device->checkReady(); }, throwsRidgeException(11, notConnectedText));
}

TEST_F(RidgeDeviceTest, CheckReady_NotConnected_ComesBeforeTheWorker) {
    open();
    startHeldCapture();
    // The worker has released the session when it reports, and still exists.
    listener.duringError = [this] {
        EXPECT_TRUE(device->isCaptureActive());
        EXPECT_THAT([this] { device->checkReady(); }, throwsRidgeException(11, notConnectedText));
    };
    factory.failPort("unplugged");
    gate.open();
    listener.events.waitFor("error 5 Serial port error. unplugged");
    device->stopCapture();
}

TEST_F(RidgeDeviceTest, CheckReady_Worker_ComesBeforeTheSerialError) {
    open();
    startHeldCapture();
    factory.failPort("unplugged");
    EXPECT_THAT([this] { device->checkReady(); }, throwsRidgeException(6, busyText));
    gate.open();
}

TEST_F(RidgeDeviceTest, CheckReady_LogsTheFailureItThrows) {
    open();
    device->disconnect(true);
    const LogRecorder log;
    EXPECT_THROW(device->checkReady(), RidgeException);
    EXPECT_THAT(log.messages('E'), ElementsAre("Error 11 - Device is not connected!"));
}

TEST_F(RidgeDeviceTest, SerialError_LaterOneReplacesEarlierOneAndStays) {
    open();
    factory.failPort("first");
    EXPECT_TRUE(device->hasSerialError());
    EXPECT_EQ(device->getSerialError(), "first");
    factory.failPort("second");
    EXPECT_EQ(device->getSerialError(), "second");
    EXPECT_THAT([this] { device->checkReady(); },
                throwsRidgeException(5, "Serial port error detected. second"));
    EXPECT_THAT([this] { device->checkReady(); },
                throwsRidgeException(5, "Serial port error detected. second"));
    device->disconnect(true);
    EXPECT_EQ(device->getSerialError(), "second");
}

TEST_F(RidgeDeviceTest, SerialError_WhileIdle_IsLoggedAndRecordedAndNothingElse) {
    open();
    const LogRecorder log;
    factory.failPort("80 % gone.\r\n");
    EXPECT_THAT(log.messages('E'), ElementsAre("Serial port error detected. 80 % gone.  "));
    EXPECT_TRUE(device->isConnected());
    EXPECT_EQ(device->getSerialError(), "80 % gone.\r\n");
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(RidgeDeviceTest, SetSettings_AfterASerialError_Fails5AndSendsNothing) {
    open();
    factory.failPort("80 % gone.\r\n");
    EXPECT_THAT([this] { device->setSettings(0, false); },
                throwsRidgeException(5, "Serial port error detected. 80 % gone.\r\n"));
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(RidgeDeviceTest, SetSettings_NotConnected_Fails11) {
    open();
    device->disconnect(true);
    factory.journal.clear();
    EXPECT_THAT([this] { device->setSettings(0, false); },
                throwsRidgeException(11, notConnectedText));
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(RidgeDeviceTest, SetSettings_CarriesOnlyTheScannersOwnFlagAlong) {
    factory.script.deviceSettings = {2, 0xFFFFFFFD};
    open();
    device->setSettings(3, true);
    device->setSettings(1, false);
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("setSettings rotation=3 flags=3", "setSettings rotation=1 flags=1"));
}

TEST_F(RidgeDeviceTest, SetSettings_WithoutTheScannersOwnFlag_DoesNotSetIt) {
    factory.script.deviceSettings = {0, 0xFFFFFFFE};
    open();
    device->setSettings(0, true);
    device->setSettings(0, false);
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("setSettings rotation=0 flags=2", "setSettings rotation=0 flags=0"));
}

TEST_F(RidgeDeviceTest, SetSettings_DoesNotChangeWhatGetSettingsReturns) {
    open();
    device->setSettings(1, true);
    EXPECT_EQ(device->getSettings().rotation, 2);
    EXPECT_EQ(device->getSettings().flags, 0xFFFFFFFDU);
    EXPECT_THAT(factory.journal.entries(), ElementsAre("setSettings rotation=1 flags=3"));
}

TEST_F(RidgeDeviceTest, SetSettings_CommandFails_PassesTheFailureUnchanged) {
    open();
    factory.script.during("setSettings", [] {
        throw RIDGE_EXCEPTION(13, "SET SETTINGS: Failed (22) with error 5. ok");
    });
    EXPECT_THAT([this] { device->setSettings(0, false); },
                throwsRidgeException(13, "SET SETTINGS: Failed (22) with error 5. ok"));
    EXPECT_TRUE(device->isConnected());
}

TEST_F(RidgeDeviceTest, SetSettings_WhileACaptureRuns_FailsAtOnceAndSucceedsAfterItsEnd) {
    open();
    startHeldCapture();
    EXPECT_THAT([this] { device->setSettings(0, false); }, throwsRidgeException(6, busyText));
    gate.open();
    device->stopCapture();
    factory.journal.clear();
    device->setSettings(0, false);
    EXPECT_THAT(factory.journal.entries(), ElementsAre("setSettings rotation=0 flags=1"));
}

TEST_F(RidgeDeviceTest, Guard_ReservesNothing_TwoCallersMayRunTheirCommandsTogether) {
    open();
    factory.script.during("setSettings", [this] { gate.pass(); });
    std::thread first([this] { device->setSettings(0, false); });
    std::thread second([this] { device->setSettings(3, false); });
    factory.journal.waitFor("setSettings rotation=0 flags=1");
    factory.journal.waitFor("setSettings rotation=3 flags=1");
    gate.open();
    first.join();
    second.join();
}

TEST_F(RidgeDeviceTest, StateLock_IsNotHeldAcrossASynchronousCommand) {
    open();
    factory.script.during("setSettings", [this] { gate.pass(); });
    std::thread caller([this] { device->setSettings(0, false); });
    factory.journal.waitFor("setSettings rotation=0 flags=1");
    // Each would hang if the command held the lock that it takes.
    EXPECT_TRUE(device->isConnected());
    EXPECT_FALSE(device->isCaptureActive());
    EXPECT_NO_THROW(device->checkReady());
    device->setHostAssistedCaptureResult(1);
    factory.failPort("unplugged");
    EXPECT_EQ(device->getSerialError(), "unplugged");
    gate.open();
    caller.join();
}

TEST_F(RidgeDeviceTest, StateLock_IsNotHeldWhileAWorkerRunsACommand) {
    open();
    startHeldCapture();
    EXPECT_TRUE(device->isConnected());
    EXPECT_TRUE(device->isCaptureActive());
    EXPECT_EQ(device->getDeviceInfo().text1, "one");
    device->setHostAssistedCaptureResult(1);
    EXPECT_FALSE(device->hasSerialError());
    gate.open();
}

TEST_F(RidgeDeviceTest, StopCapture_WithNothingRunning_ReturnsAtOnceAndSendsNothing) {
    open();
    device->stopCapture();
    device->disconnect(true);
    device->stopCapture();
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("destroy commands", "destroy packet handler"));
}

TEST_F(RidgeDeviceTest, SetHostAssistedCaptureResult_WithoutConnection_DoesNothing) {
    open();
    device->disconnect(true);
    factory.journal.clear();
    device->setHostAssistedCaptureResult(1);
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

} // namespace
} // namespace ridge
