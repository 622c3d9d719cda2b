#include "linepacer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

namespace ridge::simulator::test {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::seconds;

TEST(LinePacer, Byte_TakesTenBits) {
    LinePacer pacer(10000);
    pacer.queue(2, Time(0));
    EXPECT_EQ(pacer.nextDeadline(), microseconds(1000));
    EXPECT_EQ(pacer.take(microseconds(999)), 0U);
    EXPECT_EQ(pacer.take(microseconds(1000)), 1U);
    EXPECT_EQ(pacer.nextDeadline(), microseconds(2000));
    EXPECT_EQ(pacer.take(microseconds(5000)), 1U);
    EXPECT_EQ(pacer.nextDeadline(), std::nullopt);
}

TEST(LinePacer, Deadline_IsRoundedUpToTheNextNanosecond) {
    LinePacer pacer(115200);
    pacer.queue(1, Time(0));
    // 10 bits at 115200 are 86805.55... ns.
    EXPECT_EQ(pacer.nextDeadline(), Time(86806));
    EXPECT_EQ(pacer.take(Time(86805)), 0U);
    EXPECT_EQ(pacer.take(Time(86806)), 1U);
}

TEST(LinePacer, AnHourAt115200_HasNoDrift) {
    LinePacer pacer(115200);
    constexpr std::size_t bytesPerHour = 11520UL * 3600UL;
    pacer.queue(bytesPerHour, Time(7));
    std::size_t taken = 0;
    while (pacer.pending() > 1) {
        const Time deadline = pacer.nextDeadline(4096).value();
        taken += pacer.take(deadline);
    }
    EXPECT_EQ(taken + pacer.take(hours(1) + Time(6)), bytesPerHour - (pacer.pending()));
    pacer.take(hours(1) + Time(7));
    EXPECT_EQ(pacer.pending(), 0U);
}

TEST(LinePacer, EveryDeadline_ReleasesExactlyItsSlice) {
    LinePacer pacer(115200);
    pacer.queue(1000, Time(123));
    std::size_t left = 1000;
    while (const auto deadline = pacer.nextDeadline(16)) {
        EXPECT_EQ(pacer.take(*deadline - Time(1)), left < 16 ? left - 1 : 15U);
        EXPECT_EQ(pacer.take(*deadline), 1U);
        left -= left < 16 ? left : 16U;
    }
    EXPECT_EQ(left, 0U);
}

TEST(LinePacer, BytesQueuedDuringABusyPeriod_FollowWithoutGap) {
    LinePacer pacer(10000);
    pacer.queue(1, Time(0));
    pacer.queue(1, microseconds(500));
    EXPECT_EQ(pacer.take(microseconds(1999)), 1U);
    EXPECT_EQ(pacer.take(microseconds(2000)), 1U);
}

TEST(LinePacer, IdleTime_IsNotSavedUp) {
    LinePacer pacer(10000);
    pacer.queue(1, Time(0));
    pacer.take(microseconds(1000));
    pacer.queue(1, seconds(10));
    EXPECT_EQ(pacer.take(seconds(10)), 0U);
    EXPECT_EQ(pacer.nextDeadline(), seconds(10) + microseconds(1000));
}

TEST(LinePacer, BytesTakenLate_GiveTheNextOnesNoHeadStart) {
    LinePacer pacer(10000);
    pacer.queue(1, Time(0));
    pacer.queue(2, seconds(10));
    EXPECT_EQ(pacer.pending(), 3U);
    EXPECT_EQ(pacer.take(seconds(10)), 1U);
    EXPECT_EQ(pacer.take(seconds(10) + microseconds(1000)), 1U);
}

TEST(LinePacer, BytesAlreadyAcross_AreDueAtOnce) {
    LinePacer pacer(10000);
    pacer.queue(1, Time(0));
    pacer.queue(2, seconds(10));
    EXPECT_EQ(pacer.nextDeadline(1), seconds(10));
    EXPECT_EQ(pacer.nextDeadline(2), seconds(10) + microseconds(1000));
}

TEST(LinePacer, Baud0_IsNotPaced) {
    LinePacer pacer(0);
    pacer.queue(140000, seconds(1));
    EXPECT_EQ(pacer.nextDeadline(16), seconds(1));
    EXPECT_EQ(pacer.take(seconds(1)), 140000U);
    pacer.queue(5, seconds(1));
    EXPECT_EQ(pacer.take(seconds(1)), 5U);
}

TEST(LinePacer, DaysOfBusyLine_DoNotOverflow) {
    LinePacer pacer(4'000'000'000U);
    pacer.queue(SIZE_MAX / 32, Time(0));
    EXPECT_EQ(pacer.take(hours(24)), 400'000'000ULL * 86400ULL);
}

TEST(LinePacer, Clear_DropsWhatIsUnderWay) {
    LinePacer pacer(10000);
    pacer.queue(3, Time(0));
    pacer.clear();
    EXPECT_EQ(pacer.pending(), 0U);
    EXPECT_EQ(pacer.take(seconds(1)), 0U);
}

} // namespace ridge::simulator::test
