// Each dialogue with one thing going wrong at each byte of the line.

#include "dialogues.h"
#include "documentedfailures.h"
#include "testextent.h"

#include <gtest/gtest.h>

#include <iostream>
#include <optional>
#include <string>

namespace ridge::test {
namespace {

constexpr unsigned bitsPerByte = 8;

class EachDialogue : public testing::TestWithParam<Dialogue> {
protected:
    static void TearDownTestSuite() {
        std::cout << dialoguesRun << " dialogues were run" << std::endl;
    }

    /// The dialogue on a line on which this goes wrong; null when the line ends before that place.
    struct Run {
        Outcome outcome;
        bool faultHappened = false;
        std::size_t longestBurst = 0;
    };

    Run runWith(std::optional<LineFault> fault, std::size_t pieceSize = 0) {
        FaultyLine line("faulty", smallScanner(), fault, pieceSize);
        Host host;
        Run run;
        ++dialoguesRun;
        run.outcome = GetParam().run(host, line);
        run.faultHappened = line.faultHappened();
        run.longestBurst = line.longestBurst();
        expectFreshConnectToWork(host);
        return run;
    }

    /// Whatever went wrong, the context can be used again.
    static void expectFreshConnectToWork(Host& host) {
        host.disconnect();
        FaultyLine line("fresh", smallScanner());
        EXPECT_EQ(host.connect("fresh"), RIDGE_SUCCESS) << host.lastError();
    }

    inline static int dialoguesRun = 0;

    Outcome undisturbed() { return runWith(std::nullopt).outcome; }

    static const CommandNames& commands() { return GetParam().commands; }

    /// Lets the fault strike each byte in turn until the dialogue ends before it. What arrives must
    /// be what arrives undisturbed, or a beginning of it and a failure that has its own words.
    /// Neighbouring bytes lose different bits: each of them, when all bits have had their round.
    template <typename Check>
    void strikeEachByte(LineFault fault, const Check& check) {
        const unsigned firstBit = fault.bit;
        for (fault.offset = 0;; ++fault.offset) {
            fault.bit = (firstBit + static_cast<unsigned>(fault.offset)) % bitsPerByte;
            SCOPED_TRACE("lane " + std::to_string(static_cast<int>(fault.lane)) + ", byte " +
                         std::to_string(fault.offset) + ", bit " + std::to_string(fault.bit));
            const Run run = runWith(fault);
            if (!run.faultHappened) {
                return;
            }
            check(run.outcome);
        }
    }
};

TEST_P(EachDialogue, Undisturbed_Succeeds) {
    const Outcome outcome = undisturbed();
    EXPECT_EQ(outcome.failure, (ReceivedFailure{RIDGE_SUCCESS, ""}));
    EXPECT_FALSE(outcome.received.empty());
}

TEST_P(EachDialogue, InPiecesOfAnySize_IsTheSame) {
    const Run whole = runWith(std::nullopt);
    for (std::size_t piece = 1; piece <= whole.longestBurst; ++piece) {
        EXPECT_EQ(runWith(std::nullopt, piece).outcome, whole.outcome) << piece;
    }
}

TEST_P(EachDialogue, UnpluggedAtAnyByteToTheScanner_EndsWithAFailureOfThePort) {
    const Outcome expected = undisturbed();
    strikeEachByte({FaultKind::unplug, Lane::toScanner}, [&](const Outcome& outcome) {
        EXPECT_TRUE(outcome.receivedBeginningOf(expected));
        EXPECT_TRUE(outcome == expected || isPortFailure(outcome.failure, outcome.teller))
            << testing::PrintToString(outcome);
    });
}

TEST_P(EachDialogue, UnpluggedAtAnyByteToTheHost_EndsWithAFailureOfThePortOrATimeout) {
    const Outcome expected = undisturbed();
    strikeEachByte({FaultKind::unplug, Lane::toHost}, [&](const Outcome& outcome) {
        EXPECT_TRUE(outcome.receivedBeginningOf(expected));
        EXPECT_TRUE(outcome == expected || isPortFailure(outcome.failure, outcome.teller) ||
                    isTimeout(outcome.failure, commands()))
            << testing::PrintToString(outcome);
    });
}

TEST_P(EachDialogue, AnyByteDroppedOrDoubled_DeliversNothingWrong) {
    const Outcome expected = undisturbed();
    for (const Lane lane : {Lane::toScanner, Lane::toHost}) {
        for (const FaultKind kind : {FaultKind::drop, FaultKind::doubled}) {
            strikeEachByte({kind, lane}, [&](const Outcome& outcome) {
                EXPECT_TRUE(outcome.receivedBeginningOf(expected));
                EXPECT_TRUE(outcome == expected || isDocumentedFailure(outcome.failure, commands()))
                    << testing::PrintToString(outcome);
            });
        }
    }
}

TEST_P(EachDialogue, AnyBitFlipped_DeliversNothingWrong) {
    const Outcome expected = undisturbed();
    for (const Lane lane : {Lane::toScanner, Lane::toHost}) {
        for (unsigned round = 0; round < testExtent(1U, bitsPerByte); ++round) {
            strikeEachByte({FaultKind::flip, lane, 0, round}, [&](const Outcome& outcome) {
                EXPECT_TRUE(outcome.receivedBeginningOf(expected));
                EXPECT_TRUE(outcome == expected || isDocumentedFailure(outcome.failure, commands()))
                    << testing::PrintToString(outcome);
            });
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Line, EachDialogue, testing::ValuesIn(allDialogues()),
                         [](const testing::TestParamInfo<Dialogue>& info) {
                             return info.param.name;
                         });

} // namespace
} // namespace ridge::test
