#include "hostedscanner.h"

#include <functional>
#include <utility>
#include <vector>

namespace ridge::test {
namespace {

class Connection : public HostedScanner {};

TEST_F(Connection, Info_IsWhatTheScannerSays) {
    connect();
    const ScannerInfo info = scanner->info();
    EXPECT_EQ(info.text1, "Ridge Scanner");
    EXPECT_EQ(info.text2, attachment->serialNumber());
    EXPECT_EQ(info.text3, "2.4.1");
    EXPECT_EQ(info.text4, "C");
    EXPECT_EQ(info.text5, "1.0.2");
    EXPECT_EQ(info.text6, "2024-03");
    EXPECT_EQ(info.text7, "key none, certificate none");
    EXPECT_EQ(info.value1, 300);
    EXPECT_EQ(info.value2, 400);
    EXPECT_EQ(info.features, 0x1FU);
}

TEST_F(Connection, Info_StaysAsItWasWhenTheScannerHasChanged) {
    connect();
    const ScannerInfo before = scanner->info();
    scanner->setKey({1, 2, 3});
    scanner->disconnect();
    EXPECT_EQ(before.text7, "key none, certificate none");
}

TEST_F(Connection, SettingsThatAreWritten_AreReadByTheNextConnection) {
    connect();
    scanner->setSettings({2, true});
    EXPECT_EQ(scanner->settings().rotation, 0);
    EXPECT_FALSE(scanner->settings().option);
    scanner->disconnect();
    scanner->connect(attachment->portName());
    EXPECT_EQ(scanner->settings().rotation, 2);
    EXPECT_TRUE(scanner->settings().option);
}

TEST_F(Connection, RotationThatIsNone_IsRefused) {
    connect();
    EXPECT_EQ(failureOf([&] {
                  scanner->setSettings({4, false});
              }),
              (Failure{Status::invalidArgument, "Invalid rotation angle 4."}));
}

TEST_F(Connection, SecondConnect_IsRefusedAndTheFirstGoesOn) {
    connect();
    EXPECT_EQ(failureOf([&] { scanner->connect(attachment->portName()); }),
              (Failure{Status::contextInUse, "Context in use."}));
    EXPECT_TRUE(scanner->isConnected());
    expectUsable();
}

TEST_F(Connection, EmptyPortName_IsRefused) {
    Scanner unconnected;
    EXPECT_EQ(failureOf([&] { unconnected.connect(""); }),
              (Failure{Status::nullArgument, "'comPort' cannot be NULL or empty."}));
    EXPECT_FALSE(unconnected.isConnected());
}

TEST_F(Connection, Disconnected_CanBeConnectedAgain) {
    connect();
    scanner->disconnect();
    EXPECT_FALSE(scanner->isConnected());
    scanner->connect(attachment->portName());
    EXPECT_TRUE(scanner->isConnected());
    expectUsable();
}

TEST(NotConnected, StopAndDisconnect_DoNothing) {
    Scanner scanner;
    scanner.stop();
    scanner.disconnect();
    EXPECT_FALSE(scanner.isConnected());
    EXPECT_FALSE(scanner.giveVerdict(Verdict::accept));
}

TEST(NotConnected, EverythingElse_IsRefused) {
    Scanner scanner;
    const auto ignore = [](const Image&) {};
    const auto accept = [](const Image&) { return Verdict::accept; };
    const StopSource stop;
    const std::vector<std::function<void()>> calls{
        [&] { static_cast<void>(scanner.info()); },
        [&] { static_cast<void>(scanner.settings()); },
        [&] { scanner.setSettings({}); },
        [&] { scanner.capture(); },
        [&] { static_cast<void>(scanner.captureAsync()); },
        [&] { scanner.captureAssisted(accept); },
        [&] { static_cast<void>(scanner.captureAssistedAsync(accept)); },
        [&] { scanner.stream(ignore, stop.token()); },
        [&] { static_cast<void>(scanner.streamAsync(ignore)); },
        [&] { scanner.setKey({}); },
        [&] { scanner.clearKey(); },
        [&] { static_cast<void>(scanner.certificate()); },
        [&] { scanner.setCertificate({1}); },
        [&] { scanner.clearCertificate(); },
        [&] {
            static_cast<void>(scanner.createSigningRequest({"Ann", "", "", "", "", ""}));
        },
        [&] {
            static_cast<void>(scanner.createSigningRequestAsync({"Ann", "", "", "", "", ""}));
        }};
    for (std::size_t index = 0; index < calls.size(); ++index) {
        EXPECT_EQ(failureOf(calls[index]), (Failure{Status::notConnected, "Not connected."}))
            << "call " << index;
    }
}

TEST_F(Connection, ScannerThatIsUnplugged_EndsTheStreamAndCanBeConnectedAnew) {
    connect();
    std::future<void> first;
    std::promise<void> started;
    bool told = false;
    std::future<void> stream = scanner->streamAsync([&](const Image&) {
        if (!std::exchange(told, true)) {
            started.set_value();
        }
    });
    first = started.get_future();
    resultOf(first);
    attachment->unplug();
    EXPECT_THROW(resultOf(stream), Error);
    EXPECT_THROW(scanner->setSettings({}), Error);
    attachment->plug();
    scanner->disconnect();
    scanner->connect(attachment->portName());
    expectUsable();
}

TEST(SdkVersion, IsTheLibrarysVersion) {
    EXPECT_EQ(sdkVersion(), RIDGE_EXPECTED_VERSION);
}

} // namespace
} // namespace ridge::test
