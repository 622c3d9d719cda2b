// Each dialogue with the library's allocations failing, one after the other.

#include "allocations.h"
#include "codescope.h"
#include "dialogues.h"
#include "documentedfailures.h"
#include "logger.h"

#include <gtest/gtest.h>

#include <iostream>
#include <limits>
#include <new>
#include <optional>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

namespace ridge::test {
namespace {

const ReceivedFailure outOfMemory{RIDGE_UNEXPECTED_FAILURE, std::bad_alloc().what()};

/// What else goes on while memory is refused.
struct Situation {
    std::string name;
    /// The simulated scanner's.
    std::string faults = {};
    /// The line dies with this byte to the host.
    std::optional<std::size_t> unpluggedAt = {};
    bool logged = false;

    [[nodiscard]] bool isHarmless() const { return faults.empty() && !unpluggedAt; }
};

void PrintTo(const Situation& situation, std::ostream* stream) {
    *stream << situation.name;
}

Situation undisturbed() {
    return {"Undisturbed"};
}

/// The first two commands are those of the connect, which takes fewer than 200 bytes.
std::vector<Situation> allSituations() {
    return {
        undisturbed(),
        {"Logged", "", std::nullopt, true},
        {"CommandRefused", "any#3: device-error:77:a long text of the scanner always"},
        {"SecondCommandRefused", "any#4: device-error:77:a long text of the scanner always"},
        {"CaptureTimedOut", "GET CAPTURE DATA#2: device-error:9 always"},
        {"ImageTooLarge", "GET CAPTURE DATA/block: block-length:140001 always\n"
                          "GET STREAM DATA/block: block-length:140001 always"},
        {"ImageTooShort", "GET CAPTURE DATA/block: short-block:19 always\n"
                          "GET STREAM DATA/block: short-block:16 always"},
        {"Unplugged", "", 200},
    };
}

void ignoreLine(std::int32_t, const char*, void*) {}

/// The host's logger while it lives.
class InstalledLogger {
public:
    InstalledLogger() { EXPECT_EQ(ridgeSetLogger('D', ignoreLine, nullptr), RIDGE_SUCCESS); }
    ~InstalledLogger() { removeLogger(); }

    InstalledLogger(const InstalledLogger&) = delete;
    InstalledLogger& operator=(const InstalledLogger&) = delete;
};

class EachDialogueWithoutMemory : public testing::TestWithParam<std::tuple<Dialogue, Situation>> {
protected:
    static void TearDownTestSuite() {
        std::cout << refusals << " allocations were refused; after " << sessionsContinued
                  << " of them the session went on" << std::endl;
    }

    static const Dialogue& dialogue() { return std::get<Dialogue>(GetParam()); }
    static const Situation& situation() { return std::get<Situation>(GetParam()); }

    /// A line and a scanner as they are in the situation.
    static FaultyLine makeLine(const std::string& port, const Situation& situation) {
        simulator::ScannerConfig config = smallScanner();
        config.faults = simulator::parseFaultScript(situation.faults);
        std::optional<LineFault> fault;
        if (situation.unpluggedAt) {
            fault = {FaultKind::unplug, Lane::toHost, *situation.unpluggedAt};
        }
        return FaultyLine(port, config, fault);
    }

    static Outcome runIn(const Situation& situation, Host& host) {
        FaultyLine line = makeLine("with memory", situation);
        return dialogue().run(host, line);
    }

    /// The end of the dialogue when there is memory.
    static Outcome outcomeIn(const Situation& situation) {
        const LibraryBlocks blocks;
        Outcome outcome;
        {
            Host host;
            outcome = runIn(situation, host);
        }
        EXPECT_TRUE(blocks.areGivenBack());
        return outcome;
    }

    struct Run {
        Outcome outcome;
        bool refused = false;
        bool portThreadRefused = false;
    };

    static Run runRefusing(Host& host, std::size_t allocation, Extent extent) {
        FaultyLine line = makeLine("refusing", situation());
        Run run;
        {
            const AllocationRefusal refusal(allocation, Threads::all, extent);
            run.outcome = dialogue().run(host, line);
            run.refused = refusal.happened();
            run.portThreadRefused = refusal.struckPortThread();
            if (run.refused && extent == Extent::fromThenOn) {
                expectNothingToSucceed(host, line);
            }
        }
        if (extent == Extent::once && run.outcome.failure == outOfMemory) {
            expectSessionToGoOn(host);
        }
        return run;
    }

    /// How many the dialogue makes when none is refused. A stream may make some more.
    static std::size_t allocationsMade() {
        const LibraryBlocks blocks;
        std::size_t made = 0;
        {
            Host host;
            FaultyLine line = makeLine("counting", situation());
            const AllocationRefusal none(std::numeric_limits<std::size_t>::max(), Threads::all);
            dialogue().run(host, line);
            made = none.count();
        }
        EXPECT_TRUE(blocks.areGivenBack());
        return made;
    }

    static void expectNothingToSucceed(Host& host, FaultyLine& line) {
        host.disconnect();
        host.forgetWhatCame();
        EXPECT_EQ(dialogue().run(host, line).failure, outOfMemory);
    }

    /// Where a call and not a worker has failed, nothing is under way on the line.
    static void expectSessionToGoOn(Host& host) {
        constexpr ridgeDeviceSettings settings{1, 0};
        if (situation().isHarmless() && host.failures().empty() &&
            ridgeIsConnected(host.context()) != 0) {
            EXPECT_EQ(ridgeSettingsSet(host.context(), &settings), RIDGE_SUCCESS);
            ++sessionsContinued;
        }
    }

    /// With memory the context can be used again.
    static void expectDialogueToSucceed(Host& host, const Outcome& expected) {
        host.disconnect();
        host.forgetWhatCame();
        EXPECT_EQ(runIn(undisturbed(), host), expected);
    }

    struct Expected {
        Outcome undisturbed;
        Outcome inSituation;
    };

    /// False when the dialogue needs fewer allocations, or something is wrong.
    static bool refuse(std::size_t allocation, Extent extent, const Expected& expected) {
        SCOPED_TRACE("allocation " + std::to_string(allocation));
        const LibraryBlocks blocks;
        Run run;
        {
            Host host;
            run = runRefusing(host, allocation, extent);
            expectDialogueToSucceed(host, expected.undisturbed);
        }
        EXPECT_TRUE(run.outcome.receivedBeginningOf(expected.undisturbed));
        const bool refused = run.refused && !isBeyondTheDialogue(run, expected);
        if (refused) {
            ++refusals;
            EXPECT_TRUE(isEndWithoutMemory(run, expected.inSituation))
                << testing::PrintToString(run.outcome);
        }
        EXPECT_TRUE(blocks.areGivenBack());
        return refused && !HasFailure();
    }

    /// A stream goes on after the dialogue has seen all that it waits for.
    static bool isBeyondTheDialogue(const Run& run, const Expected& expected) {
        return dialogue().name.find("Stream") != std::string::npos &&
               run.outcome == expected.undisturbed;
    }

    /// A packet for which the port's thread had no memory is lost on the way, and its command times
    /// out; so does one on a line that dies. A log line is lost, and nothing else. What fails in
    /// the situation may have failed before.
    static bool isEndWithoutMemory(const Run& run, const Outcome& ofSituation) {
        const ReceivedFailure& failure = run.outcome.failure;
        const bool unplugged = situation().unpluggedAt.has_value();
        if (isTimeout(failure, dialogue().commands)) {
            return unplugged || run.portThreadRefused;
        }
        const bool mayBeOfSituation =
            situation().logged || ofSituation.failure.status != RIDGE_SUCCESS;
        return failure == outOfMemory ||
               (unplugged && isPortFailure(failure, run.outcome.teller)) ||
               (mayBeOfSituation && run.outcome == ofSituation);
    }

    /// Refuses the first allocation, the second, ... until the dialogue needs no more.
    static void refuseEachAllocation(Extent extent) {
        const Expected expected{outcomeIn(undisturbed()), outcomeIn(situation())};
        ASSERT_EQ(expected.undisturbed.failure, (ReceivedFailure{RIDGE_SUCCESS, ""}));
        std::optional<InstalledLogger> logger;
        if (situation().logged) {
            logger.emplace();
        }
        const int continuedBefore = sessionsContinued;
        const std::size_t made = allocationsMade();
        std::size_t allocation = 1;
        // A stream whose log line is lost looks like one that has not needed the allocation.
        while (refuse(allocation, extent, expected) || (allocation < made && !HasFailure())) {
            ++allocation;
        }
        EXPECT_GT(allocation, 1U);
        // A connect that fails leaves no session that could go on.
        if (extent == Extent::once && situation().isHarmless() &&
            !dialogue().name.starts_with("Connect")) {
            EXPECT_GT(sessionsContinued, continuedBefore);
        }
    }

    inline static int refusals = 0;
    inline static int sessionsContinued = 0;

private:
    const CodeScope scope{Code::surroundings};
};

TEST_P(EachDialogueWithoutMemory, OneAllocationRefused_EndsWithStatus4OrATimeout) {
    refuseEachAllocation(Extent::once);
}

TEST_P(EachDialogueWithoutMemory, AllAllocationsRefusedFromOneOn_EndsWithStatus4OrATimeout) {
    refuseEachAllocation(Extent::fromThenOn);
}

std::string nameOf(const testing::TestParamInfo<std::tuple<Dialogue, Situation>>& info) {
    return std::get<Dialogue>(info.param).name + std::get<Situation>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(Memory, EachDialogueWithoutMemory,
                         testing::Combine(testing::ValuesIn(allDialogues()),
                                          testing::ValuesIn(allSituations())),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(MemorySameOnTheLine, EachDialogueWithoutMemory,
                         testing::Combine(testing::ValuesIn(sameOnTheLine()),
                                          testing::ValuesIn(allSituations())),
                         nameOf);

} // namespace
} // namespace ridge::test
