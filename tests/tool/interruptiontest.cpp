#include "interruption.h"
#include "commanderror.h"

#include <gtest/gtest.h>

namespace ridge::tool {

TEST(Interruption, Request_WakesTheSubscriber) {
    Interruption interruption;
    int calls = 0;
    const Interruption::Subscription subscription(interruption, [&] { ++calls; });
    EXPECT_EQ(calls, 0);
    interruption.request();
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(interruption.requested());
}

TEST(Interruption, RequestBeforeTheSubscription_WakesAtOnce) {
    Interruption interruption;
    interruption.request();
    int calls = 0;
    const Interruption::Subscription subscription(interruption, [&] { ++calls; });
    EXPECT_EQ(calls, 1);
}

TEST(Interruption, SubscriptionThatEnded_IsNotCalled) {
    Interruption interruption;
    int calls = 0;
    {
        const Interruption::Subscription subscription(interruption, [&] { ++calls; });
    }
    interruption.request();
    EXPECT_EQ(calls, 0);
}

TEST(Interruption, ThrowIfRequested_ThrowsOnlyThen) {
    Interruption interruption;
    EXPECT_NO_THROW(interruption.throwIfRequested());
    interruption.request();
    EXPECT_THROW(interruption.throwIfRequested(), Interrupted);
}

} // namespace ridge::tool
