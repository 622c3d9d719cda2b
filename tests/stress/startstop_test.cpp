// Captures and streams that are ended at any moment, in any way, by one host and by several.

#include "restlesshost.h"
#include "simulatedline.h"
#include "testextent.h"

#include <gtest/gtest.h>

#include <exception>
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

void race(std::uint32_t number, int rounds) {
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
            EXPECT_GT(host.callbacks(), 0U);
        }
        EXPECT_EQ(line.line().openPorts(), 0);
    } catch (const std::exception& failure) {
        ADD_FAILURE() << "host " << number << ": " << failure.what();
    }
}

class StartStop : public testing::TestWithParam<std::uint32_t> {};

TEST_P(StartStop, AtAnyMoment_LeavesSessionsThatCapture) {
    const int rounds = testExtent(3000, 100000) / static_cast<int>(GetParam());
    std::vector<std::thread> hosts;
    for (std::uint32_t number = 0; number < GetParam(); ++number) {
        hosts.emplace_back([number, rounds] { race(number, rounds); });
    }
    for (std::thread& host : hosts) {
        host.join();
    }
}

INSTANTIATE_TEST_SUITE_P(Hosts, StartStop, testing::Values(1, 2, 8),
                         [](const testing::TestParamInfo<std::uint32_t>& parameter) {
                             return std::to_string(parameter.param);
                         });

} // namespace
} // namespace ridge::test
