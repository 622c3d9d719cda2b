// Captures and streams that are ended at any moment, in any way, by one host and by several.

#include "restlesshost.h"
#include "simulatedline.h"
#include "testextent.h"

#include <gtest/gtest.h>

#include <exception>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ridge::test {
namespace {

constexpr std::uint32_t width = 24;
constexpr std::uint32_t height = 10;

simulator::ScannerConfig smallScanner() {
    simulator::ScannerConfig config;
    config.images = {{width, height, std::vector<std::uint8_t>(width * height, 0x55)}};
    config.streamReduction = 1;
    return config;
}

/// What all hosts of a race have met.
class Meetings {
public:
    void add(const RestlessHost::Met& met) {
        const std::lock_guard lock(mutex);
        total.captured += met.captured;
        total.assisted += met.assisted;
        total.streamed += met.streamed;
        total.verdicts += met.verdicts;
    }

    /// To be asked when the hosts have gone.
    [[nodiscard]] const RestlessHost::Met& all() const { return total; }

private:
    std::mutex mutex;
    RestlessHost::Met total;
};

void race(std::uint32_t number, int rounds, Meetings& meetings) {
    const std::string port = "simulated" + std::to_string(number);
    try {
        SimulatedLine line(port, smallScanner());
        {
            RestlessHost host(port, number);
            for (int round = 0; round < rounds; ++round) {
                const std::string complaint = host.startAndEnd();
                ASSERT_EQ(complaint, "") << "host " << number << ", round " << round;
                if (round % 100 == 99) {
                    ASSERT_EQ(host.captureOnce(), width * height)
                        << "host " << number << ", round " << round;
                }
            }
            meetings.add(host.met());
        }
        EXPECT_EQ(line.line().openPorts(), 0);
    } catch (const std::exception& failure) {
        ADD_FAILURE() << "host " << number << ": " << failure.what();
    }
}

class StartStop : public testing::TestWithParam<std::uint32_t> {};

TEST_P(StartStop, AtAnyMoment_LeavesSessionsThatCapture) {
    const int rounds = testExtent(1500, 100000) / static_cast<int>(GetParam());
    Meetings meetings;
    std::vector<std::thread> hosts;
    for (std::uint32_t number = 0; number < GetParam(); ++number) {
        hosts.emplace_back([number, rounds, &meetings] { race(number, rounds, meetings); });
    }
    for (std::thread& host : hosts) {
        host.join();
    }
    // A stream's end met it running; the others may have been over.
    EXPECT_GT(meetings.all().captured, 0U);
    EXPECT_GT(meetings.all().assisted, 0U);
    EXPECT_GT(meetings.all().streamed, 0U);
    EXPECT_GT(meetings.all().verdicts, 0U);
    std::cout << meetings.all().captured << " captured, " << meetings.all().assisted
              << " assisted and " << meetings.all().streamed << " streamed images came, "
              << meetings.all().verdicts << " verdicts were given" << std::endl;
}

INSTANTIATE_TEST_SUITE_P(Hosts, StartStop, testing::Values(1, 2, 8),
                         [](const testing::TestParamInfo<std::uint32_t>& parameter) {
                             return std::to_string(parameter.param);
                         });

} // namespace
} // namespace ridge::test
