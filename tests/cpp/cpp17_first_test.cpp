// The C++ header in C++17, in two source files of one program: this one and cpp17_second.cpp.

#include "ridge-sdk.hpp"

#include "cpp17_second.h"

#include <gtest/gtest.h>

#include <type_traits>

static_assert(__cplusplus == 201703L, "compiled as what it is to be fit for");
static_assert(std::is_nothrow_move_constructible<ridge::Scanner>::value, "");
static_assert(std::is_nothrow_move_assignable<ridge::Scanner>::value, "");
static_assert(!std::is_copy_constructible<ridge::Scanner>::value, "");
static_assert(std::is_nothrow_move_constructible<ridge::CapturedImage>::value, "");
static_assert(std::is_copy_constructible<ridge::Device>::value, "");

namespace ridge::test {
namespace {

TEST(Cpp17, Scanner_ThrowsWhatTheLibrarySays) {
    Scanner scanner;
    try {
        scanner.capture();
        FAIL() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), Status::notConnected);
        EXPECT_STREQ(error.what(), "Not connected.");
    }
}

TEST(Cpp17, LogReceiver_IsReplacedByOneOfAnotherSourceFile) {
    int lines = 0;
    const auto count = [&](LogLevel, std::string_view) { ++lines; };
    auto older = std::make_unique<LogReceiver>(LogLevel::debug, count);
    const auto newer = makeLogReceiver(count);
    older.reset();
    ridgeStartStream(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(lines, 1);
}

TEST(Cpp17, StopSource_StopsATokenOfAnotherSourceFile) {
    const StopSource stop;
    EXPECT_FALSE(isStopRequested(stop.token()));
    stop.requestStop();
    EXPECT_TRUE(isStopRequested(stop.token()));
}

} // namespace
} // namespace ridge::test
