#include "fakewin32.h"
#include "systemerror.h"

#include <gmock/gmock.h>

#include <array>
#include <string>

#include <windows.h>

namespace ridge::test {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

class SystemErrorText : public testing::Test {
protected:
    ~SystemErrorText() override { EXPECT_EQ(win32.unreleasedTexts(), 0); }

    static std::string askSystem(DWORD error) {
        std::array<char, 1000> text{};
        const DWORD length =
            FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                           error, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
        return {text.data(), length};
    }

    /// Asked before the call is replaced.
    const std::string systemsText = askSystem(ERROR_FILE_NOT_FOUND);
    PortJournal journal;
    FakeWin32 win32{journal};
};

TEST_F(SystemErrorText, KnownCode_IsTheSystemsTextWithItsLineBreak) {
    win32.useSystemTexts();
    EXPECT_EQ(systemErrorText(ERROR_FILE_NOT_FOUND), systemsText);
    EXPECT_THAT(systemsText, MatchesRegex(".+\r\n"));
}

TEST_F(SystemErrorText, UnknownCode_IsItsNumber) {
    win32.useSystemTexts();
    EXPECT_EQ(systemErrorText(123456789), "Error 123456789.");
}

TEST_F(SystemErrorText, NoText_IsTheNumberAsSignedDecimal) {
    win32.haveNoTexts();
    EXPECT_EQ(systemErrorText(0), "Error 0.");
    EXPECT_EQ(systemErrorText(0xFFFFFFFFU), "Error -1.");
}

TEST_F(SystemErrorText, Text_IsCopiedAsItStands) {
    EXPECT_EQ(systemErrorText(1168), "Text of error 1168.\r\n");
}

TEST_F(SystemErrorText, Text_IsAskedForWithoutInsertsInTheNeutralLanguage) {
    static_cast<void>(systemErrorText(31));
    EXPECT_THAT(win32.textRequests(), ElementsAre("FormatMessageA(1300, null, 31, 0, 0, null)"));
}

} // namespace
} // namespace ridge::test
