#include "hostedscanner.h"

#include <string>

namespace ridge::test {
namespace {

class Security : public HostedScanner {};

const SubjectName ann{"Ann", "DE", "Town", "Firm & Sons", "Unit", "State"};

TEST_F(Security, KeyThatIsSetAndCleared_ShowsInTheInformation) {
    connect();
    scanner->setKey({1, 2, 3});
    EXPECT_EQ(scanner->info().text7, "key set, certificate none");
    scanner->clearKey();
    EXPECT_EQ(scanner->info().text7, "key none, certificate none");
}

TEST_F(Security, Certificate_IsReadAsItWasWritten) {
    connect();
    EXPECT_EQ(scanner->certificate(), Bytes());
    const Bytes certificate{0x30, 0x7E, 0x7D, 0x7F};
    scanner->setCertificate(certificate);
    EXPECT_EQ(scanner->certificate(), certificate);
    scanner->clearCertificate();
    EXPECT_EQ(scanner->certificate(), Bytes());
}

TEST_F(Security, CertificateOfAWrongSize_IsRefused) {
    connect();
    EXPECT_EQ(failureOf([&] { scanner->setCertificate({}); }),
              (Failure{Status::invalidArgument, "Invalid certificate size 0."}));
    EXPECT_EQ(failureOf([&] { scanner->setCertificate(Bytes(6001)); }),
              (Failure{Status::invalidArgument, "Invalid certificate size 6001."}));
}

TEST_F(Security, SigningRequest_IsReturned) {
    connect();
    const Bytes request = scanner->createSigningRequest(ann);
    ASSERT_GT(request.size(), 1U);
    EXPECT_EQ(request.front(), 0x30);
}

TEST_F(Security, AsSoonAsASigningRequestIsThere_EverythingElseIsAccepted) {
    connect();
    for (int round = 0; round < 5; ++round) {
        std::future<Bytes> request = scanner->createSigningRequestAsync(ann);
        EXPECT_EQ(resultOf(request).front(), 0x30);
        scanner->setSettings({});
        EXPECT_EQ(scanner->createSigningRequest(ann).front(), 0x30);
        expectUsable();
        request = scanner->createSigningRequestAsync(ann);
        EXPECT_EQ(resultOf(request).front(), 0x30);
        scanner->setKey({});
    }
}

TEST_F(Security, SubjectThatIsNone_IsRefused) {
    connect();
    EXPECT_EQ(failureOf([&] { static_cast<void>(scanner->createSigningRequest({})); }),
              (Failure{Status::invalidArgument, "common name must be specified."}));
    SubjectName subject = ann;
    subject.country = "DEU";
    EXPECT_EQ(failureOf([&] { static_cast<void>(scanner->createSigningRequestAsync(subject)); }),
              (Failure{Status::invalidArgument, "Invalid country name value."}));
    expectUsable();
}

TEST_F(Security, SigningRequestThatTheScannerRefuses_IsAFailure) {
    connect({true, 0, {"CREATE CSR: device-error:5:no always"}});
    const Failure refused{Status::deviceFailure, "CREATE CSR: Failed (33) with error 5. no"};
    EXPECT_EQ(failureOf([&] { static_cast<void>(scanner->createSigningRequest(ann)); }), refused);
    std::future<Bytes> request = scanner->createSigningRequestAsync(ann);
    EXPECT_EQ(failureOf([&] { resultOf(request); }), refused);
    expectUsable();
}

TEST_F(Security, ScannerDestroyedDuringASigningRequest_WaitsForItsResult) {
    connect();
    std::future<Bytes> request = scanner->createSigningRequestAsync(ann);
    scanner.reset();
    EXPECT_EQ(resultOf(request).front(), 0x30);
}

TEST_F(Security, ScannerDisconnectedDuringASigningRequest_WaitsForItsResult) {
    connect();
    std::future<Bytes> request = scanner->createSigningRequestAsync(ann);
    scanner->disconnect();
    EXPECT_EQ(resultOf(request).front(), 0x30);
    scanner->connect(attachment->portName());
    expectUsable();
}

} // namespace
} // namespace ridge::test
