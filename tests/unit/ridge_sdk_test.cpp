#include "ridge-sdk.h"

#include "attacheddevices.h"
#include "devicecontext.h"
#include "gate.h"
#include "hexbytes.h"
#include "hextext.h"
#include "imageblocks.h"
#include "journal.h"
#include "logrecorder.h"
#include "scanneridentifiers.h"
#include "scriptedscanner.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace ridge {
namespace {

using test::AttachedDevices;
using test::Bytes;
using test::captureBlock;
using test::Gate;
using test::hexBytes;
using test::hexText;
using test::Journal;
using test::LogRecorder;
using test::ScriptedScanner;
using test::streamBlock;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

constexpr std::uint8_t startCaptureCode = 0x10;
constexpr std::uint8_t captureDataCode = 0x11;
constexpr std::uint8_t stopCaptureCode = 0x12;
constexpr std::uint8_t startStreamCode = 0x13;
constexpr std::uint8_t streamDataCode = 0x14;
constexpr std::uint8_t getSettingsCode = 0x15;
constexpr std::uint8_t setSettingsCode = 0x16;
constexpr std::uint8_t startHostAssistedCode = 0x17;
constexpr std::uint8_t getInfoCode = 0x30;

/// The caller: what its callbacks are given, as texts.
struct Host {
    Journal calls;
    /// Run during the calls, on the worker's thread.
    std::function<void()> duringError;
    std::function<void()> duringImage;
};

void act(const std::function<void()>& action) {
    if (action) {
        action();
    }
}

void onError(std::int32_t status, const char* message, void* userContext) {
    auto& host = *static_cast<Host*>(userContext);
    host.calls.add("error " + std::to_string(status) + " " + message);
    act(host.duringError);
}

void onImage(const ridgeCaptureResult* result, void* userContext) {
    auto& host = *static_cast<Host*>(userContext);
    const Bytes image(result->image, result->image + result->imageSize);
    const Bytes trailer(result->trailer, result->trailer + result->trailerSize);
    host.calls.add("image " + std::to_string(result->width) + "x" + std::to_string(result->height) +
                   " [" + hexText(image) + "] extra=" + std::to_string(result->extraValue) +
                   " trailer=[" + hexText(trailer) +
                   "] flags=" + hexText(Bytes{result->flagA, result->flagB, result->flagC}));
    act(host.duringImage);
}

void onEvent(void* userContext, std::uint32_t) {
    static_cast<Host*>(userContext)->calls.add("event");
}

constexpr ridgeCaptureCallbacks callbacks{onError, onImage, nullptr};
constexpr ridgeCaptureCallbacks callbacksWithEvents{onError, onImage, onEvent};
constexpr ridgeCaptureParameters parameters{1, 5000, 1};

const Bytes smallCaptureBlock = captureBlock({0x7, 2, 3, {1, 2, 3, 4, 5, 6}, 7, {0xA0, 0xA1}});
constexpr const char* smallCapture =
    "image 2x3 [01 02 03 04 05 06] extra=7 trailer=[A0 A1] flags=01 01 01";
const Bytes smallStreamBlock = streamBlock({0x1, 2, 3, {1, 2, 3, 4, 5, 6}, 0, {}});
constexpr const char* smallStreamImage =
    "image 2x3 [01 02 03 04 05 06] extra=0 trailer=[] flags=01 00 00";

struct FreeContext {
    void operator()(ridgeDeviceContext* context) const { ridgeFreeDeviceContext(context); }
};

class RidgeSdkTest : public testing::Test {
protected:
    static constexpr const char* port = "COM7";

    [[nodiscard]] std::string lastError() const {
        return ridgeGetLastErrorDescription(context.get());
    }

    /// Leaves a text in the context, as an earlier failure does.
    void leaveText() {
        ASSERT_EQ(ridgeSettingsSet(context.get(), nullptr), 3);
        ASSERT_EQ(lastError(), earlierText);
    }

    void connect() {
        ASSERT_EQ(ridgeConnectCOM(port, context.get()), 0) << lastError();
        scanner.requests.clear();
    }

    void startStream() {
        ASSERT_EQ(ridgeStartStream(context.get(), nullptr, &callbacks, &host), 0) << lastError();
    }

    /// Waits for a worker that ends by itself.
    void waitForEnd() const {
        while (context->device->isCaptureActive()) {
            std::this_thread::yield();
        }
    }

    /// Starts a stream and breaks the line: the worker releases the session.
    void loseScanner() {
        startStream();
        scanner.requests.waitFor("14");
        scanner.failPort("unplugged");
        waitForEnd();
        ASSERT_THAT(host.calls.entries(), ElementsAre("error 5 Serial port error. unplugged"));
    }

    static constexpr const char* earlierText = "Settings cannot be NULL.";

    ScriptedScanner scanner{port};
    Host host;
    std::unique_ptr<ridgeDeviceContext, FreeContext> context{ridgeCreateDeviceContext()};
};

// --------------------------------------------------------------------------- library and context

TEST(RidgeSdk, GetSdkVersion_Is1_6_3) {
    EXPECT_STREQ(ridgeGetSdkVersion(), "1.6.3");
}

TEST(RidgeSdk, NullContext_IsStatus3OrIgnored) {
    ridgeDeviceInfo info{};
    ridgeDeviceSettings settings{};
    EXPECT_EQ(ridgeConnect(nullptr, nullptr), 3);
    EXPECT_EQ(ridgeConnectCOM("COM7", nullptr), 3);
    EXPECT_EQ(ridgeGetInfo(nullptr, &info), 3);
    EXPECT_EQ(ridgeSettingsGet(nullptr, &settings), 3);
    EXPECT_EQ(ridgeSettingsSet(nullptr, &settings), 3);
    EXPECT_EQ(ridgeStartCapture(nullptr, &parameters, nullptr, &callbacks, nullptr), 3);
    EXPECT_EQ(ridgeStartHostAssistedCapture(nullptr, &parameters, nullptr, &callbacks, nullptr), 3);
    EXPECT_EQ(ridgeStartStream(nullptr, nullptr, &callbacks, nullptr), 3);
    EXPECT_EQ(ridgeIsConnected(nullptr), 0);
    EXPECT_STREQ(ridgeGetLastErrorDescription(nullptr), "");
    ridgeHostAssistedCaptureSetResult(nullptr, 1);
    ridgeStopCapture(nullptr);
    ridgeDisconnect(nullptr);
    ridgeFreeDeviceContext(nullptr);
}

TEST_F(RidgeSdkTest, NewContext_IsEmpty) {
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(lastError(), "");
    EXPECT_EQ(ridgeIsConnected(context.get()), 0);
    EXPECT_EQ(context->device, nullptr);
    EXPECT_EQ(context->captureListener, nullptr);
}

TEST_F(RidgeSdkTest, LastError_OfOneContext_IsNotThatOfAnother) {
    leaveText();
    const std::unique_ptr<ridgeDeviceContext, FreeContext> other(ridgeCreateDeviceContext());
    EXPECT_STREQ(ridgeGetLastErrorDescription(other.get()), "");
}

TEST_F(RidgeSdkTest, FreeContext_ClosesThePort) {
    connect();
    EXPECT_EQ(scanner.openPorts(), 1);
    context.reset();
    EXPECT_EQ(scanner.openPorts(), 0);
}

TEST_F(RidgeSdkTest, FreeContext_StopsARunningStreamFirst) {
    connect();
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    startStream();
    host.calls.waitFor(smallStreamImage);
    context.reset();
    EXPECT_EQ(scanner.requests.entries().back(), "12");
    EXPECT_EQ(scanner.openPorts(), 0);
    EXPECT_THAT(host.calls.entries(), ElementsAre(smallStreamImage));
}

// ---------------------------------------------------------------------------------------- logger

void ignoreLine(std::int32_t, const char*, void*) {}

TEST(RidgeSdk, SetLogger_WithoutCallback_Is3WhateverTheLevel) {
    EXPECT_EQ(ridgeSetLogger('I', nullptr, nullptr), 3);
    EXPECT_EQ(ridgeSetLogger('X', nullptr, nullptr), 3);
}

TEST(RidgeSdk, SetLogger_UnknownLevel_Is2AndTheInstalledLoggerStays) {
    const LogRecorder log;
    EXPECT_EQ(ridgeSetLogger('X', ignoreLine, nullptr), 2);
    EXPECT_EQ(ridgeSetLogger('d', ignoreLine, nullptr), 2);
    EXPECT_EQ(ridgeSetLogger(0, ignoreLine, nullptr), 2);
    EXPECT_EQ(ridgeSetLogger(0x100 + 'D', ignoreLine, nullptr), 2);
    RIDGE_LOG(logWarning, "still here");
    EXPECT_THAT(log.messages('W'), ElementsAre("still here"));
}

TEST(RidgeSdk, SetLogger_ReplacesCallbackAndThreshold) {
    const auto note = [](std::int32_t level, const char* line, void* userContext) {
        static_cast<Journal*>(userContext)->add(static_cast<char>(level) + std::string(" ") + line);
    };
    // Removes the logger again, which the public interface cannot.
    const LogRecorder recorder;
    Journal first;
    Journal second;
    ASSERT_EQ(ridgeSetLogger('D', note, &first), 0);
    RIDGE_LOG(logDebug, "one");
    ASSERT_EQ(ridgeSetLogger('E', note, &second), 0);
    RIDGE_LOG(logWarning, "two");
    RIDGE_LOG(logError, "three");
    EXPECT_THAT(first.entries(), ElementsAre(EndsWith("] one")));
    EXPECT_THAT(second.entries(), ElementsAre(EndsWith("] three")));
    EXPECT_THAT(recorder.lines(), IsEmpty());
}

// ------------------------------------------------------------------------------------- discovery

struct FreeDevices {
    void operator()(ridgeDeviceList* list) const { ridgeFreeDevices(list); }
};

using DeviceList = std::unique_ptr<ridgeDeviceList, FreeDevices>;

DeviceList queryDevices() {
    ridgeDeviceList* list = nullptr;
    EXPECT_EQ(ridgeQueryDevices(&list), 0);
    return DeviceList(list);
}

DeviceRecord scannerOn(const std::string& portName, const std::string& devicePath) {
    return {portName,   "A1B2C3",        "Ridge scanner", "Ridge",
            devicePath, scannerVendorId, scannerProductId};
}

TEST(RidgeSdk, QueryDevices_NullPointer_Is3AndNothingIsLookedAt) {
    const AttachedDevices attached({scannerOn("COM4", "COM4")});
    EXPECT_EQ(ridgeQueryDevices(nullptr), 3);
    EXPECT_EQ(AttachedDevices::enumerations(), 0);
    queryDevices();
    EXPECT_EQ(AttachedDevices::enumerations(), 1);
}

TEST(RidgeSdk, QueryDevices_WithoutScanner_GivesAnEmptyListThatCanBeFreed) {
    const DeviceList list = queryDevices();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->devices, nullptr);
    EXPECT_EQ(list->count, 0U);
    EXPECT_EQ(list->internal, nullptr);
}

TEST(RidgeSdk, QueryDevices_TakesOnlyTheScannersIdentifiers) {
    constexpr auto otherVendor = static_cast<std::uint16_t>(scannerVendorId + 1);
    constexpr auto otherProduct = static_cast<std::uint16_t>(scannerProductId + 1);
    const AttachedDevices attached({{"COM1", "", "", "", "", otherVendor, scannerProductId},
                                    {"COM2", "", "", "", "", scannerVendorId, otherProduct},
                                    scannerOn("COM4", "COM4"),
                                    {"COM5", "", "", "", "", 0, 0}});
    const DeviceList list = queryDevices();
    ASSERT_EQ(list->count, 1U);
    EXPECT_STREQ(list->devices[0].portName, "COM4");
    EXPECT_STREQ(list->devices[0].serialNumber, "A1B2C3");
    EXPECT_STREQ(list->devices[0].description, "Ridge scanner");
    EXPECT_STREQ(list->devices[0].manufacturer, "Ridge");
}

TEST(RidgeSdk, QueryDevices_EachCall_IsASnapshotOfItsOwn) {
    DeviceList first;
    {
        const AttachedDevices attached({scannerOn("COM4", "COM4")});
        first = queryDevices();
    }
    const DeviceList second = queryDevices();
    EXPECT_EQ(second->count, 0U);
    ASSERT_EQ(first->count, 1U);
    EXPECT_STREQ(first->devices[0].portName, "COM4");
}

TEST(RidgeSdk, QueryDevices_FromSeveralThreads_AreIndependent) {
    const AttachedDevices attached({scannerOn("COM4", "COM4"), scannerOn("COM5", "COM5")});
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 4; ++caller) {
        callers.emplace_back([] { EXPECT_EQ(queryDevices()->count, 2U); });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
}

TEST_F(RidgeSdkTest, QueryDevices_WritesNoTextToAContext) {
    leaveText();
    EXPECT_EQ(ridgeQueryDevices(nullptr), 3);
    queryDevices();
    EXPECT_EQ(lastError(), earlierText);
}

TEST(RidgeSdk, FreeDevices_OfNull_DoesNothing) {
    ridgeFreeDevices(nullptr);
}

// --------------------------------------------------------------------------------------- connect

TEST_F(RidgeSdkTest, Connect_OpensTheEntrysDevicePath) {
    const AttachedDevices attached({scannerOn("COM12", port)});
    const DeviceList list = queryDevices();
    EXPECT_EQ(ridgeConnect(list->devices, context.get()), 0) << lastError();
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("30", "15"));
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
}

TEST_F(RidgeSdkTest, Connect_TheListMayGoAfterwards) {
    const AttachedDevices attached({scannerOn("COM7", port)});
    DeviceList list = queryDevices();
    ASSERT_EQ(ridgeConnect(list->devices, context.get()), 0) << lastError();
    list.reset();
    const ridgeDeviceSettings settings{1, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 0) << lastError();
}

TEST_F(RidgeSdkTest, Connect_WithACopyOfAnEntry_IsTheSame) {
    const AttachedDevices attached({scannerOn("COM7", port)});
    const DeviceList list = queryDevices();
    const ridgeDeviceEntry copy = list->devices[0];
    EXPECT_EQ(ridgeConnect(&copy, context.get()), 0) << lastError();
}

TEST_F(RidgeSdkTest, Connect_NullEntry_Fails3) {
    EXPECT_EQ(ridgeConnect(nullptr, context.get()), 3);
    EXPECT_EQ(lastError(), "'dev' cannot be NULL.");
}

TEST_F(RidgeSdkTest, Connect_EntryWithoutDevice_Fails3) {
    const ridgeDeviceEntry entry{port, "", "", "", nullptr};
    EXPECT_EQ(ridgeConnect(&entry, context.get()), 3);
    EXPECT_EQ(lastError(), "Invalid state.");
    EXPECT_EQ(scanner.openPorts(), 0);
}

TEST_F(RidgeSdkTest, Connect_ContextInUse_ComesBeforeTheNullEntryAndTheOneWithoutDevice) {
    connect();
    const ridgeDeviceEntry entry{};
    EXPECT_EQ(ridgeConnect(nullptr, context.get()), 8);
    EXPECT_EQ(lastError(), "Context in use.");
    EXPECT_EQ(ridgeConnect(&entry, context.get()), 8);
    EXPECT_EQ(lastError(), "Context in use.");
}

TEST_F(RidgeSdkTest, Connect_OnAConnectedContext_Fails8AndTheSessionKeepsWorking) {
    const ScriptedScanner other("COM8");
    const AttachedDevices attached({scannerOn("COM8", "COM8")});
    connect();
    const DeviceList list = queryDevices();
    EXPECT_EQ(ridgeConnect(list->devices, context.get()), 8);
    EXPECT_EQ(lastError(), "Context in use.");
    EXPECT_EQ(other.openPorts(), 0);
    const ridgeDeviceSettings settings{1, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 0);
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("16 01 00 00 00 00"));
}

TEST_F(RidgeSdkTest, Connect_AfterTheScannerIsLost_Fails8UntilDisconnected) {
    const AttachedDevices attached({scannerOn("COM7", port)});
    const DeviceList list = queryDevices();
    connect();
    loseScanner();
    EXPECT_EQ(ridgeConnect(list->devices, context.get()), 8);
    ridgeDisconnect(context.get());
    EXPECT_EQ(ridgeConnect(list->devices, context.get()), 0) << lastError();
}

TEST_F(RidgeSdkTest, Connect_ToAScannerThatHasGone_Fails5AndHoldsNoSession) {
    const AttachedDevices attached({scannerOn("COM99", "COM99")});
    const DeviceList list = queryDevices();
    EXPECT_EQ(ridgeConnect(list->devices, context.get()), 5);
    EXPECT_EQ(lastError(), "File not found.\r\n");
    EXPECT_EQ(context->device, nullptr);
}

TEST_F(RidgeSdkTest, Connect_ToAScannerThatRefuses_ComesThroughTheBoundary) {
    const AttachedDevices attached({scannerOn("COM7", port)});
    const DeviceList list = queryDevices();
    scanner.refuse(getInfoCode, 5, "broken");
    EXPECT_EQ(ridgeConnect(list->devices, context.get()), 13);
    EXPECT_EQ(lastError(), "GET DEVICE INFO: Failed (48) with error 5. broken");
    EXPECT_EQ(ridgeIsConnected(context.get()), 0);
    EXPECT_EQ(scanner.openPorts(), 0);
}

TEST_F(RidgeSdkTest, Connect_ClearsTheTextOfAnEarlierFailure) {
    const AttachedDevices attached({scannerOn("COM7", port)});
    const DeviceList list = queryDevices();
    leaveText();
    ASSERT_EQ(ridgeConnect(list->devices, context.get()), 0) << lastError();
    EXPECT_EQ(lastError(), "");
}

// ---------------------------------------------------------------------------------- connectCOM

TEST_F(RidgeSdkTest, ConnectCOM_ReadsInformationThenSettingsAndNothingElse) {
    EXPECT_EQ(ridgeConnectCOM(port, context.get()), 0);
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("30", "15"));
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
    EXPECT_EQ(scanner.openPorts(), 1);
}

TEST_F(RidgeSdkTest, ConnectCOM_NullPort_Fails3) {
    EXPECT_EQ(ridgeConnectCOM(nullptr, context.get()), 3);
    EXPECT_EQ(lastError(), "'comPort' cannot be NULL or empty.");
}

TEST_F(RidgeSdkTest, ConnectCOM_EmptyPort_Fails3) {
    EXPECT_EQ(ridgeConnectCOM("", context.get()), 3);
    EXPECT_EQ(lastError(), "'comPort' cannot be NULL or empty.");
    EXPECT_EQ(ridgeIsConnected(context.get()), 0);
}

TEST_F(RidgeSdkTest, ConnectCOM_ContextInUse_ComesBeforeTheNullPort) {
    connect();
    EXPECT_EQ(ridgeConnectCOM(nullptr, context.get()), 8);
    EXPECT_EQ(lastError(), "Context in use.");
}

TEST_F(RidgeSdkTest, ConnectCOM_OnAConnectedContext_Fails8AndTheSessionKeepsWorking) {
    connect();
    const ScriptedScanner other("COM8");
    EXPECT_EQ(ridgeConnectCOM("COM8", context.get()), 8);
    EXPECT_EQ(lastError(), "Context in use.");
    EXPECT_EQ(other.openPorts(), 0);
    const ridgeDeviceSettings settings{1, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 0);
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("16 01 00 00 00 00"));
}

TEST_F(RidgeSdkTest, ConnectCOM_UnknownPort_Fails5WithThePortsTextAndHoldsNoSession) {
    EXPECT_EQ(ridgeConnectCOM("COM99", context.get()), 5);
    EXPECT_EQ(lastError(), "File not found.\r\n");
    EXPECT_EQ(ridgeIsConnected(context.get()), 0);
    EXPECT_EQ(context->device, nullptr);
    EXPECT_EQ(ridgeConnectCOM(port, context.get()), 0);
}

TEST_F(RidgeSdkTest, ConnectCOM_TakesThePortsNameAsItStands) {
    const ScriptedScanner other("\\\\.\\com 12 ");
    EXPECT_EQ(ridgeConnectCOM("\\\\.\\com 12 ", context.get()), 0);
    EXPECT_EQ(other.openPorts(), 1);
}

TEST_F(RidgeSdkTest, ConnectCOM_ClearsTheTextOfAnEarlierFailure) {
    leaveText();
    connect();
    EXPECT_EQ(lastError(), "");
}

TEST_F(RidgeSdkTest, ConnectCOM_RefusedBeforeTheConnectStep_KeepsOnlyItsOwnText) {
    leaveText();
    EXPECT_EQ(ridgeConnectCOM("", context.get()), 3);
    EXPECT_EQ(lastError(), "'comPort' cannot be NULL or empty.");
}

/// What a scanner does wrong while it is being connected to, and what becomes of the connect.
struct ConnectFailure {
    std::string name;
    std::function<void(ScriptedScanner&)> misbehave;
    std::int32_t status;
    std::string text;
};

class ConnectFailureTest : public RidgeSdkTest,
                           public testing::WithParamInterface<ConnectFailure> {};

TEST_P(ConnectFailureTest, ReportsItAndClosesThePort) {
    GetParam().misbehave(scanner);
    EXPECT_EQ(ridgeConnectCOM(port, context.get()), GetParam().status);
    EXPECT_EQ(lastError(), GetParam().text);
    EXPECT_EQ(ridgeIsConnected(context.get()), 0);
    EXPECT_EQ(context->device, nullptr);
    EXPECT_EQ(scanner.openPorts(), 0);
    // The context is as good as new.
    scanner.setDeviceInfo(0, 0, 0);
    scanner.setSettings(0, 0);
    EXPECT_EQ(ridgeConnectCOM(port, context.get()), 0);
    EXPECT_EQ(lastError(), "");
}

INSTANTIATE_TEST_SUITE_P(
    All, ConnectFailureTest,
    testing::Values(
        ConnectFailure{"InformationNeverComes",
                       [](ScriptedScanner& scanner) { scanner.ignore(getInfoCode); }, 9,
                       "Timeout retrieving device information."},
        ConnectFailure{"InformationRefused",
                       [](ScriptedScanner& scanner) { scanner.refuse(getInfoCode, 5, "ok"); }, 13,
                       "GET DEVICE INFO: Failed (48) with error 5. ok"},
        ConnectFailure{"InformationMissing",
                       [](ScriptedScanner& scanner) { scanner.succeed(getInfoCode); }, 9,
                       "GET DEVICE INFO: Missing response data"},
        ConnectFailure{"InformationCutShort",
                       [](ScriptedScanner& scanner) { scanner.succeed(getInfoCode, Bytes(21, 0)); },
                       10, "Invalid device info data."},
        ConnectFailure{"AnswerOfTheWrongType",
                       [](ScriptedScanner& scanner) {
                           scanner.answer(getInfoCode, 0x01, getInfoCode, Bytes(22, 0));
                       },
                       14, "GET DEVICE INFO: Invalid response type 1."},
        ConnectFailure{"AnswerToSomethingElse",
                       [](ScriptedScanner& scanner) {
                           scanner.answer(getInfoCode, 0x81, getSettingsCode, Bytes(5, 0));
                       },
                       9, "GET DEVICE INFO: Invalid response code 21. Expected 48."},
        ConnectFailure{"SettingsNeverCome",
                       [](ScriptedScanner& scanner) { scanner.ignore(getSettingsCode); }, 9,
                       "Timeout retrieving device settings."},
        ConnectFailure{"SettingsMissing",
                       [](ScriptedScanner& scanner) { scanner.succeed(getSettingsCode); }, 9,
                       "GET DEVICE SETTINGS: Missing response data"},
        ConnectFailure{"SettingsOfTheWrongType",
                       [](ScriptedScanner& scanner) {
                           scanner.answer(getSettingsCode, 0x01, getSettingsCode, Bytes(5, 0));
                       },
                       14, "GET DEVICE SETTINGS: Invalid response type 1."},
        ConnectFailure{"SettingsRefused",
                       [](ScriptedScanner& scanner) { scanner.refuse(getSettingsCode, 6, ""); }, 13,
                       "GET DEVICE SETTINGS: Failed (21) with error 6. "},
        ConnectFailure{
            "SettingsOf6Bytes",
            [](ScriptedScanner& scanner) { scanner.succeed(getSettingsCode, Bytes(6, 0)); }, 10,
            "Invalid device settings data (1)."},
        ConnectFailure{"SettingsWithRotation4",
                       [](ScriptedScanner& scanner) { scanner.setSettings(4, 0); }, 10,
                       "Invalid device settings data (4)."}),
    [](const testing::TestParamInfo<ConnectFailure>& test) { return test.param.name; });

TEST_F(RidgeSdkTest, TwoConnections_ShareNothing) {
    ScriptedScanner otherScanner("COM8");
    otherScanner.setDeviceInfo(8, 0, 0);
    scanner.setDeviceInfo(7, 0, 0);
    const std::unique_ptr<ridgeDeviceContext, FreeContext> other(ridgeCreateDeviceContext());
    connect();
    ASSERT_EQ(ridgeConnectCOM("COM8", other.get()), 0);
    ridgeDeviceInfo info{};
    ASSERT_EQ(ridgeGetInfo(context.get(), &info), 0);
    EXPECT_EQ(info.value1, 7);
    ridgeDisconnect(context.get());
    EXPECT_EQ(ridgeIsConnected(other.get()), 1);
    ASSERT_EQ(ridgeGetInfo(other.get(), &info), 0);
    EXPECT_EQ(info.value1, 8);
}

// ------------------------------------------------------------------- isConnected and disconnect

TEST_F(RidgeSdkTest, Disconnect_ClosesThePortAndTheContextCanBeConnectedAgain) {
    connect();
    ridgeDisconnect(context.get());
    EXPECT_EQ(ridgeIsConnected(context.get()), 0);
    EXPECT_EQ(scanner.openPorts(), 0);
    EXPECT_EQ(context->device, nullptr);
    EXPECT_EQ(ridgeConnectCOM(port, context.get()), 0);
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
}

TEST_F(RidgeSdkTest, Disconnect_WithoutSession_ClearsTheText) {
    leaveText();
    ridgeDisconnect(context.get());
    EXPECT_EQ(lastError(), "");
}

TEST_F(RidgeSdkTest, Disconnect_WithASession_ClearsTheText) {
    connect();
    leaveText();
    ridgeDisconnect(context.get());
    EXPECT_EQ(lastError(), "");
}

TEST_F(RidgeSdkTest, Disconnect_StopsARunningStreamAndWaitsForIt) {
    connect();
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    startStream();
    host.calls.waitFor(smallStreamImage);
    ridgeDisconnect(context.get());
    EXPECT_EQ(scanner.requests.entries().back(), "12");
    EXPECT_EQ(scanner.openPorts(), 0);
    EXPECT_THAT(host.calls.entries(), ElementsAre(smallStreamImage));
}

TEST_F(RidgeSdkTest, Disconnect_WhileACallbackAsksAndJudges_KeepsTheSessionForIt) {
    connect();
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    Gate disconnecting;
    int connected = 0;
    host.duringImage = [&] {
        disconnecting.pass();
        for (int round = 0; round < 1000; ++round) {
            connected += ridgeIsConnected(context.get());
            ridgeHostAssistedCaptureSetResult(context.get(), 1);
        }
    };
    startStream();
    host.calls.waitFor(smallStreamImage);
    disconnecting.open();
    ridgeDisconnect(context.get());
    EXPECT_EQ(connected, 1000);
    EXPECT_EQ(ridgeIsConnected(context.get()), 0);
}

// ---------------------------------------------------------------------------------------- info

TEST_F(RidgeSdkTest, GetInfo_FillsTheRecordWithoutTraffic) {
    scanner.setDeviceInfo(0x1234, 0xFEDC, 0);
    connect();
    ridgeDeviceInfo info{};
    EXPECT_EQ(ridgeGetInfo(context.get(), &info), 0);
    EXPECT_STREQ(info.text1, "one");
    EXPECT_STREQ(info.text2, "two");
    EXPECT_STREQ(info.text3, "three");
    EXPECT_STREQ(info.text4, "four");
    EXPECT_STREQ(info.text5, "five");
    EXPECT_STREQ(info.text6, "six");
    EXPECT_STREQ(info.text7, "seven");
    EXPECT_EQ(info.value1, 0x1234);
    EXPECT_EQ(info.value2, 0xFEDC);
    EXPECT_EQ(info.features, 0U);
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
}

TEST(RidgeSdk, DeviceInfoRecord_TheSixthTextStandsFourthAndTheFourthSixth) {
    EXPECT_EQ(offsetof(ridgeDeviceInfo, text1), 0 * sizeof(char*));
    EXPECT_EQ(offsetof(ridgeDeviceInfo, text2), 1 * sizeof(char*));
    EXPECT_EQ(offsetof(ridgeDeviceInfo, text3), 2 * sizeof(char*));
    EXPECT_EQ(offsetof(ridgeDeviceInfo, text6), 3 * sizeof(char*));
    EXPECT_EQ(offsetof(ridgeDeviceInfo, text5), 4 * sizeof(char*));
    EXPECT_EQ(offsetof(ridgeDeviceInfo, text4), 5 * sizeof(char*));
    EXPECT_EQ(offsetof(ridgeDeviceInfo, text7), 6 * sizeof(char*));
}

/// A flag word of the scanner and the features that it stands for.
struct FeatureCase {
    std::uint32_t flags;
    std::uint32_t features;
};

class FeaturesTest : public RidgeSdkTest, public testing::WithParamInterface<FeatureCase> {};

TEST_P(FeaturesTest, AreBits16To20OfTheFlagWord) {
    scanner.setDeviceInfo(0, 0, GetParam().flags);
    connect();
    ridgeDeviceInfo info{};
    info.features = 0xFFFFFFFF;
    ASSERT_EQ(ridgeGetInfo(context.get(), &info), 0);
    EXPECT_EQ(info.features, GetParam().features);
}

INSTANTIATE_TEST_SUITE_P(All, FeaturesTest,
                         testing::Values(FeatureCase{0x00010000, 1}, FeatureCase{0x00020000, 2},
                                         FeatureCase{0x00040000, 4}, FeatureCase{0x00080000, 8},
                                         FeatureCase{0x00100000, 16}, FeatureCase{0x00110000, 17},
                                         FeatureCase{0xFFE0FFFF, 0}, FeatureCase{0xFFFFFFFF, 31}));

TEST_F(RidgeSdkTest, GetInfo_NullRecord_ComesBeforeTheConnection) {
    EXPECT_EQ(ridgeGetInfo(context.get(), nullptr), 3);
    EXPECT_EQ(lastError(), "'info' cannot be NULL.");
}

TEST_F(RidgeSdkTest, GetInfo_WithoutSession_Fails11) {
    ridgeDeviceInfo info{};
    EXPECT_EQ(ridgeGetInfo(context.get(), &info), 11);
    EXPECT_EQ(lastError(), "Not connected.");
}

TEST_F(RidgeSdkTest, GetInfo_AfterASerialErrorWhileIdle_Fails5) {
    connect();
    scanner.failPort("unplugged");
    ridgeDeviceInfo info{};
    EXPECT_EQ(ridgeGetInfo(context.get(), &info), 5);
    EXPECT_EQ(lastError(), "Serial port error detected. unplugged");
}

TEST_F(RidgeSdkTest, GetInfo_AfterTheScannerIsLost_SerialErrorComesBeforeTheConnection) {
    connect();
    loseScanner();
    ridgeDeviceInfo info{};
    EXPECT_EQ(ridgeGetInfo(context.get(), &info), 5);
    EXPECT_EQ(lastError(), "Serial port error detected. unplugged");
}

TEST_F(RidgeSdkTest, GetInfo_TextsStayValidWhenTheSessionLosesItsPort) {
    connect();
    ridgeDeviceInfo info{};
    ASSERT_EQ(ridgeGetInfo(context.get(), &info), 0);
    loseScanner();
    EXPECT_STREQ(info.text1, "one");
    EXPECT_STREQ(info.text4, "four");
    EXPECT_STREQ(info.text7, "seven");
}

// ------------------------------------------------------------------------------------- settings

TEST_F(RidgeSdkTest, SettingsGet_ReturnsRotationAndOptionWithoutTraffic) {
    scanner.setSettings(3, 0x2);
    connect();
    ridgeDeviceSettings settings{9, 9};
    EXPECT_EQ(ridgeSettingsGet(context.get(), &settings), 0);
    EXPECT_EQ(settings.rotation, 3);
    EXPECT_EQ(settings.option, 1);
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
}

TEST_F(RidgeSdkTest, SettingsGet_OptionIsBit1Alone) {
    scanner.setSettings(0, 0xFFFFFFFD);
    connect();
    ridgeDeviceSettings settings{9, 9};
    EXPECT_EQ(ridgeSettingsGet(context.get(), &settings), 0);
    EXPECT_EQ(settings.rotation, 0);
    EXPECT_EQ(settings.option, 0);
}

TEST_F(RidgeSdkTest, SettingsGet_NullRecord_Fails3WithoutText) {
    EXPECT_EQ(ridgeSettingsGet(context.get(), nullptr), 3);
    EXPECT_EQ(lastError(), "");
    leaveText();
    EXPECT_EQ(ridgeSettingsGet(context.get(), nullptr), 3);
    EXPECT_EQ(lastError(), earlierText);
}

TEST_F(RidgeSdkTest, SettingsGet_WithoutSession_Fails11) {
    ridgeDeviceSettings settings{};
    EXPECT_EQ(ridgeSettingsGet(context.get(), &settings), 11);
    EXPECT_EQ(lastError(), "Not connected.");
}

TEST_F(RidgeSdkTest, SettingsGet_AfterASerialErrorWhileIdle_StillAnswers) {
    scanner.setSettings(2, 0);
    connect();
    scanner.failPort("unplugged");
    ridgeDeviceSettings settings{};
    EXPECT_EQ(ridgeSettingsGet(context.get(), &settings), 0);
    EXPECT_EQ(settings.rotation, 2);
}

TEST_F(RidgeSdkTest, SettingsGet_AfterTheScannerIsLost_Fails11) {
    connect();
    loseScanner();
    ridgeDeviceSettings settings{};
    EXPECT_EQ(ridgeSettingsGet(context.get(), &settings), 11);
    EXPECT_EQ(lastError(), "Not connected.");
}

TEST_F(RidgeSdkTest, SettingsSet_SendsRotationAndFlags) {
    scanner.setSettings(0, 0xFFFFFFFD);
    connect();
    const ridgeDeviceSettings withOption{3, 128};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &withOption), 0);
    const ridgeDeviceSettings withoutOption{1, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &withoutOption), 0);
    // Of the scanner's flags only its own, bit 0, is carried along.
    EXPECT_THAT(scanner.requests.entries(), ElementsAre("16 03 00 00 00 03", "16 01 00 00 00 01"));
}

TEST_F(RidgeSdkTest, SettingsSet_DoesNotChangeWhatSettingsGetReturns) {
    scanner.setSettings(2, 0);
    connect();
    ridgeDeviceSettings settings{1, 1};
    ASSERT_EQ(ridgeSettingsSet(context.get(), &settings), 0);
    ASSERT_EQ(ridgeSettingsGet(context.get(), &settings), 0);
    EXPECT_EQ(settings.rotation, 2);
    EXPECT_EQ(settings.option, 0);
    scanner.setSettings(1, 2);
    ridgeDisconnect(context.get());
    connect();
    ASSERT_EQ(ridgeSettingsGet(context.get(), &settings), 0);
    EXPECT_EQ(settings.rotation, 1);
    EXPECT_EQ(settings.option, 1);
}

TEST_F(RidgeSdkTest, SettingsSet_ChecksRecordThenRotationThenConnection) {
    EXPECT_EQ(ridgeSettingsSet(context.get(), nullptr), 3);
    EXPECT_EQ(lastError(), "Settings cannot be NULL.");
    ridgeDeviceSettings settings{4, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 2);
    EXPECT_EQ(lastError(), "Invalid rotation angle 4.");
    settings.rotation = 3;
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 11);
    EXPECT_EQ(lastError(), "Not connected.");
}

TEST_F(RidgeSdkTest, SettingsSet_AfterASerialErrorWhileIdle_Fails5) {
    connect();
    scanner.failPort("unplugged");
    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 5);
    EXPECT_EQ(lastError(), "Serial port error detected. unplugged");
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
}

TEST_F(RidgeSdkTest, SettingsSet_AfterTheScannerIsLost_SerialErrorComesBeforeTheConnection) {
    connect();
    loseScanner();
    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 5);
    EXPECT_EQ(lastError(), "Serial port error detected. unplugged");
}

TEST_F(RidgeSdkTest, SettingsSet_WhileACaptureRuns_Fails12) {
    connect();
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 12);
    EXPECT_EQ(lastError(), "Capture is active.");
    ridgeStopCapture(context.get());
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 0);
}

TEST_F(RidgeSdkTest, SettingsSet_Refused_Fails13AndTheTextOutlivesASuccess) {
    connect();
    scanner.refuse(setSettingsCode, 5, "ok");
    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 13);
    EXPECT_EQ(lastError(), "SET SETTINGS: Failed (22) with error 5. ok");
    scanner.succeed(setSettingsCode);
    EXPECT_EQ(ridgeSettingsSet(context.get(), &settings), 0);
    ridgeDeviceInfo info{};
    EXPECT_EQ(ridgeGetInfo(context.get(), &info), 0);
    EXPECT_EQ(lastError(), "SET SETTINGS: Failed (22) with error 5. ok");
}

// -------------------------------------------------------------------------------- capture starts

/// One of the two starts with a parameter record.
using StartFunction = decltype(&ridgeStartCapture);

class StartTest : public RidgeSdkTest, public testing::WithParamInterface<StartFunction> {
protected:
    void expectRefused(const ridgeCaptureParameters* given, const ridgeCaptureCallbacks* calls,
                       std::int32_t status, const std::string& text) {
        EXPECT_EQ(GetParam()(context.get(), given, nullptr, calls, &host), status);
        EXPECT_EQ(lastError(), text);
        EXPECT_EQ(context->captureListener, nullptr);
    }
};

TEST_P(StartTest, ChecksInTheBindingOrder) {
    // Everything is wrong at first, then one thing after the other is mended.
    ridgeCaptureParameters given{11, 30001, 0};
    ridgeCaptureCallbacks calls{};
    expectRefused(nullptr, nullptr, 3, "Capture parameters cannot be NULL.");
    expectRefused(
        &given, nullptr, 2,
        "Invalid finger position 11. Finger position must be between 0 and 10, inclusive.");
    given.fingerPosition = 10;
    expectRefused(
        &given, nullptr, 2,
        "Invalid capture timeout 30001. Capture timeout cannot exceed 30000 milliseconds.");
    given.captureTimeout = 30000;
    expectRefused(&given, nullptr, 3, "Capture callbacks cannot be NULL.");
    expectRefused(&given, &calls, 2, "Capture error callback function cannot be NULL.");
    calls.errorCallback = onError;
    expectRefused(&given, &calls, 2, "Capture success callback function cannot be NULL.");
    calls.captureCallback = onImage;
    expectRefused(&given, &calls, 11, "Not connected.");
}

TEST_P(StartTest, AfterASerialErrorWhileIdle_Fails5) {
    connect();
    scanner.failPort("unplugged");
    expectRefused(&parameters, &callbacks, 5, "Serial port error detected. unplugged");
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
}

TEST_P(StartTest, AfterTheScannerIsLost_SerialErrorComesBeforeTheConnection) {
    connect();
    loseScanner();
    EXPECT_EQ(GetParam()(context.get(), &parameters, nullptr, &callbacks, &host), 5);
    EXPECT_EQ(lastError(), "Serial port error detected. unplugged");
}

TEST_P(StartTest, WhileOneRuns_SerialErrorComesBeforeTheRunningOne) {
    connect();
    Gate gate;
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    host.duringImage = [&gate] { gate.pass(); };
    startStream();
    host.calls.waitFor(smallStreamImage);
    scanner.failPort("unplugged");
    EXPECT_EQ(GetParam()(context.get(), &parameters, nullptr, &callbacks, &host), 5);
    EXPECT_EQ(lastError(), "Serial port error detected. unplugged");
    gate.open();
    ridgeStopCapture(context.get());
}

TEST_P(StartTest, WhileOneRuns_Fails12AndLeavesItAndItsListenerAlone) {
    connect();
    startStream();
    const DefaultCaptureListener* listener = context->captureListener.get();
    Host other;
    EXPECT_EQ(GetParam()(context.get(), &parameters, nullptr, &callbacks, &other), 12);
    EXPECT_EQ(lastError(), "Capture is active.");
    EXPECT_EQ(context->captureListener.get(), listener);
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    host.calls.waitFor(smallStreamImage);
    ridgeStopCapture(context.get());
    EXPECT_THAT(other.calls.entries(), IsEmpty());
}

TEST_P(StartTest, WhileOneRuns_AWrongArgumentIsStillReportedFirst) {
    connect();
    startStream();
    EXPECT_EQ(GetParam()(context.get(), nullptr, nullptr, &callbacks, &host), 3);
    EXPECT_EQ(lastError(), "Capture parameters cannot be NULL.");
    EXPECT_EQ(GetParam()(context.get(), &parameters, nullptr, nullptr, &host), 3);
    EXPECT_EQ(lastError(), "Capture callbacks cannot be NULL.");
}

TEST_P(StartTest, Success_KeepsTheTextOfAnEarlierFailure) {
    connect();
    leaveText();
    EXPECT_EQ(GetParam()(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    EXPECT_EQ(lastError(), earlierText);
}

INSTANTIATE_TEST_SUITE_P(BothStarts, StartTest,
                         testing::Values(&ridgeStartCapture, &ridgeStartHostAssistedCapture),
                         [](const testing::TestParamInfo<StartFunction>& test) {
                             return test.index == 0 ? "Capture" : "HostAssistedCapture";
                         });

TEST_F(RidgeSdkTest, StartStream_ChecksInTheBindingOrder) {
    ridgeCaptureCallbacks calls{};
    EXPECT_EQ(ridgeStartStream(context.get(), nullptr, nullptr, &host), 3);
    EXPECT_EQ(lastError(), "Capture callbacks cannot be NULL.");
    EXPECT_EQ(ridgeStartStream(context.get(), nullptr, &calls, &host), 2);
    EXPECT_EQ(lastError(), "Capture error callback function cannot be NULL.");
    calls.errorCallback = onError;
    EXPECT_EQ(ridgeStartStream(context.get(), nullptr, &calls, &host), 2);
    EXPECT_EQ(lastError(), "Capture success callback function cannot be NULL.");
    calls.captureCallback = onImage;
    EXPECT_EQ(ridgeStartStream(context.get(), nullptr, &calls, &host), 11);
    EXPECT_EQ(lastError(), "Not connected.");
    EXPECT_EQ(context->captureListener, nullptr);
}

TEST_F(RidgeSdkTest, StartStream_SerialErrorComesBeforeConnectionAndRunningOne) {
    connect();
    Gate gate;
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    host.duringImage = [&gate] { gate.pass(); };
    startStream();
    host.calls.waitFor(smallStreamImage);
    EXPECT_EQ(ridgeStartStream(context.get(), nullptr, &callbacks, &host), 12);
    EXPECT_EQ(lastError(), "Capture is active.");
    scanner.failPort("unplugged");
    EXPECT_EQ(ridgeStartStream(context.get(), nullptr, &callbacks, &host), 5);
    EXPECT_EQ(lastError(), "Serial port error detected. unplugged");
    gate.open();
    waitForEnd();
    EXPECT_EQ(ridgeIsConnected(context.get()), 0);
    EXPECT_EQ(ridgeStartStream(context.get(), nullptr, &callbacks, &host), 5);
    EXPECT_EQ(lastError(), "Serial port error detected. unplugged");
}

TEST_F(RidgeSdkTest, StartStream_LogsBeforeAnyCheck) {
    const LogRecorder log;
    EXPECT_EQ(ridgeStartStream(nullptr, nullptr, &callbacks, nullptr), 3);
    EXPECT_THAT(log.messages('I'), ElementsAre("Start stream"));
    EXPECT_EQ(ridgeStartStream(context.get(), nullptr, nullptr, nullptr), 3);
    EXPECT_THAT(log.messages('I'), ElementsAre("Start stream", "Start stream"));
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(RidgeSdkTest, EachStart_ReplacesTheListener) {
    connect();
    Host first;
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &first), 0);
    scanner.queueError(captureDataCode, 9);
    first.calls.waitFor("error 7 Capture timeout");
    waitForEnd();
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    startStream();
    host.calls.waitFor(smallStreamImage);
    ridgeStopCapture(context.get());
    EXPECT_THAT(first.calls.entries(), ElementsAre("error 7 Capture timeout"));
    EXPECT_THAT(host.calls.entries(), ElementsAre(smallStreamImage));
}

TEST_F(RidgeSdkTest, CallbackRecord_IsCopied) {
    connect();
    ridgeCaptureCallbacks callersRecord = callbacks;
    ASSERT_EQ(ridgeStartStream(context.get(), nullptr, &callersRecord, &host), 0);
    callersRecord = {};
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    host.calls.waitFor(smallStreamImage);
    ridgeStopCapture(context.get());
}

// ------------------------------------------------------------------------------------- captures

TEST_F(RidgeSdkTest, Capture_DeliversTheImageAndEnds) {
    connect();
    scanner.queueBlock(captureDataCode, {smallCaptureBlock});
    const ridgeCaptureParameters given{10, 30000, 1};
    ASSERT_EQ(ridgeStartCapture(context.get(), &given, nullptr, &callbacksWithEvents, &host), 0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(), ElementsAre(smallCapture));
    EXPECT_THAT(scanner.requests.entries(),
                ElementsAre("10 0A 00 00 75 30 00 00 00 09", "11", "ack 11"));
}

TEST_F(RidgeSdkTest, Capture_WithoutEventCallback_RequestsNoEvents) {
    connect();
    scanner.queueBlock(captureDataCode, {smallCaptureBlock});
    const ridgeCaptureParameters given{0, 0, 0xFFFFFFF7};
    ASSERT_EQ(ridgeStartCapture(context.get(), &given, nullptr, &callbacks, &host), 0);
    waitForEnd();
    EXPECT_EQ(scanner.requests.entries().at(0), "10 00 00 00 00 00 FF FF FF F7");
}

TEST_F(RidgeSdkTest, Capture_PassesTheBlockOf256Bytes) {
    connect();
    scanner.queueBlock(captureDataCode, {smallCaptureBlock});
    const Bytes block(256, 0x7E);
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, block.data(), &callbacks, &host), 0);
    waitForEnd();
    EXPECT_EQ(scanner.requests.entries().at(0), "10 01 00 00 13 88 00 00 00 01 " + hexText(block));
}

TEST_F(RidgeSdkTest, Capture_ChunksAreAcknowledgedAndPutTogether) {
    connect();
    scanner.queueBlock(captureDataCode,
                       {Bytes(smallCaptureBlock.begin(), smallCaptureBlock.begin() + 5),
                        Bytes(smallCaptureBlock.begin() + 5, smallCaptureBlock.begin() + 20),
                        Bytes(smallCaptureBlock.begin() + 20, smallCaptureBlock.end())});
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(), ElementsAre(smallCapture));
    EXPECT_THAT(scanner.requests.entries(),
                ElementsAre("10 01 00 00 13 88 00 00 00 01", "11", "ack 11", "ack 11", "ack 11"));
}

TEST_F(RidgeSdkTest, Capture_EmptyImage_GivesWidthAndHeightZero) {
    connect();
    scanner.queueBlock(captureDataCode, {captureBlock({0x4, 300, 400, {}, 9, {0xAA}})});
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(),
                ElementsAre("image 0x0 [] extra=9 trailer=[AA] flags=00 00 00"));
}

TEST_F(RidgeSdkTest, Capture_EventsReachTheEventCallback) {
    connect();
    scanner.queueError(captureDataCode, 12);
    scanner.queueError(captureDataCode, 12);
    scanner.queueBlock(captureDataCode, {smallCaptureBlock});
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacksWithEvents, &host),
              0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(), ElementsAre("event", "event", smallCapture));
}

TEST_F(RidgeSdkTest, Capture_EventsWithoutEventCallback_AreIgnored) {
    connect();
    scanner.queueError(captureDataCode, 12);
    scanner.queueBlock(captureDataCode, {smallCaptureBlock});
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(), ElementsAre(smallCapture));
}

TEST_F(RidgeSdkTest, Capture_ScannerTimesOut_ReachesTheErrorCallback) {
    connect();
    leaveText();
    scanner.queueError(captureDataCode, 9);
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(), ElementsAre("error 7 Capture timeout"));
    // A worker's failure never touches the context's text.
    EXPECT_EQ(lastError(), earlierText);
}

TEST_F(RidgeSdkTest, Capture_StartRefusedByTheScanner_IsNotReturnedButReported) {
    connect();
    scanner.refuse(startCaptureCode, 5, "ok");
    EXPECT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(),
                ElementsAre("error 13 START CAPTURE: Failed (16) with error 5. ok"));
    EXPECT_EQ(lastError(), "");
}

TEST_F(RidgeSdkTest, Capture_ErrorOfTheScanner_ReachesTheErrorCallback) {
    connect();
    scanner.queueError(captureDataCode, 5);
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(), ElementsAre("error 13 Error 5 retrieving capture data. "));
}

TEST_F(RidgeSdkTest, Capture_ExceptionFromACallback_DoesNotEndTheProcess) {
    connect();
    host.duringImage = [] { throw std::runtime_error("host failed"); };
    scanner.queueBlock(captureDataCode, {smallCaptureBlock});
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    waitForEnd();
    host.duringError = [] { throw 42; };
    scanner.queueError(captureDataCode, 9);
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(),
                ElementsAre(smallCapture, "error 4 host failed", "error 7 Capture timeout",
                            "error 4 Unknown command error"));
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
}

TEST_F(RidgeSdkTest, SerialError_DuringACapture_LosesTheScannerUntilDisconnected) {
    connect();
    loseScanner();
    EXPECT_EQ(ridgeIsConnected(context.get()), 0);
    EXPECT_EQ(scanner.openPorts(), 0);
    EXPECT_EQ(scanner.requests.count("12"), 0U);
    EXPECT_EQ(ridgeConnectCOM(port, context.get()), 8);
    EXPECT_EQ(lastError(), "Context in use.");
    ridgeDisconnect(context.get());
    EXPECT_EQ(ridgeConnectCOM(port, context.get()), 0);
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
}

// ------------------------------------------------------------------------ host-assisted captures

TEST_F(RidgeSdkTest, HostAssistedCapture_FromRejectionToTheFinalCapture) {
    // The scanner sends the mask's second half first.
    Bytes maskOnTheWire(64, 0);
    maskOnTheWire[32] = 0x0F;
    maskOnTheWire[0] = 0xF0;
    scanner.succeed(startHostAssistedCode, maskOnTheWire);
    connect();
    Bytes image(33, 0x55);
    image[0] = 0x55 ^ 0x0F;
    image[32] = 0x55 ^ 0xF0;
    scanner.queueBlock(streamDataCode, {streamBlock({0, 3, 11, image, 0, {}})});
    scanner.queueBlock(streamDataCode, {streamBlock({0, 3, 11, image, 0, {}})});
    scanner.queueBlock(captureDataCode, {smallCaptureBlock});
    std::uint8_t verdict = 0;
    host.duringImage = [&] {
        ridgeHostAssistedCaptureSetResult(context.get(), verdict);
        verdict = 255;
    };
    const ridgeCaptureParameters given{10, 30000, 0x12345678};
    ASSERT_EQ(
        ridgeStartHostAssistedCapture(context.get(), &given, nullptr, &callbacksWithEvents, &host),
        0);
    waitForEnd();
    const std::string preview =
        "image 3x11 [" + hexText(Bytes(33, 0x55)) + "] extra=0 trailer=[] flags=00 00 00";
    EXPECT_THAT(host.calls.entries(), ElementsAre(preview, preview, smallCapture));
    const std::vector<std::string> requests = scanner.requests.entries();
    ASSERT_EQ(requests.size(), 9U);
    // Neither the time-out nor the wish for events is passed on.
    EXPECT_EQ(requests[0], "17 0A 12 34 56 78");
    EXPECT_EQ(requests[1], "14");
    EXPECT_EQ(requests[2], "ack 14");
    EXPECT_EQ(hexBytes(requests[3]).size(), 65U);
    EXPECT_EQ(hexBytes(requests[3])[0], 0x18);
    EXPECT_EQ(requests[4], "14");
    EXPECT_EQ(requests[5], "ack 14");
    EXPECT_EQ(hexBytes(requests[6])[0], 0x18);
    EXPECT_EQ(requests[7], "11");
    EXPECT_EQ(requests[8], "ack 11");
}

TEST_F(RidgeSdkTest, HostAssistedCapture_PassesTheBlockOf256Bytes) {
    scanner.succeed(startHostAssistedCode, Bytes(64, 0));
    connect();
    const Bytes block(256, 0x7D);
    ASSERT_EQ(
        ridgeStartHostAssistedCapture(context.get(), &parameters, block.data(), &callbacks, &host),
        0);
    ridgeStopCapture(context.get());
    EXPECT_EQ(scanner.requests.entries().at(0), "17 01 00 00 00 01 " + hexText(block));
}

TEST_F(RidgeSdkTest, HostAssistedCapture_Option0_IsReportedByTheWorker) {
    connect();
    const ridgeCaptureParameters given{1, 5000, 0};
    EXPECT_EQ(ridgeStartHostAssistedCapture(context.get(), &given, nullptr, &callbacks, &host), 0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(),
                ElementsAre("error 6 Failed to start host assisted capture (1)."));
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
}

TEST_F(RidgeSdkTest, HostAssistedCapture_MaskOf63Bytes_IsReportedByTheWorker) {
    scanner.succeed(startHostAssistedCode, Bytes(63, 0));
    connect();
    EXPECT_EQ(ridgeStartHostAssistedCapture(context.get(), &parameters, nullptr, &callbacks, &host),
              0);
    waitForEnd();
    EXPECT_THAT(host.calls.entries(),
                ElementsAre("error 6 Invalid host assisted capture response (63)."));
}

TEST_F(RidgeSdkTest, HostAssistedCaptureSetResult_WithoutSession_DoesNothing) {
    leaveText();
    ridgeHostAssistedCaptureSetResult(context.get(), 1);
    EXPECT_EQ(lastError(), earlierText);
    EXPECT_EQ(context->device, nullptr);
}

TEST_F(RidgeSdkTest, HostAssistedCaptureSetResult_WithASession_SendsNothing) {
    connect();
    leaveText();
    ridgeHostAssistedCaptureSetResult(context.get(), 1);
    EXPECT_EQ(lastError(), earlierText);
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
}

// --------------------------------------------------------------------------- stream and stopping

TEST_F(RidgeSdkTest, Stream_DeliversImagesUntilItIsStopped) {
    connect();
    const Bytes block(256, 0x7F);
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    scanner.queueBlock(streamDataCode, {smallStreamBlock});
    ASSERT_EQ(ridgeStartStream(context.get(), block.data(), &callbacksWithEvents, &host), 0);
    host.calls.waitFor(smallStreamImage, 2);
    ridgeStopCapture(context.get());
    EXPECT_THAT(host.calls.entries(), ElementsAre(smallStreamImage, smallStreamImage));
    EXPECT_EQ(scanner.requests.entries().front(), "13 " + hexText(block));
    EXPECT_EQ(scanner.requests.entries().back(), "12");
}

TEST_F(RidgeSdkTest, Stream_WithoutBlock_SendsNone) {
    connect();
    startStream();
    ridgeStopCapture(context.get());
    EXPECT_EQ(scanner.requests.entries().front(), "13");
}

TEST_F(RidgeSdkTest, Stream_StartRefusedByTheScanner_IsNotReturnedButReported) {
    connect();
    scanner.refuse(startStreamCode, 5, "ok");
    startStream();
    waitForEnd();
    EXPECT_THAT(host.calls.entries(),
                ElementsAre("error 13 STREAM START: Failed (19) with error 5. ok"));
}

TEST_F(RidgeSdkTest, StopCapture_WithNothingRunning_DestroysTheListenerAndClearsTheText) {
    connect();
    scanner.queueBlock(captureDataCode, {smallCaptureBlock});
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    waitForEnd();
    leaveText();
    scanner.requests.clear();
    EXPECT_NE(context->captureListener, nullptr);
    ridgeStopCapture(context.get());
    EXPECT_EQ(context->captureListener, nullptr);
    EXPECT_EQ(lastError(), "");
    EXPECT_THAT(scanner.requests.entries(), IsEmpty());
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
}

TEST_F(RidgeSdkTest, StopCapture_WithoutSession_ClearsTheText) {
    leaveText();
    ridgeStopCapture(context.get());
    EXPECT_EQ(lastError(), "");
}

TEST_F(RidgeSdkTest, StopCapture_DuringACapture_ReportsNothing) {
    connect();
    ASSERT_EQ(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host), 0);
    scanner.requests.waitFor("11");
    ridgeStopCapture(context.get());
    EXPECT_THAT(scanner.requests.entries(),
                ElementsAre("10 01 00 00 13 88 00 00 00 01", "11", "12"));
    EXPECT_THAT(host.calls.entries(), IsEmpty());
    EXPECT_EQ(context->captureListener, nullptr);
    EXPECT_EQ(ridgeIsConnected(context.get()), 1);
}

TEST_F(RidgeSdkTest, StopCapture_RefusedByTheScanner_IsReportedBeforeItReturns) {
    connect();
    scanner.refuse(stopCaptureCode, 5, "ok");
    startStream();
    ridgeStopCapture(context.get());
    EXPECT_THAT(host.calls.entries(),
                ElementsAre("error 13 STOP CAPTURE: Failed (18) with error 5. ok"));
    EXPECT_EQ(lastError(), "");
}

TEST_F(RidgeSdkTest, StopCapture_AfterTheScannerIsLost_DestroysTheListener) {
    connect();
    loseScanner();
    ridgeStopCapture(context.get());
    EXPECT_EQ(context->captureListener, nullptr);
    EXPECT_EQ(host.calls.entries().size(), 1U);
}

TEST_F(RidgeSdkTest, StopCapture_ThenTheNextStart_AlwaysSucceeds) {
    connect();
    for (int round = 0; round < 500; ++round) {
        const std::int32_t status =
            round % 2 == 0
                ? ridgeStartStream(context.get(), nullptr, &callbacks, &host)
                : ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &host);
        ASSERT_EQ(status, 0) << lastError();
        ridgeStopCapture(context.get());
    }
    EXPECT_THAT(host.calls.entries(), IsEmpty());
}

TEST_F(RidgeSdkTest, StopCapture_ThenFree_AtOnce) {
    for (int round = 0; round < 500; ++round) {
        ASSERT_EQ(ridgeConnectCOM(port, context.get()), 0) << lastError();
        ASSERT_EQ(ridgeStartStream(context.get(), nullptr, &callbacks, &host), 0) << lastError();
        ridgeStopCapture(context.get());
        context.reset(ridgeCreateDeviceContext());
    }
    EXPECT_THAT(host.calls.entries(), IsEmpty());
    EXPECT_EQ(scanner.openPorts(), 0);
}

} // namespace
} // namespace ridge
