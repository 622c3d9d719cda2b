#include "ridge-sdk.h"

#include "allocations.h"
#include "attacheddevices.h"
#include "codescope.h"
#include "devicecontext.h"
#include "errorboundary.h"
#include "logger.h"
#include "logrecorder.h"
#include "longfailure.h"
#include "patience.h"
#include "scanneridentifiers.h"
#include "scriptedscanner.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>

namespace ridge {
namespace {

using test::AllocationRefusal;
using test::AttachedDevices;
using test::Code;
using test::CodeScope;
using test::Extent;
using test::LogRecorder;
using test::LongFailure;
using test::ScriptedScanner;
using test::Threads;

struct Outcome {
    std::int32_t status;
    bool refused;
};

Outcome connectRefusing(std::size_t allocation, const char* port, ridgeDeviceContext* context) {
    const AllocationRefusal refusal(allocation);
    const std::int32_t status = ridgeConnectCOM(port, context);
    return {status, refusal.happened()};
}

/// Connects to a port that is not there, with one allocation after the other failing.
void expectFailuresToLeaveTheContextUsable() {
    const ScriptedScanner scanner("COM3");
    std::size_t outOfMemory = 0;
    Outcome outcome{0, true};
    for (std::size_t allocation = 1; outcome.refused; ++allocation) {
        SCOPED_TRACE(allocation);
        const std::unique_ptr<ridgeDeviceContext, decltype(&ridgeFreeDeviceContext)> context(
            ridgeCreateDeviceContext(), &ridgeFreeDeviceContext);
        outcome = connectRefusing(allocation, "COM4 is a port that does not exist", context.get());
        const std::string text = ridgeGetLastErrorDescription(context.get());
        if (outcome.status == 4) {
            ++outOfMemory;
            EXPECT_TRUE(outcome.refused);
            EXPECT_EQ(text, std::bad_alloc().what());
        } else {
            EXPECT_EQ(outcome.status, 5);
            EXPECT_EQ(text, "File not found.\r\n");
        }
        EXPECT_EQ(ridgeIsConnected(context.get()), 0);
        EXPECT_EQ(ridgeConnectCOM("COM3", context.get()), 0);
        EXPECT_EQ(ridgeIsConnected(context.get()), 1);
    }
    EXPECT_EQ(outcome.status, 5);
    EXPECT_GT(outOfMemory, 0U);
    EXPECT_EQ(scanner.openPorts(), 0);
}

void ignoreLine(std::int32_t, const char*, void*) {}

TEST(CreateDeviceContextWithoutMemory, GivesNull) {
    const AllocationRefusal refusal(1);
    EXPECT_EQ(ridgeCreateDeviceContext(), nullptr);
}

class SetLoggerWithoutMemory : public testing::TestWithParam<Extent> {};

TEST_P(SetLoggerWithoutMemory, GivesStatus4_AndLeavesNoLogger) {
    std::size_t allocation = 0;
    Outcome outcome{0, true};
    while (outcome.refused) {
        ++allocation;
        {
            const AllocationRefusal refusal(allocation, Threads::current, GetParam());
            outcome.status = ridgeSetLogger('D', &ignoreLine, nullptr);
            outcome.refused = refusal.happened();
        }
        EXPECT_EQ(outcome.status, outcome.refused ? 4 : 0);
        EXPECT_EQ(ridgeStartStream(nullptr, nullptr, nullptr, nullptr), 3);
    }
    EXPECT_GT(allocation, 1U);
    removeLogger();
}

INSTANTIATE_TEST_SUITE_P(Extents, SetLoggerWithoutMemory,
                         testing::Values(Extent::once, Extent::fromThenOn));

TEST(ErrorBoundaryWithoutMemory, FailureWithALongText_BecomesStatus4WithTheShortText) {
    ridgeDeviceContext context;
    context.lastError = "earlier";
    std::int32_t status = 0;
    {
        const AllocationRefusal refusal(1);
        status = withinBoundary(context, []() -> std::int32_t { throw LongFailure(); });
        EXPECT_TRUE(refusal.happened());
    }
    EXPECT_EQ(status, 4);
    EXPECT_EQ(context.lastError, std::bad_alloc().what());
}

TEST(ErrorBoundaryWithoutMemory, ReportOfALongText_BecomesStatus4WithTheShortText) {
    ridgeDeviceContext context;
    std::int32_t status = 0;
    {
        const AllocationRefusal refusal(1);
        status = report(context, 13, LongFailure().what());
    }
    EXPECT_EQ(status, 4);
    EXPECT_EQ(context.lastError, std::bad_alloc().what());
}

TEST(ConnectWithoutMemory, MissingPort_GivesStatus4Or5_AndLeavesTheContextUsable) {
    expectFailuresToLeaveTheContextUsable();
}

TEST(ConnectWithoutMemory, MissingPort_LinesThatFindNoMemory_DoNotDisturb) {
    const LogRecorder log;
    expectFailuresToLeaveTheContextUsable();
}

class QueryDevicesWithoutMemory : public testing::TestWithParam<Extent> {};

TEST_P(QueryDevicesWithoutMemory, LetsTheExceptionOut_AndLeavesTheCallersPointerAlone) {
    const DeviceRecord scanner{"COM3 with a name that takes memory",
                               "a serial number that takes memory",
                               "a description that takes memory of its own",
                               "a manufacturer that takes memory of its own",
                               "a device path that takes memory of its own",
                               scannerVendorId,
                               scannerProductId};
    const AttachedDevices attached({scanner, scanner});
    ridgeDeviceList* list = nullptr;
    std::size_t outOfMemory = 0;
    while (list == nullptr) {
        const AllocationRefusal refusal(outOfMemory + 1, Threads::current, GetParam());
        try {
            EXPECT_EQ(ridgeQueryDevices(&list), 0);
            EXPECT_FALSE(refusal.happened());
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(refusal.happened());
            EXPECT_EQ(list, nullptr);
            ++outOfMemory;
        }
    }
    // The stand-in's copies and ours have five texts a device.
    EXPECT_GT(outOfMemory, 20U);
    EXPECT_EQ(list->count, 2U);
    ridgeFreeDevices(list);
}

INSTANTIATE_TEST_SUITE_P(Extents, QueryDevicesWithoutMemory,
                         testing::Values(Extent::once, Extent::fromThenOn));

TEST(FunctionsThatOnlyReadOrRelease, NeedNoMemory) {
    const AttachedDevices attached(
        {{"COM3", "0001", "Scanner", "Maker", "COM3", scannerVendorId, scannerProductId}});
    ScriptedScanner scanner("COM3");
    scanner.succeed(0x23, {1, 2, 3});
    ridgeDeviceList* list = nullptr;
    ASSERT_EQ(ridgeQueryDevices(&list), 0);
    ridgeDeviceContext* const context = ridgeCreateDeviceContext();
    ASSERT_EQ(ridgeConnect(list->devices, context), 0);
    std::uint8_t* certificate = nullptr;
    std::uint32_t size = 0;
    ASSERT_EQ(ridgeDeviceSecurityCertGet(context, &certificate, &size), 0);
    ridgeDeviceInfo info{};
    ridgeDeviceSettings settings{};
    {
        const AllocationRefusal refusal(1, Threads::all, Extent::fromThenOn);
        EXPECT_STRNE(ridgeGetSdkVersion(), "");
        EXPECT_STREQ(ridgeGetLastErrorDescription(context), "");
        EXPECT_EQ(ridgeIsConnected(context), 1);
        EXPECT_EQ(ridgeGetInfo(context, &info), 0);
        EXPECT_EQ(ridgeSettingsGet(context, &settings), 0);
        ridgeHostAssistedCaptureSetResult(context, 1);
        ridgeStopCapture(context);
        ridgeDeviceSecurityCertFree(certificate);
        ridgeFreeDevices(list);
        ridgeDisconnect(context);
        ridgeFreeDeviceContext(context);
        EXPECT_FALSE(refusal.happened());
    }
    EXPECT_EQ(scanner.openPorts(), 0);
}

TEST(PortFailureWithoutMemory, IsKnownAllTheSame) {
    const CodeScope scope(Code::surroundings);
    ScriptedScanner scanner("COM3");
    const std::unique_ptr<ridgeDeviceContext, decltype(&ridgeFreeDeviceContext)> context(
        ridgeCreateDeviceContext(), &ridgeFreeDeviceContext);
    ASSERT_EQ(ridgeConnectCOM("COM3", context.get()), 0);
    const std::string text = "a text of the system's that takes memory of its own";
    {
        const AllocationRefusal refusal(1, Threads::all, Extent::fromThenOn);
        scanner.failPort(text);
        EXPECT_TRUE(refusal.happened());
    }
    ridgeDeviceInfo info{};
    EXPECT_EQ(ridgeGetInfo(context.get(), &info), 5);
    EXPECT_EQ(std::string(ridgeGetLastErrorDescription(context.get())),
              std::string("Serial port error detected. ") + std::bad_alloc().what());
}

/// A connected context with a scanner that answers everything.
class SecurityWithoutMemory : public testing::Test {
protected:
    void SetUp() override {
        scanner.succeed(0x23, {1, 2, 3});
        scanner.succeed(0x21, {0x30});
        ASSERT_EQ(ridgeConnectCOM("COM3", context.get()), 0);
    }

    /// Refuses one allocation after the other until the function needs no more.
    template <typename Function>
    void expectStatus4UntilThereIsEnough(const Function& function) {
        std::size_t outOfMemory = 0;
        Outcome outcome{4, true};
        while (outcome.refused) {
            SCOPED_TRACE(outOfMemory);
            {
                const AllocationRefusal refusal(outOfMemory + 1);
                outcome.status = function();
                outcome.refused = refusal.happened();
            }
            if (outcome.refused) {
                ++outOfMemory;
                EXPECT_EQ(outcome.status, 4);
                EXPECT_STREQ(ridgeGetLastErrorDescription(context.get()), std::bad_alloc().what());
                EXPECT_EQ(ridgeIsConnected(context.get()), 1);
            }
        }
        EXPECT_EQ(outcome.status, 0);
        EXPECT_GT(outOfMemory, 0U);
    }

    ScriptedScanner scanner{"COM3"};
    std::unique_ptr<ridgeDeviceContext, decltype(&ridgeFreeDeviceContext)> context{
        ridgeCreateDeviceContext(), &ridgeFreeDeviceContext};
};

TEST_F(SecurityWithoutMemory, CreateCsr_StartsNoWorker) {
    struct Calls {
        std::atomic<int> csr{0};
        std::atomic<int> error{0};
    } calls;
    const ridgeCsrSubjectName subject{
        "A common name that takes memory of its own", "DE", nullptr, nullptr, nullptr, nullptr};
    expectStatus4UntilThereIsEnough([&] {
        return ridgeDeviceSecurityCreateCsr(
            context.get(), &subject,
            [](const std::uint8_t*, std::uint32_t, void* counts) {
                ++static_cast<Calls*>(counts)->csr;
            },
            [](std::int32_t, const char*, void* counts) { ++static_cast<Calls*>(counts)->error; },
            &calls);
    });
    EXPECT_TRUE(test::comesAbout([&calls] { return calls.csr + calls.error > 0; }));
    context.reset();
    EXPECT_EQ(calls.csr, 1);
    EXPECT_EQ(calls.error, 0);
}

} // namespace
} // namespace ridge
