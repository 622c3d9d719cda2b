#include "scannerline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ridge::simulator::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// For "Ann", "DE", "Köln", "O", "OU", "NW".
constexpr const char* createCsr =
    "7E 01 00 1C 21 00 03 41 6E 6E 00 02 44 45 00 05 4B C3 B6 6C 6E 00 01 4F 00 02 4F 55 00 02 4E "
    "57 D8 7F";
// The request 30 7E 7F 02.
constexpr const char* created = "7E 81 00 05 21 30 7D 5E 7D 5F 02 AB 7F";
constexpr const char* getDeviceInfo = "7E 01 00 01 30 CF 7F";

class CreateCsrCommand : public testing::Test {
protected:
    // A scanner that notes for whom it creates requests.
    ScannerLine scannerWith(std::string_view faults) {
        ScannerConfig config = tinyConfig();
        config.faults = parseFaultScript(faults);
        config.createCsr = [this](const CsrSubject& subject) {
            subjects.push_back(subject);
            return bytesOf("30 7E 7F 02");
        };
        return ScannerLine(std::move(config));
    }

    std::vector<CsrSubject> subjects;
};

std::string answerOf(CreateCsr creator) {
    ScannerConfig config = tinyConfig();
    config.createCsr = std::move(creator);
    return ScannerLine(std::move(config)).send(createCsr);
}

} // namespace

TEST_F(CreateCsrCommand, CreatedRequest_IsTheAnswer) {
    ScannerLine line = scannerWith("");
    EXPECT_EQ(line.send(createCsr), created);
    EXPECT_THAT(subjects, ElementsAre(CsrSubject{"Ann", "DE", "K\xC3\xB6ln", "O", "OU", "NW"}));
}

TEST_F(CreateCsrCommand, BadSubject_IsRefusedBeforeARequestIsCreated) {
    ScannerLine line = scannerWith("");
    EXPECT_EQ(line.send("7E 01 00 0C 21 00 01 41 00 00 00 00 00 00 00 00 91 7F"),
              "7E 81 00 1A A1 02 00 16 49 6E 76 61 6C 69 64 20 70 61 79 6C 6F 61 64 20 6C 65 6E 67 "
              "74 68 BA 7F");
    EXPECT_THAT(subjects, IsEmpty());
}

TEST_F(CreateCsrCommand, FailureOfTheCreator_IsARefusal) {
    EXPECT_EQ(answerOf([](const CsrSubject&) -> std::vector<std::uint8_t> {
                  throw std::runtime_error("no key");
              }),
              "7E 81 00 17 A1 08 00 13 52 65 71 75 65 73 74 20 6E 6F 74 20 63 72 65 61 74 65 64 DB "
              "7F");
}

TEST_F(CreateCsrCommand, DuringAnActivity_IsRefused) {
    for (const char* start :
         {"7E 01 00 0A 10 01 00 00 13 88 00 00 00 00 4A 7F", "7E 01 00 01 13 EC 7F"}) {
        ScannerLine line = scannerWith("");
        EXPECT_THAT(line.send(start), StartsWith("7E 81 00 01"));
        EXPECT_EQ(line.send(createCsr),
                  "7E 81 00 1E A1 04 00 1A 4E 6F 74 20 70 6F 73 73 69 62 6C 65 20 69 6E 20 74 68 "
                  "69 73 20 73 74 61 74 65 61 7F");
    }
    EXPECT_THAT(subjects, IsEmpty());
}

TEST_F(CreateCsrCommand, DeviceInformation_DoesNotShowTheKeyPair) {
    ScannerLine line = scannerWith("");
    const std::string before = line.send(getDeviceInfo);
    EXPECT_EQ(line.send(createCsr), created);
    EXPECT_EQ(line.send(getDeviceInfo), before);
}

TEST_F(CreateCsrCommand, DeviceErrorFault_KeepsTheRequestFromBeingCreated) {
    ScannerLine line = scannerWith("CREATE CSR: device-error:77:no");
    EXPECT_EQ(line.send(createCsr), "7E 81 00 06 A1 4D 00 02 6E 6F 2D 7F");
    EXPECT_THAT(subjects, IsEmpty());
    EXPECT_EQ(line.send(createCsr), created);
}

TEST_F(CreateCsrCommand, NoAnswerFault_SilencesTheRequest) {
    ScannerLine line = scannerWith("CREATE CSR: no-answer");
    EXPECT_EQ(line.send(createCsr), "");
    EXPECT_EQ(line.scanner.nextDeadline(), std::nullopt);
    EXPECT_EQ(subjects.size(), 1U);
    EXPECT_EQ(line.send(createCsr), created);
}

TEST_F(CreateCsrCommand, EmptyAnswerFault_TakesTheRequestAway) {
    ScannerLine line = scannerWith("CREATE CSR: empty-answer");
    EXPECT_EQ(line.send(createCsr), "7E 81 00 01 21 DE 7F");
    EXPECT_EQ(line.send(createCsr), created);
}

TEST_F(CreateCsrCommand, LateAnswerFault_SendsTheRequestWhenTheHostHasGivenUp) {
    ScannerLine line = scannerWith("CREATE CSR: late-answer:10500");
    EXPECT_EQ(line.send(createCsr), "");
    EXPECT_EQ(line.wait(milliseconds(10000)), "");
    EXPECT_EQ(line.send(ping), pong);
    EXPECT_EQ(line.wait(milliseconds(499)), "");
    EXPECT_EQ(line.wait(milliseconds(1)), created);
}

TEST_F(CreateCsrCommand, FaultOfAnotherCommand_DoesNotStrikeIt) {
    ScannerLine line = scannerWith("CERT GET: no-answer");
    EXPECT_EQ(line.send(createCsr), created);
}

} // namespace ridge::simulator::test
