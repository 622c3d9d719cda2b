#include "csrsubject.h"

#include "scannerline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ridge::simulator::test {

namespace {

using testing::Optional;

constexpr const char* allFields =
    "00 03 41 6E 6E 00 02 44 45 00 05 4B C3 B6 6C 6E 00 01 4F 00 02 4F 55 00 02 4E 57";

std::optional<CsrSubject> parsed(std::string_view hex) {
    return parseCsrSubject(bytesOf(hex));
}

// A payload of fields with so many letters.
std::vector<std::uint8_t> fieldsOf(const std::array<std::size_t, 6>& lengths) {
    std::vector<std::uint8_t> bytes;
    for (const std::size_t length : lengths) {
        bytes.push_back(static_cast<std::uint8_t>(length / 256));
        bytes.push_back(static_cast<std::uint8_t>(length % 256));
        bytes.insert(bytes.end(), length, 'x');
    }
    return bytes;
}

} // namespace

TEST(CsrSubject, SixFields_AreReadInTheirOrder) {
    EXPECT_THAT(parsed(allFields),
                Optional(CsrSubject{"Ann", "DE", "K\xC3\xB6ln", "O", "OU", "NW"}));
}

TEST(CsrSubject, OnlyTheCommonName_IsNeeded) {
    EXPECT_THAT(parsed("00 01 41 00 00 00 00 00 00 00 00 00 00"),
                Optional(CsrSubject{"A", "", "", "", "", ""}));
}

TEST(CsrSubject, EmptyCommonName_IsRefused) {
    EXPECT_EQ(parsed("00 00 00 02 44 45 00 00 00 00 00 00 00 00"), std::nullopt);
}

TEST(CsrSubject, CountryOfOneByte_IsRefused) {
    EXPECT_EQ(parsed("00 01 41 00 01 44 00 00 00 00 00 00 00 00"), std::nullopt);
}

TEST(CsrSubject, CountryOfThreeBytes_IsRefused) {
    EXPECT_EQ(parsed("00 01 41 00 03 44 45 55 00 00 00 00 00 00 00 00"), std::nullopt);
}

TEST(CsrSubject, ByteAfterTheLastField_IsRefused) {
    EXPECT_EQ(parsed("00 01 41 00 00 00 00 00 00 00 00 00 00 00"), std::nullopt);
}

TEST(CsrSubject, LengthBeyondTheEnd_IsRefused) {
    EXPECT_EQ(parsed("00 01 41 00 00 00 00 00 00 00 00 00 01"), std::nullopt);
    EXPECT_EQ(parsed("FF FF 41 00 00 00 00 00 00 00 00 00 00"), std::nullopt);
}

TEST(CsrSubject, PayloadCutAnywhere_IsRefused) {
    const std::vector<std::uint8_t> whole = bytesOf(allFields);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(parseCsrSubject(std::span(whole).first(size)), std::nullopt) << size;
    }
}

TEST(CsrSubject, LongestFields_AreTaken) {
    const std::vector<std::uint8_t> payload = fieldsOf({256, 2, 512, 256, 256, 512});
    EXPECT_EQ(payload.size(), 1806U);
    EXPECT_THAT(
        parseCsrSubject(payload),
        Optional(CsrSubject{std::string(256, 'x'), "xx", std::string(512, 'x'),
                            std::string(256, 'x'), std::string(256, 'x'), std::string(512, 'x')}));
}

TEST(CsrSubject, FieldOneByteTooLong_IsRefused) {
    EXPECT_EQ(parseCsrSubject(fieldsOf({257, 0, 0, 0, 0, 0})), std::nullopt);
    EXPECT_EQ(parseCsrSubject(fieldsOf({1, 0, 513, 0, 0, 0})), std::nullopt);
    EXPECT_EQ(parseCsrSubject(fieldsOf({1, 0, 0, 257, 0, 0})), std::nullopt);
    EXPECT_EQ(parseCsrSubject(fieldsOf({1, 0, 0, 0, 257, 0})), std::nullopt);
    EXPECT_EQ(parseCsrSubject(fieldsOf({1, 0, 0, 0, 0, 513})), std::nullopt);
}

} // namespace ridge::simulator::test
