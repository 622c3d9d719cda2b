#include "scannererror.h"

#include <gtest/gtest.h>

namespace ridge::tool {

TEST(ScannerError, NamesActivityTextAndStatus) {
    const CommandError error = scannerError("connecting to COM7", 5, "File not found.");
    EXPECT_STREQ(error.what(), "connecting to COM7: File not found. (status 5)");
    EXPECT_EQ(error.statusOfLibrary(), 5);
    EXPECT_EQ(error.exitStatus(), ExitStatus::libraryError);
}

TEST(ScannerError, LineBreaksAtTheEnd_AreLeftOut) {
    EXPECT_STREQ(scannerError("connecting to COM7", 5, "File not found.\r\n\r\n").what(),
                 "connecting to COM7: File not found. (status 5)");
}

TEST(ScannerError, NoText_SaysThatItFailed) {
    EXPECT_STREQ(scannerError("writing the settings", 3, "").what(),
                 "writing the settings: failed (status 3)");
    EXPECT_STREQ(scannerError("writing the settings", 3, "\r\n").what(),
                 "writing the settings: failed (status 3)");
}

TEST(ScannerError, OtherExitStatus_IsKept) {
    EXPECT_EQ(scannerError("capturing", 7, "Capture timeout", ExitStatus::noImage).exitStatus(),
              ExitStatus::noImage);
}

} // namespace ridge::tool
