#include "currentthread.h"

#include <gtest/gtest.h>

#include <thread>

#include <windows.h>

namespace ridge::test {
namespace {

TEST(CurrentThread, Identifier_IsTheSystems) {
    EXPECT_EQ(currentThreadId(), GetCurrentThreadId());
}

TEST(CurrentThread, OtherThread_HasAnotherIdentifier) {
    std::uint32_t other = 0;
    std::thread([&] { other = currentThreadId(); }).join();
    EXPECT_NE(other, 0U);
    EXPECT_NE(other, currentThreadId());
}

} // namespace
} // namespace ridge::test
