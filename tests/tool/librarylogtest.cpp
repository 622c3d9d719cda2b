#include "librarylog.h"

#include "fakelibrary.h"

#include <gtest/gtest.h>

#include <sstream>

namespace ridge::tool {
namespace {

class LibraryLog : public testing::Test {
protected:
    test::FakeLibrary library;
    std::ostringstream shown;
    SteadyClock clock;
    Messages messages{shown, clock};
};

} // namespace

TEST_F(LibraryLog, Recorder_KeepsTheLinesOfAllLevels) {
    const LibraryLogRecorder recorder(std::nullopt, messages);
    EXPECT_EQ(library.logLevel, 'D');
    library.log('D', "[D] one");
    library.log('E', "[E] two");
    EXPECT_EQ(recorder.lines(),
              (std::vector<std::string>{"[a line of the log]", "[D] one", "[E] two"}));
    EXPECT_EQ(shown.str(), "");
}

TEST_F(LibraryLog, Recorder_ShowsTheLinesFromTheWantedLevelOn) {
    const LibraryLogRecorder recorder('W', messages);
    library.log('D', "[D] one");
    library.log('I', "[I] two");
    library.log('W', "[W] three");
    library.log('E', "[E] four");
    EXPECT_EQ(shown.str(), "[W] three\n[E] four\n");
}

TEST_F(LibraryLog, RecorderThatHasGone_LeavesWhatIsShownAsItWas) {
    { const LibraryLogRecorder recorder('W', messages); }
    EXPECT_EQ(library.logLevel, 'W');
    shown.str("");
    library.log('W', "[W] later");
    EXPECT_EQ(shown.str(), "[W] later\n");
    { const LibraryLogRecorder recorder(std::nullopt, messages); }
    shown.str("");
    library.log('E', "[E] nobody listens");
    EXPECT_EQ(shown.str(), "");
}

TEST_F(LibraryLog, BytesOfPackets_AreLeftOut) {
    const std::string place = "[E 4312 sdk/src/defaultpackethandler.cpp:96 20240131-142501] ";
    EXPECT_EQ(withoutPacketBytes(place + "Data: 02:11:ff"), place + "Data: (left out)");
    EXPECT_EQ(withoutPacketBytes(place + "Received invalid packet of size 3!"),
              place + "Received invalid packet of size 3!");
}

} // namespace ridge::tool
