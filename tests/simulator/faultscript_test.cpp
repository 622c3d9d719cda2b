#include "command.h"
#include "faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

namespace ridge::simulator::test {

namespace {

std::string errorOf(std::string_view line) {
    try {
        parseFault(line);
    } catch (const FaultSyntaxError& error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(FaultScript, Line_IsRead) {
    const Fault fault = parseFault("GET CAPTURE DATA#2: wrong-checksum once");
    EXPECT_EQ(fault.kind, FaultKind::wrongChecksum);
    EXPECT_EQ(fault.command, 0x11);
    EXPECT_EQ(fault.point, FaultPoint::answer);
    EXPECT_EQ(fault.occurrence, 2U);
    EXPECT_FALSE(fault.always);
}

TEST(FaultScript, Defaults_AreTheFirstOccurrenceOnce) {
    const Fault fault = parseFault("PING:no-answer");
    EXPECT_EQ(fault.occurrence, 1U);
    EXPECT_FALSE(fault.always);
}

TEST(FaultScript, Case_DoesNotMatter) {
    const Fault fault = parseFault("  get device info : No-Answer ALWAYS ");
    EXPECT_EQ(fault.command, 0x30);
    EXPECT_EQ(fault.kind, FaultKind::noAnswer);
    EXPECT_TRUE(fault.always);
}

TEST(FaultScript, Target_MayBeACodeOrAny) {
    EXPECT_EQ(parseFault("0x31: no-answer").command, 0x31);
    EXPECT_EQ(parseFault("49: no-answer").command, 0x31);
    EXPECT_EQ(parseFault("any: no-answer").command, std::nullopt);
}

TEST(FaultScript, Target_MayBeADataPacketOrABlock) {
    EXPECT_EQ(parseFault("GET CAPTURE DATA/data#3: no-answer").point, FaultPoint::data);
    EXPECT_EQ(parseFault("GET CAPTURE DATA/block: no-answer").point, FaultPoint::block);
}

TEST(FaultScript, FaultsOfBlocks_AlwaysCountBlocks) {
    EXPECT_EQ(parseFault("GET CAPTURE DATA: block-length:19").point, FaultPoint::block);
    EXPECT_EQ(parseFault("GET CAPTURE DATA: short-block:19").point, FaultPoint::block);
    EXPECT_EQ(errorOf("GET CAPTURE DATA/data: short-block:19"),
              "short-block strikes a whole block, not a data packet");
}

TEST(FaultScript, DeviceError_MayHaveAText) {
    const Fault withText = parseFault("PING: device-error:5:sensor: too hot once");
    EXPECT_EQ(withText.value, 5);
    EXPECT_EQ(withText.text, "sensor: too hot");
    EXPECT_EQ(parseFault("PING: device-error:5 always").text, "");
}

TEST(FaultScript, BlockLength_MayBeRelative) {
    const Fault longer = parseFault("GET STREAM DATA: block-length:+5");
    EXPECT_TRUE(longer.relative);
    EXPECT_EQ(longer.value, 5);
    const Fault shorter = parseFault("GET STREAM DATA: block-length:-5");
    EXPECT_TRUE(shorter.relative);
    EXPECT_EQ(shorter.value, -5);
    const Fault absolute = parseFault("GET STREAM DATA: block-length:140001");
    EXPECT_FALSE(absolute.relative);
    EXPECT_EQ(absolute.value, 140001);
}

TEST(FaultScript, Numbers_MayBeHexadecimal) {
    const Fault fault = parseFault("PING: answer-byte:0x10:0xFF");
    EXPECT_EQ(fault.value, 16);
    EXPECT_EQ(fault.secondValue, 255);
}

TEST(FaultScript, Errors_SayWhatIsWrong) {
    EXPECT_EQ(errorOf("PING no-answer"),
              "a colon must stand between command and fault: \"PING no-answer\"");
    EXPECT_EQ(errorOf("PONG: no-answer"),
              "unknown command \"PONG\" (a command's name, its code such as 0x11, or \"any\")");
    EXPECT_EQ(errorOf("256: no-answer"),
              "unknown command \"256\" (a command's name, its code such as 0x11, or \"any\")");
    EXPECT_EQ(errorOf("PING/ack: no-answer"), "after / stands \"data\" or \"block\", not \"ack\"");
    EXPECT_EQ(errorOf("PING#0: no-answer"),
              "the occurrence after # must be a number from 1 to 4294967295, not \"0\"");
    EXPECT_THAT(errorOf("PING: no-anwser"),
                testing::StartsWith("unknown fault \"no-anwser\" (known: no-answer, late-answer,"));
    EXPECT_EQ(errorOf("PING: no-answer:3"), "no-answer takes no argument");
    EXPECT_EQ(errorOf("PING: late-answer"), "late-answer needs an argument: late-answer:MS");
    EXPECT_EQ(errorOf("PING: late-answer:soon"),
              "the delay in milliseconds must be a number from 0 to 4294967295, not \"soon\"");
    EXPECT_EQ(errorOf("PING: device-error:256"),
              "the error code must be a number from 0 to 255, not \"256\"");
    EXPECT_EQ(errorOf("PING: answer-byte:1"),
              "the byte's value must be a number from 0 to 255, not \"\"");
    EXPECT_EQ(errorOf("PING: short-error:3"),
              "the number of bytes must be a number from 0 to 2, not \"3\"");
    EXPECT_EQ(errorOf("PING: device-error:1:" + std::string(9998, 'x')),
              "the error text is too long");
}

TEST(FaultScript, Script_SkipsCommentsAndEmptyLines) {
    const FaultSet faults = parseFaultScript("# comment\n\nPING: no-answer\r\n  # more\n"
                                             "any#3: short-error always");
    ASSERT_EQ(faults.size(), 2U);
    EXPECT_EQ(faults[0].kind, FaultKind::noAnswer);
    EXPECT_EQ(faults[1].kind, FaultKind::shortError);
    EXPECT_EQ(faults[1].occurrence, 3U);
}

TEST(FaultScript, ErrorInAScript_NamesItsLine) {
    try {
        parseFaultScript("PING: no-answer\n\nPING: late-answer\n");
        FAIL() << "the script was taken";
    } catch (const FaultSyntaxError& error) {
        EXPECT_STREQ(error.what(), "line 3: late-answer needs an argument: late-answer:MS");
    }
}

TEST(FaultScript, EveryFaultInTheTable_CanBeWritten) {
    std::set<FaultKind> kinds;
    for (const FaultName& entry : faultNames()) {
        std::string line = "GET CAPTURE DATA: " + std::string(entry.name);
        if (!entry.arguments.empty() && !entry.arguments.starts_with('[')) {
            line += entry.kind == FaultKind::answerByte ? ":1:1" : ":1";
        }
        EXPECT_EQ(parseFault(line).kind, entry.kind) << line;
        EXPECT_FALSE(entry.description.empty());
        EXPECT_TRUE(kinds.insert(entry.kind).second) << "twice: " << entry.name;
    }
}

TEST(Commands, EveryName_LeadsToItsCodeAndBack) {
    EXPECT_EQ(commandNames().size(), 17U);
    for (const CommandName& entry : commandNames()) {
        EXPECT_EQ(commandNamed(entry.name), entry.command);
        EXPECT_EQ(nameOfCommand(static_cast<std::uint8_t>(entry.command)), entry.name);
    }
    EXPECT_EQ(nameOfCommand(0x00), "");
    EXPECT_EQ(commandNamed("PONG"), std::nullopt);
}

} // namespace ridge::simulator::test
