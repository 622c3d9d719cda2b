#include "ridgedevice.h"

#include "allocations.h"
#include "fakefactory.h"
#include "longfailure.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ridge {
namespace {

using test::AllocationRefusal;
using test::Extent;
using test::FakeFactory;
using test::LongFailure;
using test::Threads;

/// A failure whose text fits into a string object.
class ShortFailure final : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "short"; }
};

/// Keeps the last failure that a worker reports, and lets memory be refused until then.
class FailureListener final : public CaptureListener {
public:
    bool isEventEnabled() override { return false; }
    void onCaptureComplete(bool, bool, bool, std::uint16_t, std::uint16_t,
                           const std::vector<std::uint8_t>&, std::uint8_t,
                           const std::vector<std::uint8_t>&) override {}
    void onCaptureEvent(std::uint32_t) override {}

    void onError(std::int32_t failureCode, const std::string& failureText) override {
        refused = refusal->happened();
        refusal.reset();
        code = failureCode;
        text = failureText;
    }

    std::optional<AllocationRefusal> refusal;
    bool refused = false;
    std::int32_t code = 0;
    std::string text;
};

class WorkerFailureWithoutMemory : public testing::TestWithParam<Extent> {
protected:
    /// Starts a capture whose first command fails, on the worker's thread, from when on memory is
    /// refused, and waits for its end.
    void captureThatFailsWith(std::function<void()> failure) {
        factory.script.during("startCapture", [this, failure = std::move(failure)] {
            listener.refusal.emplace(1, Threads::current, GetParam());
            failure();
        });
        RidgeDevice device("COM3", factory);
        device.startCapture(0, 0, 0, nullptr, listener);
        device.stopCapture();
    }

    FakeFactory factory;
    FailureListener listener;
};

TEST_P(WorkerFailureWithoutMemory, WithALongText_IsReportedAsStatus4WithTheShortText) {
    captureThatFailsWith([] { throw LongFailure(); });
    EXPECT_TRUE(listener.refused);
    EXPECT_EQ(listener.code, 4);
    EXPECT_EQ(listener.text, std::bad_alloc().what());
}

TEST_P(WorkerFailureWithoutMemory, WithAShortText_IsReportedAsItIs) {
    captureThatFailsWith([] { throw ShortFailure(); });
    EXPECT_FALSE(listener.refused);
    EXPECT_EQ(listener.code, 4);
    EXPECT_EQ(listener.text, "short");
}

INSTANTIATE_TEST_SUITE_P(Extents, WorkerFailureWithoutMemory,
                         testing::Values(Extent::once, Extent::fromThenOn));

} // namespace
} // namespace ridge
