#include "csrname.h"

#include "logrecorder.h"
#include "ridgeexception.h"
#include "throwsridgeexception.h"

#include <gmock/gmock.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace ridge {
namespace {

using test::LogRecorder;
using test::throwsRidgeException;
using testing::ElementsAre;

std::string repeated(const std::string& text, int count) {
    std::string result;
    for (int index = 0; index < count; ++index) {
        result += text;
    }
    return result;
}

/// The six texts of a caller, all good unless changed.
struct Subject {
    std::string commonName = "Ann";
    std::string country = "DE";
    std::string locality = "Town";
    std::string organization = "Firm";
    std::string organizationalUnit = "Unit";
    std::string stateOrProvince = "State";

    [[nodiscard]] CsrName name() const {
        return CsrName({commonName.c_str(), country.c_str(), locality.c_str(), organization.c_str(),
                        organizationalUnit.c_str(), stateOrProvince.c_str()});
    }
};

/// The text of the failure that one changed field causes; empty when it causes none. All other
/// codes than 2 are made visible.
std::string failureOf(std::string Subject::*field, const std::string& text) {
    Subject subject;
    subject.*field = text;
    try {
        (void)subject.name();
    } catch (const RidgeException& failure) {
        return failure.code() == 2 ? failure.what()
                                   : std::to_string(failure.code()) + " " + failure.what();
    }
    return "";
}

TEST(CsrName, Texts_AreCopiedInTheirFields) {
    const CsrName name = Subject{"c", "AB", "l", "o", "u", "s"}.name();
    EXPECT_EQ(name.commonName, "c");
    EXPECT_EQ(name.country, "AB");
    EXPECT_EQ(name.locality, "l");
    EXPECT_EQ(name.organization, "o");
    EXPECT_EQ(name.organizationalUnit, "u");
    EXPECT_EQ(name.stateOrProvince, "s");
}

TEST(CsrName, NullPointers_AreEmptyFields) {
    const CsrName name(ridgeCsrSubjectName{"Ann", nullptr, nullptr, nullptr, nullptr, nullptr});
    EXPECT_EQ(name.commonName, "Ann");
    EXPECT_EQ(name.country + name.locality + name.organization + name.organizationalUnit +
                  name.stateOrProvince,
              "");
}

TEST(CsrName, CommonName_NullOrEmpty_MustBeSpecified) {
    EXPECT_THAT([] { return CsrName(ridgeCsrSubjectName{}); },
                throwsRidgeException(2, "common name must be specified."));
    EXPECT_EQ(failureOf(&Subject::commonName, ""), "common name must be specified.");
}

struct TextField {
    const char* name;
    std::string Subject::*field;
    const char* label;
    int shortest;
    int longest;
};

void PrintTo(const TextField& field, std::ostream* stream) {
    *stream << field.label;
}

class CsrNameField : public testing::TestWithParam<TextField> {
protected:
    [[nodiscard]] static std::string failure(const std::string& text) {
        return failureOf(GetParam().field, text);
    }
    [[nodiscard]] static std::string lengthFailure(int length) {
        return "Value for " + std::string(GetParam().label) + " has invalid length " +
               std::to_string(length) + ". Expected between " +
               std::to_string(GetParam().shortest) + " and " + std::to_string(GetParam().longest) +
               " characters.";
    }
    [[nodiscard]] static std::string malformed() {
        return "Value for " + std::string(GetParam().label) + " is not a valid UTF-8 string.";
    }
};

TEST_P(CsrNameField, LongestInAscii_PassesAndOneMoreFails) {
    const int longest = GetParam().longest;
    EXPECT_EQ(failure(repeated("a", longest)), "");
    EXPECT_EQ(failure(repeated("a", longest + 1)), lengthFailure(longest + 1));
}

TEST_P(CsrNameField, Length_IsCountedInCodePoints) {
    const int longest = GetParam().longest;
    for (const char* character : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
        EXPECT_EQ(failure(repeated(character, longest)), "");
        EXPECT_EQ(failure(repeated(character, longest + 1)), lengthFailure(longest + 1));
    }
}

TEST_P(CsrNameField, OneCharacter_Passes) {
    EXPECT_EQ(failure("a"), "");
}

TEST_P(CsrNameField, BoundariesOfUnicode_Pass) {
    for (const char* text :
         {"\x01", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBD", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(failure(text), "") << testing::PrintToString(text);
    }
}

TEST_P(CsrNameField, MalformedText_FailsWhereverItStands) {
    const std::vector<std::string> sequences{
        "\x80",
        "\xBF", // continuation without a lead
        "\xFE",
        "\xFF",
        "\xF5\x80\x80\x80",
        "\xF8\x88\x80\x80\x80", // no lead bytes
        "\xC0\x80",
        "\xC0\xAF",
        "\xC1\xBF",
        "\xE0\x80\x80",
        "\xE0\x9F\xBF", // overlong
        "\xF0\x80\x80\x80",
        "\xF0\x8F\xBF\xBF",
        "\xED\xA0\x80",
        "\xED\xAD\xBF",
        "\xED\xAE\x80",
        "\xED\xBF\xBF", // surrogates
        "\xED\xA0\x80\xED\xB0\x80",
        "\xF4\x90\x80\x80",
        "\xF7\xBF\xBF\xBF", // above U+10FFFF
        "\xC3",
        "\xE2",
        "\xE2\x82",
        "\xF0",
        "\xF0\x9F",
        "\xF0\x9F\x98", // cut off
    };
    for (const std::string& sequence : sequences) {
        for (const std::string& text :
             {sequence, "a" + sequence, sequence + "a", "a" + sequence + "\xC3\xA4"}) {
            EXPECT_EQ(failure(text), malformed()) << testing::PrintToString(text);
        }
    }
}

TEST_P(CsrNameField, MalformedAndTooLong_IsReportedAsMalformed) {
    EXPECT_EQ(failure(repeated("a", 200) + "\xFF"), malformed());
}

INSTANTIATE_TEST_SUITE_P(
    Fields, CsrNameField,
    testing::Values(TextField{"CommonName", &Subject::commonName, "common name", 1, 64},
                    TextField{"Locality", &Subject::locality, "locality name", 0, 128},
                    TextField{"Organization", &Subject::organization, "organization name", 0, 64},
                    TextField{"OrganizationalUnit", &Subject::organizationalUnit,
                              "organizational unit name", 1, 64},
                    TextField{"StateOrProvince", &Subject::stateOrProvince,
                              "state or province name", 1, 128}),
    [](const testing::TestParamInfo<TextField>& info) { return info.param.name; });

TEST(CsrName, OptionalFields_MayBeEmpty) {
    EXPECT_NO_THROW((void)(Subject{"Ann", "", "", "", "", ""}.name()));
    for (const auto field : {&Subject::country, &Subject::locality, &Subject::organization,
                             &Subject::organizationalUnit, &Subject::stateOrProvince}) {
        EXPECT_EQ(failureOf(field, ""), "");
    }
}

TEST(CsrName, CommonNameOf64TwoByteCharacters_PassesAnd65FailWithTheirNumber) {
    EXPECT_EQ(failureOf(&Subject::commonName, repeated("\xC3\xBC", 64)), "");
    EXPECT_EQ(failureOf(&Subject::commonName, repeated("\xC3\xBC", 65)),
              "Value for common name has invalid length 65. Expected between 1 and 64 characters.");
}

TEST(CsrName, LocalityOf129Characters_FailsWithItsNumbers) {
    EXPECT_EQ(
        failureOf(&Subject::locality, std::string(129, 'a')),
        "Value for locality name has invalid length 129. Expected between 0 and 128 characters.");
}

TEST(CsrName, StateWithALoneSurrogate_IsNoUtf8) {
    EXPECT_EQ(failureOf(&Subject::stateOrProvince, "\xED\xA0\x80"),
              "Value for state or province name is not a valid UTF-8 string.");
}

TEST(CsrName, Country_OfTwoPrintableCharacters_Passes) {
    for (const char* country : {"DE", "de", "1?", "zZ", "09", " '", "()", "+,", "-.", "/:", "=?"}) {
        EXPECT_EQ(failureOf(&Subject::country, country), "") << country;
    }
}

TEST(CsrName, Country_OfAnyOtherLengthOrByte_Fails) {
    for (const char* country : {"D", "DEU", "D\xC4", "\xC3\x84", "D\xFF", "@A", "A[", "`a", "a{",
                                "D!", "D\"", "D*", "D;", "D<", "D>", "D_", "D\n", "D\x7F", "D&"}) {
        EXPECT_EQ(failureOf(&Subject::country, country), "Invalid country name value.") << country;
    }
}

TEST(CsrName, EveryByteInTheCountry_IsPrintableOrRefused) {
    const std::string printable = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                  " '()+,-./:=?";
    for (int value = 1; value < 256; ++value) {
        const auto byte = static_cast<char>(value);
        const std::string expected =
            printable.find(byte) != std::string::npos ? "" : "Invalid country name value.";
        EXPECT_EQ(failureOf(&Subject::country, std::string("D") + byte), expected) << value;
        EXPECT_EQ(failureOf(&Subject::country, byte + std::string("D")), expected) << value;
    }
}

TEST(CsrName, FirstBadField_IsTheOneReported) {
    Subject subject;
    const std::vector<std::pair<std::string Subject::*, std::string>> order{
        {&Subject::country, "Invalid country name value."},
        {&Subject::stateOrProvince,
         "Value for state or province name is not a valid UTF-8 string."},
        {&Subject::organizationalUnit,
         "Value for organizational unit name is not a valid UTF-8 string."},
        {&Subject::organization, "Value for organization name is not a valid UTF-8 string."},
        {&Subject::locality, "Value for locality name is not a valid UTF-8 string."},
        {&Subject::commonName, "Value for common name is not a valid UTF-8 string."}};
    for (const auto& [field, text] : order) {
        subject.*field = "\xFF";
        EXPECT_THAT([&] { return subject.name(); }, throwsRidgeException(2, text));
    }
}

TEST(CsrName, FailedCheck_IsLogged) {
    const LogRecorder log;
    EXPECT_EQ(failureOf(&Subject::country, "DEU"), "Invalid country name value.");
    EXPECT_THAT(log.messages('E'), ElementsAre("Error 2 - Invalid country name value."));
}

TEST(CsrName, Validate_CanBeRunOnARecordOfOnesOwn) {
    CsrName name;
    EXPECT_THAT([&] { name.validate(); },
                throwsRidgeException(2, "common name must be specified."));
    name.commonName = "Ann";
    EXPECT_NO_THROW(name.validate());
}

} // namespace
} // namespace ridge
