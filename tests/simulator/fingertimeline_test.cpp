#include "fingertimeline.h"

#include <gtest/gtest.h>

#include <chrono>

namespace ridge::simulator::test {

using std::chrono::milliseconds;

TEST(FingerTimeline, ImageIsReady_AfterDelayAndAcquisition) {
    const FingerTimeline timeline(milliseconds(1000),
                                  {milliseconds(100), 0, milliseconds(200), milliseconds(50)});
    EXPECT_FALSE(timeline.imageReady(milliseconds(1149)));
    EXPECT_TRUE(timeline.imageReady(milliseconds(1150)));
}

TEST(FingerTimeline, EarlyLift_BringsTwoMoreEventsAndDelaysTheImage) {
    FingerTimeline timeline(Time(0), {milliseconds(100), 1, milliseconds(200), milliseconds(50)});
    EXPECT_EQ(timeline.imageTime(), milliseconds(550));
    EXPECT_FALSE(timeline.takeEvent(milliseconds(99)));
    EXPECT_TRUE(timeline.takeEvent(milliseconds(100)));
    EXPECT_FALSE(timeline.takeEvent(milliseconds(100)));
    EXPECT_EQ(timeline.nextEvent(), milliseconds(300));
    EXPECT_TRUE(timeline.takeEvent(milliseconds(300)));
    EXPECT_TRUE(timeline.takeEvent(milliseconds(500)));
    EXPECT_EQ(timeline.nextEvent(), std::nullopt);
}

TEST(FingerTimeline, FingerThatNeverComes_BringsNothing) {
    FingerTimeline timeline(Time(0), {std::nullopt, 3, milliseconds(200), milliseconds(50)});
    EXPECT_FALSE(timeline.takeEvent(Time::max()));
    EXPECT_FALSE(timeline.imageReady(Time::max()));
    EXPECT_EQ(timeline.imageTime(), std::nullopt);
}

} // namespace ridge::simulator::test
