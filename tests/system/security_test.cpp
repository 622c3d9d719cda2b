#include "childprocess.h"
#include "csrcaller.h"
#include "host.h"
#include "patience.h"
#include "simulatorprocess.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ridge::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* busyText = "Invalid state - command execution or capture is active!";

std::string text7(Host& host) {
    ridgeDeviceInfo info{};
    EXPECT_EQ(ridgeGetInfo(host.context(), &info), RIDGE_SUCCESS) << host.lastError();
    return info.text7;
}

Bytes certificateOf(Host& host) {
    std::uint8_t* certificate = nullptr;
    std::uint32_t size = 77;
    EXPECT_EQ(ridgeDeviceSecurityCertGet(host.context(), &certificate, &size), RIDGE_SUCCESS)
        << host.lastError();
    Bytes bytes(certificate, certificate + size);
    EXPECT_EQ(certificate == nullptr, bytes.empty());
    ridgeDeviceSecurityCertFree(certificate);
    return bytes;
}

/// The worker still runs for an instant after its callback has returned.
template <typename Call>
std::int32_t onceIdle(const Call& call) {
    std::int32_t status = RIDGE_PROTOCOL_ERROR;
    comesAbout([&] {
        status = call();
        return status != RIDGE_PROTOCOL_ERROR;
    });
    return status;
}

/// Where the check with another program's eyes finds a request.
void writeFile(const std::string& name, const Bytes& bytes) {
    std::ofstream file(name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file.good());
}

TEST(Security, KeyAndCertificate_ShowInTheInformationThatIsReadAnew) {
    SimulatorProcess scanner({"--baud", "0"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(text7(host), "key none, certificate none");
    const std::array<std::uint8_t, 32> key{1, 2, 3};
    EXPECT_EQ(ridgeDeviceSecuritySetKey(host.context(), key.data()), RIDGE_SUCCESS)
        << host.lastError();
    EXPECT_EQ(text7(host), "key set, certificate none");
    const Bytes certificate{0x30, 0x7E, 0x7D, 0x7F};
    EXPECT_EQ(ridgeDeviceSecurityCertSet(host.context(), certificate.data(), 4), RIDGE_SUCCESS)
        << host.lastError();
    EXPECT_EQ(text7(host), "key set, certificate set");
    EXPECT_EQ(ridgeDeviceSecurityClearKey(host.context()), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(text7(host), "key none, certificate set");
    EXPECT_EQ(ridgeDeviceSecurityCertClear(host.context()), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(text7(host), "key none, certificate none");
}

TEST(Security, Certificate_ComesBackAsItWasSet) {
    SimulatorProcess scanner({"--baud", "0"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    EXPECT_THAT(certificateOf(host), IsEmpty());
    Bytes certificate(6000);
    std::generate(certificate.begin(), certificate.end(),
                  [n = 0]() mutable { return static_cast<std::uint8_t>(n++); });
    EXPECT_EQ(ridgeDeviceSecurityCertSet(host.context(), certificate.data(), 6000), RIDGE_SUCCESS)
        << host.lastError();
    EXPECT_EQ(certificateOf(host), certificate);
    EXPECT_EQ(ridgeDeviceSecurityCertSet(host.context(), certificate.data(), 6001),
              RIDGE_INVALID_ARGUMENT);
    EXPECT_EQ(host.lastError(), "Invalid certificate size 6001.");
    EXPECT_EQ(certificateOf(host), certificate);
}

TEST(Security, WithoutSession_IsNotConnected) {
    Host host;
    EXPECT_EQ(ridgeDeviceSecurityClearKey(host.context()), RIDGE_NOT_CONNECTED);
    EXPECT_EQ(host.lastError(), "Not connected.");
    CsrCaller caller;
    EXPECT_EQ(caller.start(host), RIDGE_NOT_CONNECTED);
}

struct SecurityFault {
    std::string fault;
    std::int32_t status;
    std::string text;
};

class SecurityWithFault : public testing::TestWithParam<SecurityFault> {};

TEST_P(SecurityWithFault, FailsAsItShould) {
    SimulatorProcess scanner({"--baud", "0", "--fault", GetParam().fault});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    const std::array<std::uint8_t, 32> key{};
    EXPECT_EQ(ridgeDeviceSecuritySetKey(host.context(), key.data()), GetParam().status);
    EXPECT_EQ(host.lastError(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Security, SecurityWithFault,
    testing::Values(SecurityFault{"SET KEY: device-error:5:no", RIDGE_DEVICE_FAILURE,
                                  "SET KEY: Failed (32) with error 5. no"},
                    SecurityFault{"SET KEY: late-answer:60000", RIDGE_NO_RESPONSE,
                                  "Timeout setting device key."},
                    SecurityFault{"GET DEVICE INFO#2: device-error:5:busy", RIDGE_DEVICE_FAILURE,
                                  "GET DEVICE INFO: Failed (48) with error 5. busy"}),
    [](const auto& info) { return std::to_string(info.index); });

TEST(SigningRequest, IsGenuine) {
    SimulatorProcess scanner({"--baud", "0"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    CsrCaller caller;
    ASSERT_EQ(caller.start(host), RIDGE_SUCCESS) << host.lastError();
    const std::vector<Bytes> requests = caller.waitForRequest();
    ASSERT_THAT(requests, SizeIs(1));
    EXPECT_THAT(caller.failuresSoFar(), IsEmpty());
    writeFile("callback.der", requests[0]);
}

TEST(SigningRequest, OverAPacedLine_IsDeliveredToo) {
    SimulatorProcess scanner;
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    CsrCaller caller;
    ASSERT_EQ(caller.start(host), RIDGE_SUCCESS) << host.lastError();
    EXPECT_THAT(caller.waitForRequest(), SizeIs(1));
}

TEST(SigningRequest, ContextFreedOnceItsCallbackWasCalled_ClosesCleanly) {
    SimulatorProcess scanner({"--baud", "0"});
    for (int round = 0; round < 20; ++round) {
        CsrCaller caller;
        Host host;
        ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
        ASSERT_EQ(caller.start(host), RIDGE_SUCCESS) << host.lastError();
        EXPECT_THAT(caller.waitForRequest(), SizeIs(1));
    }
}

TEST(SigningRequest, AnswerAfterFiveSeconds_IsStillInTime) {
    SimulatorProcess scanner({"--baud", "0", "--fault", "CREATE CSR: late-answer:5000"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    CsrCaller caller;
    ASSERT_EQ(caller.start(host), RIDGE_SUCCESS) << host.lastError();
    EXPECT_THAT(caller.waitForRequest(), SizeIs(1));
}

class SigningRequestWithFault : public testing::TestWithParam<SecurityFault> {};

TEST_P(SigningRequestWithFault, FailsAsItShouldAndTheSessionGoesOn) {
    SimulatorProcess scanner({"--baud", "0", "--fault", GetParam().fault});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    CsrCaller caller;
    ASSERT_EQ(caller.start(host), RIDGE_SUCCESS) << host.lastError();
    EXPECT_THAT(caller.waitForFailure(),
                ElementsAre(ReceivedFailure{GetParam().status, GetParam().text}));
    EXPECT_THAT(caller.requestsSoFar(), IsEmpty());
    EXPECT_EQ(onceIdle([&] { return ridgeDeviceSecurityClearKey(host.context()); }), RIDGE_SUCCESS)
        << host.lastError();
}

INSTANTIATE_TEST_SUITE_P(
    SigningRequest, SigningRequestWithFault,
    testing::Values(SecurityFault{"CREATE CSR: no-answer", RIDGE_NO_RESPONSE,
                                  "Timeout creating CSR."},
                    SecurityFault{"CREATE CSR: device-error:5:no", RIDGE_DEVICE_FAILURE,
                                  "CREATE CSR: Failed (33) with error 5. no"},
                    SecurityFault{"CREATE CSR: empty-answer", RIDGE_NO_RESPONSE,
                                  "CREATE CSR: Missing response data"},
                    SecurityFault{"CREATE CSR: wrong-type:1", RIDGE_UNEXPECTED_RESPONSE,
                                  "CREATE CSR: Invalid response type 1."}),
    [](const auto& info) { return std::to_string(info.index); });

/// A signing request that the scanner takes its time for.
class DuringASigningRequest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
        ASSERT_EQ(caller.start(host), RIDGE_SUCCESS) << host.lastError();
        scanner.waitForReport("CREATE CSR");
    }

    /// The request ends with its own callbacks, whatever came between.
    void TearDown() override {
        EXPECT_THAT(caller.waitForRequest(), SizeIs(1));
        EXPECT_THAT(caller.failuresSoFar(), IsEmpty());
    }

    SimulatorProcess scanner{{"--baud", "0", "--fault", "CREATE CSR: late-answer:1500"}};
    CsrCaller caller;
    Host host;
};

TEST_F(DuringASigningRequest, Stop_ReturnsAtOnce) {
    ridgeStopCapture(host.context());
    EXPECT_EQ(host.lastError(), "");
    EXPECT_THAT(caller.requestsSoFar(), IsEmpty());
}

TEST_F(DuringASigningRequest, Capture_IsRefused) {
    EXPECT_EQ(host.startCapture(anyFinger), RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(host.lastError(), busyText);
    EXPECT_EQ(host.startStream(), RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(host.startHostAssistedCapture(anyFinger), RIDGE_PROTOCOL_ERROR);
    EXPECT_THAT(host.failures(), IsEmpty());
}

TEST_F(DuringASigningRequest, Settings_AreRefused) {
    const ridgeDeviceSettings settings{1, 0};
    EXPECT_EQ(ridgeSettingsSet(host.context(), &settings), RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(host.lastError(), busyText);
    ridgeDeviceSettings read{};
    EXPECT_EQ(ridgeSettingsGet(host.context(), &read), RIDGE_SUCCESS);
    EXPECT_EQ(ridgeIsConnected(host.context()), 1);
}

TEST_F(DuringASigningRequest, SecondOne_IsRefusedAndHearsNothing) {
    CsrCaller second;
    EXPECT_EQ(second.start(host), RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(host.lastError(), busyText);
    EXPECT_THAT(caller.waitForRequest(), SizeIs(1));
    EXPECT_THAT(second.requestsSoFar(), IsEmpty());
    EXPECT_THAT(second.failuresSoFar(), IsEmpty());
}

TEST_F(DuringASigningRequest, KeyAndCertificate_AreRefused) {
    const std::array<std::uint8_t, 32> key{};
    std::uint8_t* certificate = nullptr;
    std::uint32_t size = 77;
    EXPECT_EQ(ridgeDeviceSecuritySetKey(host.context(), key.data()), RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(ridgeDeviceSecurityClearKey(host.context()), RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(ridgeDeviceSecurityCertSet(host.context(), key.data(), 1), RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(ridgeDeviceSecurityCertClear(host.context()), RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(ridgeDeviceSecurityCertGet(host.context(), &certificate, &size),
              RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(host.lastError(), busyText);
    EXPECT_EQ(size, 77U);
}

TEST(SigningRequest, DuringACapture_IsRefusedAndTheCaptureGoesOn) {
    SimulatorProcess scanner({"--baud", "0"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
    CsrCaller caller;
    EXPECT_EQ(caller.start(host), RIDGE_PROTOCOL_ERROR);
    EXPECT_EQ(host.lastError(), busyText);
    EXPECT_EQ(host.waitForImages(1)[0].image.size(), 120000U);
    EXPECT_THAT(caller.requestsSoFar(), IsEmpty());
    EXPECT_THAT(caller.failuresSoFar(), IsEmpty());
}

TEST(SigningRequest, SessionReleasedWhileTheScannerCreatesIt_EndsTheProcess) {
    SimulatorProcess scanner({"--baud", "0", "--fault", "CREATE CSR: late-answer:60000"});
    for (const std::string way : {"disconnect", "free"}) {
        const ProgramResult host =
            runProgram("ridge-system-tests.exe", {"--release-during-csr", way, scanner.portName()});
        constexpr unsigned long aborted = 3;
        EXPECT_EQ(host.exitStatus, aborted) << host.output;
        EXPECT_NE(host.output.find("releasing\nSession released while a CSR is being created\n"),
                  std::string::npos)
            << host.output;
        EXPECT_EQ(host.output.find("\nreleased"), std::string::npos) << host.output;
    }
}

TEST(RidgeProgram, Csr_WritesARequest) {
    SimulatorProcess scanner({"--baud", "0"});
    const ProgramResult result =
        runProgram("ridge.exe", {"csr", "--cn", "Ann", "--c", "DE", "--l", "Town", "--o", "Firm",
                                 "--ou", "Unit", "--st", "State", "-o", "program.der"});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
}

TEST(RidgeProgram, KeyAndCertificate_AreManaged) {
    SimulatorProcess scanner({"--baud", "0"});
    writeFile("key.bin", Bytes(32, 0x1A));
    writeFile("certificate.bin", {0x0D, 0x0A, 0x1A, 0x00});
    const auto shows = [&](const std::string& text) {
        return runProgram("ridge.exe", {"info"}).output.find(text) != std::string::npos;
    };
    EXPECT_EQ(runProgram("ridge.exe", {"key", "set", "key.bin"}).exitStatus, 0UL);
    EXPECT_TRUE(shows("key set, certificate none"));
    EXPECT_EQ(runProgram("ridge.exe", {"cert", "get", "-o", "none.bin"}).exitStatus, 4UL);
    EXPECT_EQ(runProgram("ridge.exe", {"cert", "set", "certificate.bin"}).exitStatus, 0UL);
    EXPECT_TRUE(shows("key set, certificate set"));
    EXPECT_EQ(runProgram("ridge.exe", {"cert", "get", "-o", "copy.bin"}).exitStatus, 0UL);
    std::ifstream copy("copy.bin", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(copy), {}), std::string("\r\n\x1A\0", 4));
    EXPECT_EQ(runProgram("ridge.exe", {"key", "clear"}).exitStatus, 0UL);
    EXPECT_EQ(runProgram("ridge.exe", {"cert", "clear"}).exitStatus, 0UL);
    EXPECT_TRUE(shows("key none, certificate none"));
}

TEST(RidgeProgram, KeyFromStandardInput_IsTakenAsItIs) {
    SimulatorProcess scanner({"--baud", "0"});
    ChildProcess program("ridge.exe", {"key", "set", "-"}, [](const std::string&) {});
    program.writeLine("\r\n\x1A" + std::string(28, 'k'));
    program.endInput();
    EXPECT_EQ(program.wait(), 0UL);
}

} // namespace
} // namespace ridge::test
