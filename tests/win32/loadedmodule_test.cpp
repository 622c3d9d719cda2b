#include "fakewin32.h"
#include "loadedmodule.h"
#include "logrecorder.h"

#include <gmock/gmock.h>

namespace ridge::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class LoadedModule : public testing::Test {
protected:
    LogRecorder log;
    PortJournal journal;
    FakeWin32 win32{journal};
};

TEST_F(LoadedModule, KeepModuleLoaded_PinsTheModuleOfTheCode) {
    keepModuleLoaded();
    // From address, and pin.
    EXPECT_THAT(journal.entries(), ElementsAre("GetModuleHandleExA(5, address in this program)"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(LoadedModule, PinningThatFails_IsAWarningOnly) {
    win32.fail(Call::getModuleHandle, ERROR_MOD_NOT_FOUND);
    keepModuleLoaded();
    EXPECT_THAT(log.lines(), SizeIs(1));
    EXPECT_THAT(log.messages(logWarning), SizeIs(1));
}

} // namespace
} // namespace ridge::test
