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

/// Hands warnings and errors to the account of the thread that they belong to.
void noteLine(std::int32_t level, const char* line, void*) {
    Account* const account = Account::ofThisThread();
    if (account != nullptr && (level == 'E' || level == 'W')) {
        account->noteLine(line);
    }
}

void expectNoMistakes(const WalkResult& result) {
    std::cout << result.struck.size() << " places, " << result.refusals << " refusals\n";
    for (const auto& [failure, count] : result.reported) {
        const auto& [status, text] = failure;
        std::cout << "  " << count << " x " << status << ' ' << text << '\n';
    }
    for (const std::string& mistake : result.mistakes) {
        ADD_FAILURE() << mistake;
    }
    EXPECT_GT(result.refusals, 0U);
}

/// At each place once, or, if somebody has the time, each call.
void walkThrough(CallKind kind) {
    // The lines need memory too.
    ASSERT_EQ(ridgeSetLogger('D', &noteLine, nullptr), RIDGE_SUCCESS);
    Walk walk;
    if (testExtent(false, true)) {
        for (const Scenario& scenario : scenarios()) {
            std::cout << scenario.name << ": " << std::flush;
            expectNoMistakes(walk.throughCalls(scenario, kind));
        }
    } else {
        expectNoMistakes(walk.throughPlaces(kind));
    }
    std::cout << walk.repeated() << " repeated because of a late answer\n";
}

/// Refuses the first, the second, ... allocation of a call, once and from then on, and says how
/// often that was possible.
template <typename Call, typename Check>
std::size_t refusalsUntilUntouched(const Call& call, const Check& checkRefused) {
    std::size_t refusals = 0;
    std::thread([&] {
        Account account;
        account.adoptThisThread();
        // What the runtime makes once and keeps.
        account.refuse({CallKind::allocation, {}, 1, true, ERROR_SUCCESS});
        call();
        account.forgetHeld();
        for (const bool fromThenOn : {false, true}) {
            bool refused = true;
            for (std::size_t number = 1; refused; ++number) {
                account.refuse({CallKind::allocation, {}, number, fromThenOn, ERROR_SUCCESS});
                call();
                account.refuseNothing();
                refused = account.hasRefused();
                if (refused) {
                    checkRefused();
                    EXPECT_THAT(account.held(), IsEmpty());
                    ++refusals;
                }
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

const std::string stopRefused = "Error setting close event. Access denied.  \nterminate called";

/// In a process of its own, of the library's ways to close a port; what it logs begins so.
void expectEndOfProcessClosing(const std::string& way, const std::string& log) {
    const SimulatorProcess scanner({"--baud", "0", "--finger-delay", "0"});
    const ProgramResult host =
        runProgram("ridge-winfault-tests.exe",
                   {"--close-unstoppable", way, std::to_string(scanner.portNumber())});
    constexpr unsigned long aborted = 3;
    EXPECT_EQ(host.exitStatus, aborted) << host.output;
    EXPECT_THAT(host.output, StartsWith("closing\n" + log));
    EXPECT_THAT(host.output, Not(HasSubstr("closed")));
}

TEST(CallOfTheSystemThatFails, TellingTheReceiveThreadToStopWhenDisconnecting_EndsTheProcess) {
    expectEndOfProcessClosing("disconnect", stopRefused);
}

TEST(CallOfTheSystemThatFails, TellingTheReceiveThreadToStopAfterAFailedConnect_EndsTheProcess) {
    expectEndOfProcessClosing("failed-connect",
                              "Error 5 - Error writing to device port. Access denied.  \n" +
                                  stopRefused);
}

TEST(CallOfTheSystemThatFails, TellingTheReceiveThreadToStopAfterThePortHasFailed_EndsTheProcess) {
    expectEndOfProcessClosing("failed-port", stopRefused);
}

TEST(AllocationThatFails, CreatingAContext_GivesNull) {
    ridgeDeviceContext* context = nullptr;
    const auto create = [&context] {
        ridgeFreeDeviceContext(context);
        context = ridgeCreateDeviceContext();
    };
    EXPECT_EQ(refusalsUntilUntouched(create, [&context] { EXPECT_EQ(context, nullptr); }), 2U);
    ASSERT_NE(context, nullptr);
    ridgeFreeDeviceContext(context);
}

TEST(AllocationThatFails, SettingTheLogger_GivesStatus4) {
    std::int32_t status = 0;
    const auto set = [&status] { status = ridgeSetLogger('D', &noteLine, nullptr); };
    EXPECT_GT(
        refusalsUntilUntouched(set, [&status] { EXPECT_EQ(status, RIDGE_UNEXPECTED_FAILURE); }),
        2U);
    EXPECT_EQ(status, RIDGE_SUCCESS);
}

TEST(AllocationThatFails, IsReportedAndLeavesEverythingUsable) {
    walkThrough(CallKind::allocation);
}

} // namespace
} // namespace ridge::test
