#include "errorboundary.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

namespace ridge {
namespace {

class ErrorBoundaryTest : public testing::Test {
protected:
    ErrorBoundaryTest() { context.lastError = "text of an earlier failure"; }

    ridgeDeviceContext context;
};

TEST_F(ErrorBoundaryTest, Success_ReturnsTheWorksCodeAndKeepsTheEarlierText) {
    EXPECT_EQ(withinBoundary(context, [] { return 0; }), 0);
    EXPECT_EQ(context.lastError, "text of an earlier failure");
}

TEST_F(ErrorBoundaryTest, CodeReturnedByTheWork_PassesThroughWithItsText) {
    EXPECT_EQ(withinBoundary(context, [this] { return fail(context, 12, "Capture is active."); }),
              12);
    EXPECT_EQ(context.lastError, "Capture is active.");
}

TEST_F(ErrorBoundaryTest, RidgeException_BecomesItsCodeAndItsText) {
    const std::int32_t code = withinBoundary(context, []() -> std::int32_t {
        throw RIDGE_EXCEPTION(9, "%s: Missing response data", "GET DEVICE INFO");
    });
    EXPECT_EQ(code, 9);
    EXPECT_EQ(context.lastError, "GET DEVICE INFO: Missing response data");
}

TEST_F(ErrorBoundaryTest, RidgeExceptionOfThePort_BecomesStatus5WithTheTextAsGiven) {
    const std::int32_t code = withinBoundary(
        context, []() -> std::int32_t { throw RIDGE_EXCEPTION(std::string("100 % failed.\r\n")); });
    EXPECT_EQ(code, 5);
    EXPECT_EQ(context.lastError, "100 % failed.\r\n");
}

TEST_F(ErrorBoundaryTest, OtherStandardException_BecomesStatus4WithItsText) {
    const std::int32_t code = withinBoundary(
        context, []() -> std::int32_t { throw std::out_of_range("invalid vector<T> subscript"); });
    EXPECT_EQ(code, 4);
    EXPECT_EQ(context.lastError, "invalid vector<T> subscript");
}

TEST_F(ErrorBoundaryTest, AllocationFailure_BecomesStatus4WithItsText) {
    const std::int32_t code =
        withinBoundary(context, []() -> std::int32_t { throw std::bad_alloc(); });
    EXPECT_EQ(code, 4);
    EXPECT_EQ(context.lastError, std::bad_alloc().what());
}

TEST_F(ErrorBoundaryTest, AnythingElse_BecomesStatus4UnknownError) {
    const std::int32_t code = withinBoundary(context, []() -> std::int32_t { throw 42; });
    EXPECT_EQ(code, 4);
    EXPECT_EQ(context.lastError, "Unknown error");
}

TEST_F(ErrorBoundaryTest, EmptyText_ReplacesTheEarlierOne) {
    EXPECT_EQ(
        withinBoundary(context, []() -> std::int32_t { throw RIDGE_EXCEPTION(std::string()); }), 5);
    EXPECT_EQ(context.lastError, "");
}

TEST_F(ErrorBoundaryTest, Report_WritesTextAndReturnsCode) {
    EXPECT_EQ(report(context, 13, "PING: Failed (49) with error 5. ok"), 13);
    EXPECT_EQ(context.lastError, "PING: Failed (49) with error 5. ok");
}

} // namespace
} // namespace ridge
