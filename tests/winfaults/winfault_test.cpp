#include "account.h"
#include "childprocess.h"
#include "importedcalls.h"
#include "simulatorprocess.h"
#include "testextent.h"
#include "walk.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace ridge::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

void ignoreLine(std::int32_t, const char*, void*) {}

bool isLackOfMemory(const std::string& text) {
    // The last two are the thread library's words.
    return text.ends_with(": std::bad_alloc") || text.ends_with(": Cannot allocate memory") ||
           text.ends_with(": Resource temporarily unavailable");
}

/// Data that did not come, or an answer that nobody waited for any more.
bool isLostExchange(const std::string& text) {
    return text.find(": Timeout ") != std::string::npos ||
           text.find(": Invalid response code ") != std::string::npos;
}

/// Whether the library may report this when a call of the kind has failed.
bool isDue(CallKind kind, std::int32_t status, const std::string& text) {
    switch (status) {
    case RIDGE_UNEXPECTED_FAILURE:
        return isLackOfMemory(text);
    case RIDGE_SERIAL_PORT_ERROR:
        return kind == CallKind::system || text.find("std::bad_alloc") != std::string::npos;
    case RIDGE_PROTOCOL_ERROR:
        return kind == CallKind::system && text.find(": Error creating ") != std::string::npos;
    case RIDGE_NO_RESPONSE:
        return isLostExchange(text);
    case RIDGE_NOT_CONNECTED:
        return kind == CallKind::system;
    default:
        return false;
    }
}

void expectFailuresToBeReported(CallKind kind, const WalkResult& result) {
    std::cout << result.refusals << " refusals\n";
    for (const auto& [failure, count] : result.reported) {
        const auto& [status, text] = failure;
        std::cout << "  " << count << " x " << status << ' ' << text << '\n';
        EXPECT_TRUE(isDue(kind, status, text)) << status << ' ' << text;
    }
    for (const std::string& mistake : result.mistakes) {
        ADD_FAILURE() << mistake;
    }
    EXPECT_GT(result.refusals, 0U);
}

/// At each place once, or, if somebody has the time, each call.
void walkThrough(CallKind kind) {
    // The lines need memory too.
    ASSERT_EQ(ridgeSetLogger('D', &ignoreLine, nullptr), RIDGE_SUCCESS);
    Walk walk;
    if (!testExtent(false, true)) {
        const WalkResult result = walk.throughPlaces(kind);
        std::cout << result.places << " places, ";
        expectFailuresToBeReported(kind, result);
        return;
    }
    for (const Scenario& scenario : scenarios()) {
        std::cout << scenario.name << ": " << std::flush;
        expectFailuresToBeReported(kind, walk.throughCalls(scenario, kind));
    }
}

/// Refuses the first, the second, ... allocation of a call, and how often that was possible.
template <typename Call, typename Check>
std::size_t refusalsUntilUntouched(const Call& call, const Check& checkRefused) {
    std::size_t refusals = 0;
    std::thread([&] {
        Account account;
        account.adoptThisThread();
        // What the runtime makes once and keeps.
        account.refuse({CallKind::allocation, std::nullopt, 1, true, ERROR_SUCCESS});
        call();
        account.forgetHeld();
        bool refused = true;
        while (refused) {
            account.refuse(
                {CallKind::allocation, std::nullopt, refusals + 1, false, ERROR_SUCCESS});
            call();
            account.refuseNothing();
            refused = account.hasRefused();
            if (refused) {
                checkRefused();
                EXPECT_THAT(account.held(), IsEmpty());
                ++refusals;
            }
        }
        account.forgetHeld();
    }).join();
    return refusals;
}

TEST(Imports, EachIsDecidedAbout) {
    EXPECT_THAT(undecidedImports(), IsEmpty());
}

TEST(CallOfTheSystemThatFails, IsReportedAndLeavesEverythingUsable) {
    walkThrough(CallKind::system);
}

TEST(CallOfTheSystemThatFails, TellingTheReceiveThreadToStop_EndsTheProcess) {
    const SimulatorProcess scanner({"--baud", "0"});
    const ProgramResult host =
        runProgram("ridge-winfault-tests.exe", {"--close-unstoppable", scanner.portName()});
    constexpr unsigned long aborted = 3;
    EXPECT_EQ(host.exitStatus, aborted) << host.output;
    EXPECT_THAT(host.output, StartsWith("closing\nError setting close event. Access denied."));
    EXPECT_THAT(host.output, Not(HasSubstr("closed")));
}

TEST(AllocationThatFails, CreatingAContext_GivesNull) {
    ridgeDeviceContext* context = nullptr;
    const auto create = [&context] { context = ridgeCreateDeviceContext(); };
    EXPECT_EQ(refusalsUntilUntouched(create, [&context] { EXPECT_EQ(context, nullptr); }), 1U);
    ASSERT_NE(context, nullptr);
    ridgeFreeDeviceContext(context);
}

TEST(AllocationThatFails, SettingTheLogger_GivesStatus4) {
    std::int32_t status = 0;
    const auto set = [&status] { status = ridgeSetLogger('D', &ignoreLine, nullptr); };
    EXPECT_GT(
        refusalsUntilUntouched(set, [&status] { EXPECT_EQ(status, RIDGE_UNEXPECTED_FAILURE); }),
        1U);
    EXPECT_EQ(status, RIDGE_SUCCESS);
}

TEST(AllocationThatFails, IsReportedAndLeavesEverythingUsable) {
    walkThrough(CallKind::allocation);
}

} // namespace
} // namespace ridge::test
