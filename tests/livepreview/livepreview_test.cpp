#include "fingerprint.h"
#include "previewprogram.h"
#include "resource.h"
#include "screenarea.h"
#include "simulatorprocess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <set>

#include <dbt.h>

namespace ridge::test {
namespace {

using Names = std::vector<std::string>;

std::string nameOf(const SimulatorProcess& scanner, const std::string& serialNumber) {
    return serialNumber + " on " + scanner.comPort();
}

/// The buttons that can be pressed.
std::set<int> pressable(const PreviewProgram& program) {
    std::set<int> found;
    for (int button = IDC_REFRESH; button <= IDC_STOP; ++button) {
        if (program.enabled(button)) {
            found.insert(button);
        }
    }
    return found;
}

const std::set<int> whenDisconnected{IDC_REFRESH, IDC_CONNECT};
const std::set<int> whenConnecting{IDC_REFRESH};
const std::set<int> whenConnected{IDC_REFRESH, IDC_DISCONNECT, IDC_CAPTURE, IDC_STREAM,
                                  IDC_ASSISTED};
const std::set<int> whenRunning{IDC_REFRESH, IDC_DISCONNECT, IDC_STOP};
const std::set<int> whenJudging{IDC_REFRESH, IDC_DISCONNECT, IDC_ACCEPT, IDC_REJECT, IDC_STOP};
const std::set<int> whenRejectable{IDC_REFRESH, IDC_DISCONNECT, IDC_REJECT, IDC_STOP};

/// A grey picture in cells, each with its average: what is left of it when it was stretched.
using Cells = std::vector<int>;
constexpr int cellColumns = 9;
constexpr int cellRows = 12;

template <typename Grey>
Cells cellsOf(int left, int top, int width, int height, Grey grey) {
    Cells cells;
    for (int row = 0; row < cellRows; ++row) {
        for (int column = 0; column < cellColumns; ++column) {
            long sum = 0;
            long count = 0;
            for (int y = height * row / cellRows; y < height * (row + 1) / cellRows; ++y) {
                for (int x = width * column / cellColumns; x < width * (column + 1) / cellColumns;
                     ++x) {
                    sum += grey(left + x, top + y);
                    ++count;
                }
            }
            cells.push_back(static_cast<int>(sum / count));
        }
    }
    return cells;
}

Cells cellsOfFinger(std::uint32_t seed) {
    simulator::FingerprintOptions options;
    options.seed = seed;
    const simulator::GreyImage image = simulator::generateFingerprint(options);
    const auto width = static_cast<int>(image.width);
    return cellsOf(0, 0, width, static_cast<int>(image.height), [&](int x, int y) {
        return int{image.pixels[static_cast<std::size_t>(y * width + x)]};
    });
}

/// The average difference of the cells.
int difference(const Cells& one, const Cells& other) {
    int sum = 0;
    for (std::size_t index = 0; index < one.size(); ++index) {
        sum += std::abs(one[index] - other[index]);
    }
    return sum / static_cast<int>(one.size());
}

/// The place of a picture of 3 to 4 in the middle of a view.
RECT pictureIn(const ScreenArea& view) {
    const int width = std::min(view.width(), view.height() * 3 / 4);
    const int height = std::min(view.height(), view.width() * 4 / 3);
    const int left = (view.width() - width) / 2;
    const int top = (view.height() - height) / 2;
    return {left, top, left + width, top + height};
}

/// Whether a view shows this finger and nothing beside it.
bool shows(const PreviewProgram& program, int view, std::uint32_t seed) {
    const ScreenArea screen(clientAreaOnScreen(program.control(view)));
    const RECT picture = pictureIn(screen);
    const Cells seen = cellsOf(picture.left, picture.top, picture.right - picture.left,
                               picture.bottom - picture.top,
                               [&](int x, int y) { return int{GetRValue(screen.colour(x, y))}; });
    const COLORREF beside = GetSysColor(COLOR_APPWORKSPACE);
    const bool bare = (picture.left < 2 && picture.top < 2) ||
                      (screen.colour(0, 0) == beside &&
                       screen.colour(screen.width() - 1, screen.height() - 1) == beside);
    constexpr int alike = 8;
    return bare && difference(seen, cellsOfFinger(seed)) < alike;
}

/// The program beside a scanner, connected to it.
class LivePreview : public testing::Test {
protected:
    void start(Names options = {}) {
        options.insert(options.end(), {"--baud", "0", "--serial", "A1B2C3"});
        scanner = std::make_unique<SimulatorProcess>(options);
        program = std::make_unique<PreviewProgram>();
        program->await("the scanner is listed", [this] { return !program->scanners().empty(); });
    }

    void connect(const Names& options = {}) {
        start(options);
        program->press(IDC_CONNECT);
        awaitConnected();
    }

    void awaitConnected() { program->awaitStatus("Connected" + suffix()); }

    [[nodiscard]] std::string suffix() const { return " - " + nameOf(*scanner, "A1B2C3"); }

    void awaitLiveImage(int number) {
        program->await("live image " + std::to_string(number), [=, this] {
            return program->text(IDC_LIVE_CAPTION) ==
                   "Live image " + std::to_string(number) + ": 150 x 200";
        });
    }

    void awaitStreaming() {
        program->press(IDC_STREAM);
        program->await("an image of the stream",
                       [this] { return program->text(IDC_LIVE_CAPTION).ends_with(": 150 x 200"); });
    }

    void expectOrderlyEnd() {
        program->askToClose();
        EXPECT_EQ(program->awaitEnd(), 0UL);
    }

    std::unique_ptr<SimulatorProcess> scanner;
    std::unique_ptr<PreviewProgram> program;
};

TEST_F(LivePreview, Start_ListsTheScannerAndWaits) {
    start();
    EXPECT_EQ(program->scanners(), Names{nameOf(*scanner, "A1B2C3")});
    EXPECT_EQ(program->status(), "Not connected");
    EXPECT_EQ(pressable(*program), whenDisconnected);
    expectOrderlyEnd();
}

TEST_F(LivePreview, ConnectAndDisconnect_ChangeWhatCanBePressed) {
    connect();
    EXPECT_TRUE(program->hasEvent("Connected to " + nameOf(*scanner, "A1B2C3")));
    EXPECT_EQ(pressable(*program), whenConnected);
    EXPECT_FALSE(program->enabled(IDC_SCANNERS));
    program->press(IDC_DISCONNECT);
    program->awaitStatus("Not connected");
    EXPECT_TRUE(program->hasEvent("Disconnected from " + nameOf(*scanner, "A1B2C3")));
    EXPECT_EQ(pressable(*program), whenDisconnected);
    EXPECT_TRUE(program->enabled(IDC_SCANNERS));
    expectOrderlyEnd();
}

TEST_F(LivePreview, NoScanner_ConnectSaysSo) {
    PreviewProgram alone;
    alone.press(IDC_CONNECT);
    alone.awaitEvent("The scanner is not attached");
    alone.awaitStatus("Not connected");
}

TEST_F(LivePreview, ChosenScanner_IsTheOneThatIsConnected) {
    start();
    const SimulatorProcess second({"--baud", "0", "--serial", "SECOND"});
    program->press(IDC_REFRESH);
    program->await("both are listed", [this] { return program->scanners().size() == 2; });
    const Names names = program->scanners();
    const auto place = std::find(names.begin(), names.end(), nameOf(second, "SECOND"));
    ASSERT_NE(place, names.end());
    program->choose(static_cast<std::size_t>(place - names.begin()));
    program->press(IDC_CONNECT);
    program->awaitStatus("Connected - " + nameOf(second, "SECOND"));
}

TEST_F(LivePreview, Capture_ShowsTheFingerAndItsEvents) {
    connect({"--finger-delay", "0", "--seed", "5"});
    program->press(IDC_CAPTURE);
    program->await("the capture is over", [this] { return program->enabled(IDC_CAPTURE); });
    EXPECT_EQ(program->text(IDC_CAPTURED_CAPTION), "Captured image: 300 x 400");
    const Names events = program->lines(IDC_EVENTS);
    const auto contains = [&](const std::string& text) {
        return std::any_of(events.begin(), events.end(), [&](const std::string& line) {
            return line.find(text) != std::string::npos;
        });
    };
    EXPECT_TRUE(contains("  Capture event after "));
    EXPECT_TRUE(contains("  Captured 300 x 400 pixels, extra value "));
    program->await("the finger is in sight", [this] { return shows(*program, IDC_CAPTURED, 5); });
    EXPECT_FALSE(shows(*program, IDC_CAPTURED, 6));
    EXPECT_FALSE(shows(*program, IDC_LIVE, 5));
}

TEST_F(LivePreview, Stream_ShowsTheFingerUntilItIsStopped) {
    connect({"--seed", "5"});
    program->press(IDC_STREAM);
    EXPECT_EQ(program->status(), "Streaming" + suffix());
    EXPECT_EQ(pressable(*program), whenRunning);
    program->await("a finger is in sight", [this] { return shows(*program, IDC_LIVE, 5); });
    program->press(IDC_STOP);
    awaitConnected();
    EXPECT_EQ(pressable(*program), whenConnected);
    const int last = program->liveImages();
    program->press(IDC_STREAM);
    program->await("the stream goes on", [&] { return program->liveImages() > last; });
}

TEST_F(LivePreview, BrokenImageOfAStream_IsReportedAndTheStreamGoesOn) {
    connect({"--fault", "GET STREAM DATA/block#2: short-block:30"});
    program->press(IDC_STREAM);
    program->awaitEvent("Error 10: Invalid capture data");
    const int before = program->liveImages();
    program->await("the next image", [&] { return program->liveImages() > before; });
    EXPECT_EQ(program->status(), "Streaming" + suffix());
}

TEST_F(LivePreview, AssistedCapture_EndsWithTheImageAfterTheAcceptedOne) {
    connect({"--seed", "5"});
    program->press(IDC_ASSISTED);
    for (int image = 1; image <= 3; ++image) {
        awaitLiveImage(image);
        EXPECT_EQ(program->status(), "Assisted capture: accept or reject the image" + suffix());
        EXPECT_EQ(pressable(*program), whenJudging);
        program->press(image < 3 ? IDC_REJECT : IDC_ACCEPT);
    }
    program->await("the capture is over", [this] { return program->enabled(IDC_CAPTURE); });
    EXPECT_EQ(program->text(IDC_CAPTURED_CAPTION), "Captured image: 300 x 400");
    program->await("the finger is in sight", [this] { return shows(*program, IDC_CAPTURED, 5); });
}

TEST_F(LivePreview, AssistedCapturesFirstImageBroken_CanOnlyBeRejected) {
    connect({"--fault", "GET STREAM DATA/block: short-block:30"});
    program->press(IDC_ASSISTED);
    program->awaitStatus("Assisted capture: the image is broken, reject it for another" + suffix());
    EXPECT_EQ(pressable(*program), whenRejectable);
    program->press(IDC_REJECT);
    awaitLiveImage(1);
    EXPECT_EQ(pressable(*program), whenJudging);
}

TEST_F(LivePreview, Failure_IsShownWithStatusAndTextAndEndsTheCapture) {
    connect({"--fault", "START CAPTURE: device-error:5:ok"});
    program->press(IDC_CAPTURE);
    program->awaitEvent("Error 13: START CAPTURE: Failed (16) with error 5. ok");
    awaitConnected();
    EXPECT_EQ(pressable(*program), whenConnected);
}

TEST_F(LivePreview, LibraryLog_IsShown) {
    connect();
    program->await("the library's line is in the log", [this] {
        const Names lines = program->lines(IDC_LOG);
        return std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
            return line.starts_with("[I ") && line.ends_with("] Device port initialized");
        });
    });
}

TEST_F(LivePreview, UnpluggedInAStream_SaysSoAndConnectsAgain) {
    connect();
    awaitStreaming();
    scanner->unplug();
    program->awaitStatus("Not connected");
    const Names events = program->lines(IDC_EVENTS);
    EXPECT_TRUE(std::any_of(events.begin(), events.end(), [](const std::string& line) {
        return line.find("  Error ") != std::string::npos;
    }));
    EXPECT_TRUE(program->hasEvent("Disconnected from " + nameOf(*scanner, "A1B2C3")));
    EXPECT_EQ(pressable(*program), whenDisconnected);
    program->press(IDC_CONNECT);
    program->awaitEvent("The scanner is not attached");
    program->awaitStatus("Not connected");

    scanner->plug();
    program->press(IDC_CONNECT);
    awaitConnected();
    const int last = program->liveImages();
    program->press(IDC_STREAM);
    program->await("images again", [&] { return program->liveImages() > last; });
    expectOrderlyEnd();
}

TEST_F(LivePreview, UnpluggedWhileIdle_IsNoticedWhenTheSystemsDevicesChange) {
    connect();
    scanner->port().await(simulator::PortFlag::hostWaits);
    scanner->unplug();
    program->await("the connection is given up", [this] {
        // The library's own thread may notice after the query: Windows sends several of these, too.
        SendMessageA(program->window(), WM_DEVICECHANGE, DBT_DEVNODES_CHANGED, 0);
        return program->status() == "Not connected";
    });
    EXPECT_TRUE(program->scanners().empty());
}

TEST_F(LivePreview, ConnectThatWaitsForTheScanner_LeavesTheWindowAlive) {
    start({"--fault", "GET DEVICE INFO: wrong-checksum always"});
    // Seconds pass until the library gives up. Should the machine stand still for so long, the
    // window gets another chance; a window that waits itself has none.
    bool answered = false;
    for (int attempt = 0; attempt < 5 && !answered; ++attempt) {
        program->press(IDC_CONNECT);
        scanner->waitForReport("GET DEVICE INFO");
        DWORD_PTR result = 0;
        constexpr UINT limitMilliseconds = 60000;
        ASSERT_NE(SendMessageTimeoutA(program->window(), WM_NULL, 0, 0, SMTO_ABORTIFHUNG,
                                      limitMilliseconds, &result),
                  0);
        answered = program->status() == "Connecting..." && pressable(*program) == whenConnecting;
        program->awaitStatus("Not connected");
    }
    EXPECT_TRUE(answered);
    EXPECT_TRUE(program->hasEvent("Error 9: Timeout retrieving device information."));
}

TEST_F(LivePreview, Resizing_GivesTheRoomToPicturesAndLists) {
    start();
    const std::vector<int> stretching{IDC_LIVE, IDC_CAPTURED, IDC_EVENTS, IDC_LOG};
    std::vector<RECT> before;
    for (const int control : stretching) {
        before.push_back(program->place(control));
    }
    const RECT button = program->place(IDC_STOP);
    program->resize(1240, 760);
    RECT client{};
    GetClientRect(program->window(), &client);
    const RECT status = program->place(IDC_STATUS);
    EXPECT_EQ(status.bottom, client.bottom);
    EXPECT_EQ(status.right, client.right);
    for (std::size_t index = 0; index < stretching.size(); ++index) {
        const RECT now = program->place(stretching[index]);
        const RECT& then = before[index];
        EXPECT_GT(now.right - now.left, then.right - then.left);
        EXPECT_GT(now.bottom - now.top, then.bottom - then.top);
        EXPECT_LT(now.right, client.right);
        EXPECT_LT(now.bottom, status.top);
        for (std::size_t other = 0; other < index; ++other) {
            const RECT neighbour = program->place(stretching[other]);
            RECT overlap{};
            EXPECT_FALSE(IntersectRect(&overlap, &now, &neighbour));
        }
    }
    const RECT sameButton = program->place(IDC_STOP);
    EXPECT_TRUE(EqualRect(&button, &sameButton));

    program->resize(100, 100);
    for (std::size_t index = 0; index < stretching.size(); ++index) {
        const RECT now = program->place(stretching[index]);
        EXPECT_TRUE(EqualRect(&now, &before[index])) << "the window stays large enough";
    }
}

TEST_F(LivePreview, PictureOfAResizedWindow_KeepsItsProportions) {
    connect({"--finger-delay", "0", "--seed", "5"});
    program->press(IDC_CAPTURE);
    program->await("the capture is over", [this] { return program->enabled(IDC_CAPTURE); });
    for (const SIZE size : {SIZE{920, 780}, SIZE{1270, 500}}) {
        program->resize(size.cx, size.cy);
        program->await("the finger is in sight",
                       [this] { return shows(*program, IDC_CAPTURED, 5); });
    }
}

TEST_F(LivePreview, Tab_GoesThroughWhatCanBeUsed) {
    connect();
    std::vector<int> order{program->focused()};
    const std::vector<int> all{IDC_REFRESH,  IDC_DISCONNECT, IDC_CAPTURE, IDC_STREAM,
                               IDC_ASSISTED, IDC_EVENTS,     IDC_LOG};
    while (order.size() < all.size()) {
        const int before = order.back();
        program->key(VK_TAB);
        program->await("the keyboard goes on", [&] { return program->focused() != before; });
        order.push_back(program->focused());
    }
    const auto first = std::find(order.begin(), order.end(), IDC_REFRESH);
    ASSERT_NE(first, order.end());
    std::rotate(order.begin(), first, order.end());
    EXPECT_EQ(order, all);
}

TEST_F(LivePreview, Keys_DoWhatButtonsDo) {
    start();
    program->altKey('c');
    awaitConnected();
    EXPECT_NE(program->focused(), 0) << "a disabled button has let go of the keyboard";
    program->altKey('t');
    program->awaitStatus("Streaming" + suffix());
    program->key(VK_ESCAPE);
    awaitConnected();
    const SimulatorProcess second({"--baud", "0", "--serial", "SECOND"});
    program->key(VK_F5);
    program->await("both are listed", [this] { return program->scanners().size() == 2; });
}

/// What runs when the window is closed.
struct Moment {
    const char* name;
    Names options;
    int button;
    const char* report; ///< of the scanner
};

void PrintTo(const Moment& moment, std::ostream* stream) {
    *stream << moment.name;
}

class CloseDuring : public LivePreview, public testing::WithParamInterface<Moment> {};

TEST_P(CloseDuring, EndsInOrder) {
    const Moment& moment = GetParam();
    if (moment.button == IDC_CONNECT) {
        start(moment.options);
    } else {
        connect(moment.options);
    }
    program->press(moment.button);
    scanner->waitForReport(moment.report);
    expectOrderlyEnd();
    scanner->port().await(simulator::PortFlag::hostOpen, false);
}

INSTANTIATE_TEST_SUITE_P(
    LivePreview, CloseDuring,
    testing::Values(Moment{"AConnect",
                           {"--fault", "GET DEVICE INFO: wrong-checksum"},
                           IDC_CONNECT,
                           "GET DEVICE INFO"},
                    Moment{"ACapture", {"--finger-delay", "never"}, IDC_CAPTURE, "START CAPTURE"},
                    Moment{"AStream", {}, IDC_STREAM, "STREAM START"},
                    Moment{"AnAssistedCapture", {}, IDC_ASSISTED, "HOST ASSISTED CAPTURE START"},
                    Moment{"ADisconnect", {}, IDC_DISCONNECT, "GET DEVICE SETTINGS"}),
    [](const testing::TestParamInfo<Moment>& info) { return info.param.name; });

} // namespace
} // namespace ridge::test
