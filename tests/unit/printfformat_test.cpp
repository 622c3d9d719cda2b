#include "printfformat.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace ridge {
namespace {

TEST(FormatText, WithoutArguments_IsTheFormat) {
    EXPECT_EQ(formatText("Start stream"), "Start stream");
}

TEST(FormatText, EmptyResult_IsEmpty) {
    EXPECT_EQ(formatText("%s", ""), "");
}

TEST(FormatText, PercentSign_IsDoubledInTheFormat) {
    EXPECT_EQ(formatText("%d%%", 100), "100%");
}

TEST(FormatText, PercentSignsOfArguments_StayAsTheyAre) {
    EXPECT_EQ(formatText("%s", "%s %n"), "%s %n");
}

TEST(FormatText, Numbers_AreDecimal) {
    EXPECT_EQ(formatText("%d", std::numeric_limits<std::int32_t>::min()), "-2147483648");
    EXPECT_EQ(formatText("%d/%d", 19, 140000), "19/140000");
}

TEST(FormatText, BytesAreTwoLowerCaseHexDigits) {
    EXPECT_EQ(formatText("%.2hhx:%.2hhx", std::uint8_t{0x0A}, std::uint8_t{0xFF}), "0a:ff");
}

TEST(FormatText, CharactersMayBeNul) {
    EXPECT_EQ(formatText("a%cb", '\0'), std::string("a\0b", 3));
}

TEST(FormatText, LiteralZeroAndWritableText_AreArgumentsLikeAnyOther) {
    // On some platforms an argument list is a pointer, which both of them could be taken for.
    std::string writable = "text";
    EXPECT_EQ(formatText("%d", 0), "0");
    EXPECT_EQ(formatText("%s", writable.data()), "text");
}

TEST(FormatText, EveryLengthAroundSmallBuffers_IsComplete) {
    for (std::size_t length = 0; length < 600; ++length) {
        const std::string text(length, 'x');
        ASSERT_EQ(formatText("%s", text.c_str()), text);
    }
}

TEST(FormatText, AHundredThousandCharacters_AreComplete) {
    const std::string text(100000, 'x');
    EXPECT_EQ(formatText("[%s]", text.c_str()), "[" + text + "]");
}

} // namespace
} // namespace ridge
