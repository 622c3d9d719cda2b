#include "program.h"

#include "hexadecimal.h"
#include "programrun.h"
#include "readpng.h"
#include "scanneridentifiers.h"

namespace ridge::tool {
namespace {

using test::contains;
using test::FakeWorker;
using test::readFile;
using test::readPng;
using test::writeFile;
using Bytes = std::vector<std::uint8_t>;
using Calls = std::vector<std::string>;

/// Ridges: half of the pixels black, half of them white.
Bytes stripes(std::size_t size) {
    Bytes pixels(size);
    for (std::size_t index = 0; index < size; ++index) {
        pixels[index] = index % 2 == 0 ? 0 : 255;
    }
    return pixels;
}

Bytes evenGrey(std::size_t size) {
    return Bytes(size, 200);
}

class Program : public test::ProgramRun {
protected:
    int runCapture(std::vector<std::string> more = {}) {
        std::vector<std::string> arguments{"capture", "--port", "COM7", "-o", picture().string()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }

    int runStream(const std::string& count, std::vector<std::string> more = {}) {
        std::vector<std::string> arguments{"stream",          "--port",  "COM7", "-o",
                                           images().string(), "--count", count};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }

    std::filesystem::path picture() const { return folder / "finger.png"; }
    std::filesystem::path images() const { return folder / "images"; }

    void expectStoppedOnThisThread() const {
        ASSERT_EQ(library.stoppingThreads.size(), 1U);
        EXPECT_EQ(library.stoppingThreads.front(), std::this_thread::get_id());
    }
};

} // namespace

TEST(Hexadecimal, Number_HasFourCapitalDigits) {
    EXPECT_EQ(hexadecimal(0x1209), "0x1209");
    EXPECT_EQ(hexadecimal(0xABCD), "0xABCD");
    EXPECT_EQ(hexadecimal(0x1), "0x0001");
    EXPECT_EQ(hexadecimal(0), "0x0000");
}

TEST_F(Program, Version_NamesProgramAndLibrary) {
    EXPECT_EQ(run({"--version"}), 0);
    EXPECT_TRUE(contains(output, "ridge "));
    EXPECT_TRUE(contains(output, "\nridge-sdk 9.8.7\n"));
    EXPECT_TRUE(contains(output, "\nscanners: USB vendor " + hexadecimal(scannerVendorId) +
                                     ", product " + hexadecimal(scannerProductId) + "\n"));
    EXPECT_EQ(errors, "");
}

TEST_F(Program, VersionAsJson_NamesProgramAndLibrary) {
    EXPECT_EQ(run({"--version", "--json"}), 0);
    EXPECT_EQ(json()["library"], "9.8.7");
    EXPECT_EQ(json()["vendorId"], hexadecimal(scannerVendorId));
    EXPECT_EQ(json()["productId"], hexadecimal(scannerProductId));
    EXPECT_EQ(json()["exitStatus"], 0);
}

TEST_F(Program, Help_GoesToTheOutput) {
    EXPECT_EQ(run({"capture", "--help"}), 0);
    EXPECT_TRUE(contains(output, "Usage: ridge capture"));
    EXPECT_EQ(errors, "");
}

TEST_F(Program, UsageError_LeavesTheScannerAlone) {
    EXPECT_EQ(run({"capture"}), 1);
    EXPECT_EQ(output, "");
    EXPECT_TRUE(contains(errors, "ridge: --output is required\nTry 'ridge capture --help'.\n"));
    EXPECT_EQ(library.calls, Calls{});
}

TEST_F(Program, UsageErrorWithJson_IsToldInIt) {
    EXPECT_EQ(run({"capture", "--json"}), 1);
    const std::string text = "--output is required\nTry 'ridge capture --help'.";
    EXPECT_EQ(json(),
              (nlohmann::json{{"exitStatus", 1}, {"error", {{"text", text}, {"status", 0}}}}));
    EXPECT_EQ(errors, "ridge: " + text + "\n");
}

TEST_F(Program, List_ShowsATable) {
    library.attached = {{"COM7", "RS-000007"}, {"COM12", "", "", "Ridge\x1B[2J"}};
    EXPECT_EQ(run({"list"}), 0);
    EXPECT_EQ(output, "PORT   SERIAL NUMBER  DESCRIPTION    MANUFACTURER\n"
                      "COM7   RS-000007      Ridge Scanner  Ridge\n"
                      "COM12                                Ridge?[2J\n");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(library.openLists, 0);
    EXPECT_EQ(library.calls, Calls{});
}

TEST_F(Program, List_WithoutScanners_SaysSo) {
    EXPECT_EQ(run({"list"}), 0);
    EXPECT_EQ(output, "no scanner is attached\n");
}

TEST_F(Program, ListAsJson_IsOneObject) {
    library.attached = {{"COM7", "RS-000007"}};
    EXPECT_EQ(run({"list", "--json"}), 0);
    EXPECT_EQ(json(), (nlohmann::json{{"command", "list"},
                                      {"scanners",
                                       {{{"port", "COM7"},
                                         {"serialNumber", "RS-000007"},
                                         {"description", "Ridge Scanner"},
                                         {"manufacturer", "Ridge"}}}},
                                      {"exitStatus", 0}}));
    library.attached = {};
    EXPECT_EQ(run({"list", "--json"}), 0);
    EXPECT_EQ(json()["scanners"], nlohmann::json::array());
}

TEST_F(Program, ListThatCannotBeMade_IsALibraryError) {
    library.queryStatus = RIDGE_UNEXPECTED_FAILURE;
    EXPECT_EQ(run({"list", "--json"}), 2);
    EXPECT_EQ(json()["error"]["text"], "looking for scanners: failed (status 4)");
}

TEST_F(Program, TheOnlyScanner_NeedsNoChoice) {
    library.attached = {{"COM12", "RS-000012"}};
    EXPECT_EQ(run({"info", "--json"}), 0);
    EXPECT_EQ(library.calls, (Calls{"connect to the scanner on COM12", "free"}));
    EXPECT_EQ(json()["port"], "COM12");
    EXPECT_TRUE(contains(errors, "connecting to COM12\n"));
    EXPECT_EQ(library.openLists, 0);
}

TEST_F(Program, SerialNumber_ChoosesTheScanner) {
    library.attached = {{"COM7", "RS-000007"}, {"COM12", "RS-000012"}};
    EXPECT_EQ(run({"settings", "--serial", "RS-000012", "--rotation", "1"}), 0);
    EXPECT_EQ(library.calls, (Calls{"connect to the scanner on COM12", "write settings", "free",
                                    "connect to the scanner on COM12", "free"}));
}

TEST_F(Program, Port_IsOpenedWithoutLookingForScanners) {
    library.queryStatus = RIDGE_UNEXPECTED_FAILURE;
    EXPECT_EQ(run({"info", "--port", "COM7"}), 0);
    EXPECT_EQ(library.calls, (Calls{"connect COM7", "free"}));
}

TEST_F(Program, NoScanner_EndsWithTwo) {
    EXPECT_EQ(run({"info"}), 2);
    EXPECT_TRUE(contains(errors, "ridge: no scanner is attached\n")) << errors;
    EXPECT_EQ(library.calls, Calls{});
}

TEST_F(Program, SeveralScannersWithoutChoice_AreListedAndLeftAlone) {
    library.attached = {{"COM7", "RS-000007"}, {"COM12", "RS-000012"}};
    EXPECT_EQ(run({"info", "--json"}), 1);
    EXPECT_EQ(json()["error"]["text"],
              "2 scanners are attached: choose one with --serial or --port\n"
              "PORT   SERIAL NUMBER  DESCRIPTION    MANUFACTURER\n"
              "COM7   RS-000007      Ridge Scanner  Ridge\n"
              "COM12  RS-000012      Ridge Scanner  Ridge");
    EXPECT_EQ(library.calls, Calls{});
    EXPECT_EQ(library.openLists, 0);
}

TEST_F(Program, UnknownSerialNumber_EndsWithTwoAndListsWhatThereIs) {
    library.attached = {{"COM7", "RS-000007"}};
    EXPECT_EQ(run({"info", "--serial", "rs-000007"}), 2);
    EXPECT_TRUE(contains(errors, "ridge: no scanner with the serial number rs-000007 is attached\n"
                                 "PORT  SERIAL NUMBER"))
        << errors;
    library.attached = {};
    EXPECT_EQ(run({"info", "--serial", "X"}), 2);
    EXPECT_TRUE(contains(errors, "ridge: no scanner with the serial number X is attached\n"))
        << errors;
}

TEST_F(Program, SerialNumberThatTwoScannersHave_IsNoChoice) {
    library.attached = {{"COM7", "S"}, {"COM12", "S"}};
    EXPECT_EQ(run({"info", "--serial", "S"}), 1);
    EXPECT_TRUE(contains(
        errors, "ridge: several scanners have the serial number S: choose one with --port\n"))
        << errors;
    EXPECT_EQ(library.calls, Calls{});
}

TEST_F(Program, Info_ShowsTheTextsInTheOrderOfTheirNumbers) {
    EXPECT_EQ(run({"info", "--port", "COM7"}), 0);
    EXPECT_EQ(output, "Text 1:   one\nText 2:   two\nText 3:   three\nText 4:   four\n"
                      "Text 5:   five\nText 6:   six\nText 7:   seven\n"
                      "Value 1:  11\nValue 2:  12\nFeatures: 0, 2\n");
    EXPECT_TRUE(contains(errors, "connecting to COM7\n"));
    EXPECT_EQ(library.calls, (Calls{"connect COM7", "free"}));
}

TEST_F(Program, InfoAsJson_IsOneObject) {
    EXPECT_EQ(run({"info", "--port", "COM7", "--json"}), 0);
    EXPECT_EQ(json(), (nlohmann::json{{"command", "info"},
                                      {"port", "COM7"},
                                      {"device",
                                       {{"text1", "one"},
                                        {"text2", "two"},
                                        {"text3", "three"},
                                        {"text4", "four"},
                                        {"text5", "five"},
                                        {"text6", "six"},
                                        {"text7", "seven"},
                                        {"value1", 11},
                                        {"value2", 12},
                                        {"features", 5}}},
                                      {"exitStatus", 0}}));
}

TEST_F(Program, InfoWithBytesThatAreNoText_StaysPrintable) {
    library.info.text1 = "a\x1B[2J\xFF";
    library.info.features = 0;
    EXPECT_EQ(run({"info", "--port", "COM7"}), 0);
    EXPECT_TRUE(contains(output, "Text 1:   a?[2J"));
    EXPECT_TRUE(contains(output, "Features: none\n"));
    EXPECT_EQ(run({"info", "--port", "COM7", "--json"}), 0);
    EXPECT_EQ(json()["device"]["text1"], "a\x1B[2J\xEF\xBF\xBD");
}

TEST_F(Program, PortAboveNine_IsOpenedWithThePrefixAndShownWithout) {
    EXPECT_EQ(run({"info", "--port", "COM12"}), 0);
    EXPECT_EQ(library.calls.front(), R"(connect \\.\COM12)");
    EXPECT_TRUE(contains(errors, "connecting to COM12\n"));
}

TEST_F(Program, ConnectFailure_ShowsTextAndStatus) {
    library.connectStatus = RIDGE_SERIAL_PORT_ERROR;
    library.errorText = "File not found.\r\n";
    EXPECT_EQ(run({"info", "--port", "COM7"}), 2);
    EXPECT_EQ(output, "");
    EXPECT_TRUE(contains(errors, "\nridge: connecting to COM7: File not found. (status 5)\n"));
}

TEST_F(Program, ConnectFailureAsJson_HoldsTextAndStatus) {
    library.connectStatus = RIDGE_SERIAL_PORT_ERROR;
    library.errorText = "File not found.\r\n";
    EXPECT_EQ(run({"info", "--port", "COM7", "--json"}), 2);
    EXPECT_EQ(json(), (nlohmann::json{{"command", "info"},
                                      {"port", "COM7"},
                                      {"exitStatus", 2},
                                      {"error",
                                       {{"text", "connecting to COM7: File not found. (status 5)"},
                                        {"status", 5}}}}));
}

TEST_F(Program, OutputThatCannotBeWritten_IsAFailure) {
    std::ostringstream err;
    Messages messages(err, *clock);
    std::istringstream noInput;
    std::ostream closed(nullptr);
    const Environment environment{noInput, false, closed, std::nullopt, *clock, "OS 1"};
    EXPECT_EQ(runProgram({"info", "--port", "COM7"}, environment, messages, interruption),
              ExitStatus::otherFailure);
    EXPECT_TRUE(contains(err.str(), "standard output"));
}

TEST_F(Program, Log_ShowsTheLibrarysLines) {
    EXPECT_EQ(run({"info", "--port", "COM7", "--log", "warning"}), 0);
    EXPECT_EQ(library.logLevel, 'W');
    EXPECT_TRUE(contains(errors, "[a line of the log]\n"));
    EXPECT_FALSE(contains(output, "log"));
}

TEST_F(Program, Settings_AreShown) {
    EXPECT_EQ(run({"settings", "--port", "COM7"}), 0);
    EXPECT_EQ(output, "Rotation: 2\nOption:   off\n");
    EXPECT_EQ(library.calls, (Calls{"connect COM7", "free"}));
}

TEST_F(Program, SettingsThatAreWritten_AreReadThroughANewConnection) {
    EXPECT_EQ(run({"settings", "--port", "COM7", "--option", "1"}), 0);
    EXPECT_EQ(output, "Rotation: 2\nOption:   on\n");
    EXPECT_EQ(library.calls,
              (Calls{"connect COM7", "write settings", "free", "connect COM7", "free"}));
    EXPECT_TRUE(contains(errors, "settings written; a new connection reads them\n"));
}

TEST_F(Program, SettingsAsJson_AreNumbers) {
    EXPECT_EQ(run({"settings", "--port", "COM7", "--rotation", "3", "--json"}), 0);
    EXPECT_EQ(json(), (nlohmann::json{{"command", "settings"},
                                      {"port", "COM7"},
                                      {"written", true},
                                      {"settings", {{"rotation", 3}, {"option", 0}}},
                                      {"exitStatus", 0}}));
}

TEST_F(Program, SettingsThatCannotBeWritten_AreALibraryError) {
    library.settingsStatus = RIDGE_NO_RESPONSE;
    library.errorText = "No answer";
    EXPECT_EQ(run({"settings", "--port", "COM7", "--rotation", "1"}), 2);
    EXPECT_TRUE(contains(errors, "ridge: writing the settings: No answer (status 9)\n"));
}

TEST_F(Program, Capture_StoresThePicture) {
    library.operation = [](FakeWorker& worker) {
        worker.event(1250);
        worker.imageWithExtras(3, 2, {10, 20, 30, 40, 50, 60});
    };
    EXPECT_EQ(runCapture(), 0) << errors;
    const test::Picture stored = readPng(readFile(picture()));
    EXPECT_EQ(stored.width, 3);
    EXPECT_EQ(stored.height, 2);
    EXPECT_EQ(stored.pixels, (Bytes{10, 20, 30, 40, 50, 60}));
    EXPECT_EQ(folder.entries(), 1U);
    EXPECT_EQ(output, picture().string() + "\n");
    for (const auto* text : {"connecting to COM7\n", "waiting for a finger, at most 10.0 s\n",
                             "event after 1.2 s\n", "image received: 3 x 2 pixels, 6 bytes\n"}) {
        EXPECT_TRUE(contains(errors, text)) << text;
    }
}

TEST_F(Program, Capture_HandsItsOptionsToTheLibrary) {
    writeFile(folder / "block", std::string(256, 'b'));
    library.operation = [](FakeWorker& worker) { worker.image(1, 1, {0}); };
    EXPECT_EQ(runCapture({"--finger", "4", "--timeout", "2500", "--option", "6", "--block",
                          (folder / "block").string()}),
              0);
    EXPECT_EQ(library.calls, (Calls{"connect COM7", "capture", "free"}));
    EXPECT_EQ(library.parameters.fingerPosition, 4);
    EXPECT_EQ(library.parameters.captureTimeout, 2500U);
    EXPECT_EQ(library.parameters.captureOption, 6U);
    EXPECT_EQ(library.block, Bytes(256, 'b'));
}

TEST_F(Program, CaptureWithoutBlock_HandsNoneOver) {
    library.operation = [](FakeWorker& worker) { worker.image(1, 1, {0}); };
    EXPECT_EQ(runCapture(), 0);
    EXPECT_TRUE(library.block.empty());
}

TEST_F(Program, CaptureAsJson_TellsAllAboutTheImage) {
    library.operation = [](FakeWorker& worker) {
        worker.imageWithExtras(3, 2, {10, 20, 30, 40, 50, 60});
    };
    EXPECT_EQ(runCapture({"--json"}), 0);
    EXPECT_EQ(json(), (nlohmann::json{{"command", "capture"},
                                      {"port", "COM7"},
                                      {"image",
                                       {{"file", picture().string()},
                                        {"width", 3},
                                        {"height", 2},
                                        {"size", 6},
                                        {"extraValue", 7},
                                        {"trailer", "01ab"},
                                        {"flagA", true},
                                        {"flagB", false},
                                        {"flagC", true}}},
                                      {"exitStatus", 0}}));
}

TEST_F(Program, ShownCapture_IsDrawnOnTheTerminal) {
    library.operation = [](FakeWorker& worker) { worker.image(1, 2, {0, 255}); };
    outputTerminal = Terminal{40, true};
    EXPECT_EQ(runCapture({"--show"}), 0) << errors;
    EXPECT_EQ(output, "\x1B[38;2;0;0;0m\x1B[48;2;255;255;255m\xE2\x96\x80\x1B[0m\n" +
                          picture().string() + "\n");
}

TEST_F(Program, ShownCapture_OnATerminalWithoutColoursAndInAFile_HasNoEscapeSequences) {
    library.operation = [](FakeWorker& worker) {
        worker.image(4, 2, {0, 255, 0, 255, 0, 255, 0, 255});
    };
    outputTerminal = Terminal{2, false};
    EXPECT_EQ(runCapture({"--show"}), 0) << errors;
    EXPECT_EQ(output, "++\n" + picture().string() + "\n");
    outputTerminal.reset();
    EXPECT_EQ(runCapture({"--show"}), 0) << errors;
    EXPECT_EQ(output, "@ @\n" + picture().string() + "\n");
}

TEST_F(Program, ShownStream_IsDrawnImageByImage) {
    library.operation = [](FakeWorker& worker) {
        worker.image(1, 2, {0, 0});
        worker.image(1, 2, {255, 255});
        worker.image(1, 2, {128, 128});
        worker.waitForStop();
    };
    EXPECT_EQ(runStream("3", {"--show"}), 0) << errors;
    EXPECT_EQ(output, "@\n\n=\n3 of 3 images in " + images().string() + "\n");
}

TEST_F(Program, CaptureThatSeesNoFinger_HasNoImage) {
    library.operation = [](FakeWorker& worker) { worker.error(RIDGE_TIMEOUT, "Capture timeout"); };
    EXPECT_EQ(runCapture(), 3);
    EXPECT_TRUE(contains(errors, "ridge: capturing: Capture timeout (status 7)\n"));
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(Program, CaptureWhosePortTakesNoBytes_IsALibraryError) {
    library.operation = [](FakeWorker& worker) { worker.error(RIDGE_TIMEOUT, "Write timeout"); };
    EXPECT_EQ(runCapture(), 2);
}

TEST_F(Program, CaptureThatFails_IsALibraryErrorAndLeavesTheOlderPicture) {
    writeFile(picture(), "old");
    library.operation = [](FakeWorker& worker) {
        worker.error(RIDGE_SERIAL_PORT_ERROR, "Serial port error. Gone.\r\n");
    };
    EXPECT_EQ(runCapture(), 2);
    EXPECT_TRUE(contains(errors, "ridge: capturing: Serial port error. Gone. (status 5)\n"));
    EXPECT_EQ(readFile(picture()), "old");
    EXPECT_EQ(folder.entries(), 1U);
}

TEST_F(Program, CaptureThatCannotBeStarted_IsALibraryError) {
    library.startStatus = RIDGE_CAPTURE_ACTIVE;
    library.errorText = "Capture is active.";
    EXPECT_EQ(runCapture(), 2);
    EXPECT_TRUE(contains(errors, "ridge: starting the capture: Capture is active. (status 12)\n"));
}

TEST_F(Program, CaptureOfAnUnexpectedSize_NamesTheSizesAndStoresNothing) {
    library.operation = [](FakeWorker& worker) { worker.image(3, 2, {1, 2, 3}); };
    EXPECT_EQ(runCapture(), 4);
    EXPECT_TRUE(contains(errors, "3 x 2 pixels, but 3 bytes instead of 6\n"));
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(Program, CaptureIntoAnImpossiblePlace_LeavesTheScannerAlone) {
    writeFile(folder / "file", "x");
    EXPECT_EQ(run({"capture", "--port", "COM7", "-o", ((folder / "file") / "f.png").string()}), 1);
    EXPECT_EQ(library.calls, Calls{});
    EXPECT_EQ(run({"capture", "--port", "COM7", "--json", "-o", (folder / "").string()}), 1);
    EXPECT_EQ(library.calls, Calls{});
    EXPECT_EQ(json()["exitStatus"], 1);
    EXPECT_EQ(json()["error"]["status"], 0);
}

TEST_F(Program, CaptureWithAWrongBlock_LeavesTheScannerAlone) {
    writeFile(folder / "block", "too short");
    EXPECT_EQ(runCapture({"--block", (folder / "block").string()}), 1);
    EXPECT_EQ(library.calls, Calls{});
}

TEST_F(Program, InterruptedCapture_IsStoppedOnTheMainThread) {
    library.operation = [this](FakeWorker& worker) {
        interruption.request();
        worker.waitForStop();
    };
    EXPECT_EQ(runCapture(), 130);
    expectStoppedOnThisThread();
    EXPECT_EQ(library.calls, (Calls{"connect COM7", "capture", "stop", "free"}));
    EXPECT_TRUE(contains(errors, "\nridge: interrupted\n"));
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(Program, InterruptedCaptureAsJson_SaysSo) {
    library.operation = [this](FakeWorker& worker) {
        interruption.request();
        worker.waitForStop();
    };
    EXPECT_EQ(runCapture({"--json"}), 130);
    EXPECT_EQ(json()["exitStatus"], 130);
    EXPECT_EQ(json()["error"]["text"], "interrupted");
}

TEST_F(Program, InterruptedCaptureWhoseStopIsNotConfirmed_ShowsThatToo) {
    library.operation = [this](FakeWorker& worker) {
        interruption.request();
        worker.waitForStop();
        worker.error(RIDGE_NO_RESPONSE, "STOP CAPTURE timeout");
    };
    EXPECT_EQ(runCapture(), 130);
    EXPECT_TRUE(contains(errors, "ridge: stopping: STOP CAPTURE timeout (status 9)\n"));
}

TEST_F(Program, InterruptionWhileConnecting_StartsNothing) {
    library.onConnect = [this] { interruption.request(); };
    EXPECT_EQ(runCapture(), 130);
    EXPECT_EQ(library.calls, (Calls{"connect COM7", "free"}));
}

TEST_F(Program, HostAssistedCapture_RejectsUntilTheContrastIsGood) {
    library.operation = [](FakeWorker& worker) {
        worker.image(10, 10, evenGrey(100));
        EXPECT_EQ(worker.verdict(), false);
        worker.image(10, 10, stripes(100));
        EXPECT_EQ(worker.verdict(), true);
        worker.image(2, 2, {1, 2, 3, 4});
    };
    EXPECT_EQ(runCapture({"--host-assisted", "--json"}), 0) << errors;
    EXPECT_EQ(library.calls,
              (Calls{"connect COM7", "host-assisted capture", "reject", "accept", "free"}));
    EXPECT_EQ(readPng(readFile(picture())).pixels, (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(json()["rejectedImages"], 1);
    EXPECT_TRUE(contains(errors, "image rejected: 10 x 10 pixels, 100 bytes, contrast 0 is below"));
    EXPECT_TRUE(contains(errors, "image accepted: 10 x 10 pixels, 100 bytes, contrast 255\n"));
}

TEST_F(Program, HostAssistedCapture_GivesUpAfterItsAttempts) {
    library.operation = [](FakeWorker& worker) {
        do {
            worker.image(10, 10, evenGrey(100));
        } while (worker.verdict());
    };
    EXPECT_EQ(runCapture({"--host-assisted", "--attempts", "2"}), 3);
    EXPECT_EQ(library.calls,
              (Calls{"connect COM7", "host-assisted capture", "reject", "stop", "free"}));
    expectStoppedOnThisThread();
    EXPECT_TRUE(contains(errors, "ridge: no image was good enough; rejected: 2\n"));
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(Program, HostAssistedCaptureWithoutFinalImage_HasNoImage) {
    library.operation = [](FakeWorker& worker) {
        worker.image(10, 10, stripes(100));
        EXPECT_EQ(worker.verdict(), true);
        worker.error(RIDGE_TIMEOUT, "Capture timeout");
    };
    EXPECT_EQ(runCapture({"--host-assisted"}), 3);
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(Program, Stream_StoresAsManyImagesAsWanted) {
    library.operation = [](FakeWorker& worker) {
        for (std::uint8_t shade = 1; shade <= 3; ++shade) {
            worker.image(2, 1, {shade, shade});
        }
        worker.waitForStop();
    };
    EXPECT_EQ(runStream("2"), 0) << errors;
    EXPECT_EQ(readPng(readFile(images() / "image-0001.png")).pixels, (Bytes{1, 1}));
    EXPECT_EQ(readPng(readFile(images() / "image-0002.png")).pixels, (Bytes{2, 2}));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(images()), {}), 2);
    expectStoppedOnThisThread();
    EXPECT_EQ(output, "2 of 2 images in " + images().string() + "\n");
}

TEST_F(Program, StreamAsJson_ListsTheImages) {
    library.operation = [](FakeWorker& worker) {
        worker.error(RIDGE_MALFORMED_DATA, "Invalid capture data");
        worker.image(2, 1, {9, 9});
        worker.waitForStop();
    };
    EXPECT_EQ(runStream("1", {"--json"}), 0);
    const nlohmann::json result = json();
    EXPECT_EQ(result["command"], "stream");
    EXPECT_EQ(result["directory"], images().string());
    EXPECT_EQ(result["invalidImages"], 1);
    ASSERT_EQ(result["images"].size(), 1U);
    EXPECT_EQ(result["images"][0]["file"], (images() / "image-0001.png").string());
    EXPECT_EQ(result["images"][0]["width"], 2);
    EXPECT_EQ(result["exitStatus"], 0);
    EXPECT_TRUE(contains(errors, "image left out: streaming: Invalid capture data (status 10)\n"));
}

TEST_F(Program, StreamThatFails_KeepsAndListsWhatItStored) {
    library.operation = [](FakeWorker& worker) {
        worker.image(2, 1, {9, 9});
        worker.error(RIDGE_MALFORMED_DATA, "Invalid stream data length 15");
    };
    EXPECT_EQ(runStream("2", {"--json"}), 2);
    EXPECT_EQ(json()["images"].size(), 1U);
    EXPECT_EQ(json()["error"]["status"], RIDGE_MALFORMED_DATA);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(images()), {}), 1);
}

TEST_F(Program, StreamWhoseStopIsNotConfirmed_IsALibraryErrorWithAllImages) {
    library.operation = [](FakeWorker& worker) {
        worker.image(2, 1, {9, 9});
        worker.waitForStop();
        worker.error(RIDGE_NO_RESPONSE, "STOP CAPTURE timeout");
    };
    EXPECT_EQ(runStream("1"), 2);
    EXPECT_TRUE(contains(output, "1 of 1 images"));
    EXPECT_TRUE(contains(errors, "ridge: stopping: STOP CAPTURE timeout (status 9)\n"));
}

TEST_F(Program, InterruptedStream_KeepsWhatItStored) {
    library.operation = [this](FakeWorker& worker) {
        worker.image(2, 1, {9, 9});
        interruption.request();
        worker.waitForStop();
    };
    EXPECT_EQ(runStream("5"), 130);
    expectStoppedOnThisThread();
    EXPECT_TRUE(std::filesystem::exists(images() / "image-0001.png"));
    EXPECT_EQ(output, "1 of 5 images in " + images().string() + "\n");
}

TEST_F(Program, StreamIntoAFile_LeavesTheScannerAlone) {
    writeFile(images(), "x");
    EXPECT_EQ(runStream("1"), 1);
    EXPECT_EQ(library.calls, Calls{});
}

const std::string keyText = "0123456789abcdefSECRETKEYMATERIAL";

TEST_F(Program, KeySet_TakesTheFilesBytes) {
    const std::string key = keyText.substr(0, 32);
    writeFile(folder / "key", key);
    EXPECT_EQ(run({"key", "set", "--port", "COM7", (folder / "key").string()}), 0);
    EXPECT_EQ(output, "the device key is set\n");
    EXPECT_EQ(std::string(library.key.begin(), library.key.end()), key);
    EXPECT_EQ(library.calls, (Calls{"connect COM7", "set key", "free"}));
}

TEST_F(Program, KeySet_FromStandardInput_TakesItsBytes) {
    input = std::string("\r\n\0\x1A", 4) + std::string(28, 'k');
    EXPECT_EQ(run({"key", "set", "--port", "COM7", "-"}), 0);
    EXPECT_EQ(std::string(library.key.begin(), library.key.end()), input);
}

TEST_F(Program, Key_IsNeverShown) {
    library.securityStatus = RIDGE_DEVICE_FAILURE;
    library.errorText = "SET KEY: Failed (32) with error 5. no";
    for (const std::size_t size : {31U, 32U, 33U}) {
        input = keyText.substr(0, size);
        EXPECT_NE(run({"key", "set", "--port", "COM7", "-", "--json", "--log", "debug"}), 0);
        EXPECT_FALSE(contains(output + errors, "SECRET")) << output << errors;
        EXPECT_FALSE(contains(output + errors, "012345")) << output << errors;
    }
}

TEST_F(Program, KeyOfAnotherSize_LeavesTheScannerAlone) {
    input = "short";
    EXPECT_EQ(run({"key", "set", "--port", "COM7", "-"}), 1);
    EXPECT_TRUE(
        contains(errors, "ridge: standard input: a device key has exactly 32 bytes, here are 5\n"))
        << errors;
    EXPECT_EQ(library.calls, Calls{});
}

TEST_F(Program, KeyClear_ClearsIt) {
    EXPECT_EQ(run({"key", "clear", "--port", "COM7", "--json"}), 0);
    EXPECT_EQ(library.calls, (Calls{"connect COM7", "clear key", "free"}));
    EXPECT_EQ(json(),
              (nlohmann::json{{"command", "key clear"}, {"port", "COM7"}, {"exitStatus", 0}}));
}

TEST_F(Program, CertGet_StoresTheCertificate) {
    library.certificate = {1, 2, 3};
    EXPECT_EQ(run({"cert", "get", "--port", "COM7", "-o", (folder / "a.der").string()}), 0);
    EXPECT_EQ(readFile(folder / "a.der"), "\x01\x02\x03");
    EXPECT_EQ(output, (folder / "a.der").string() + "\n");
    EXPECT_EQ(library.openCertificates, 0);
}

TEST_F(Program, CertGetAsJson_NamesFileAndSize) {
    library.certificate = {1, 2, 3};
    EXPECT_EQ(run({"cert", "get", "--port", "COM7", "-o", (folder / "a.der").string(), "--json"}),
              0);
    EXPECT_EQ(json()["certificate"],
              (nlohmann::json{{"file", (folder / "a.der").string()}, {"size", 3}}));
}

TEST_F(Program, CertGetWithoutCertificate_FailsAndLeavesNoFile) {
    EXPECT_EQ(run({"cert", "get", "--port", "COM7", "-o", (folder / "a.der").string()}), 4);
    EXPECT_TRUE(contains(errors, "ridge: the scanner has no certificate\n")) << errors;
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(Program, CertSet_TakesTheFilesBytes) {
    writeFile(folder / "a.der", "\x30\x01");
    EXPECT_EQ(run({"cert", "set", "--port", "COM7", (folder / "a.der").string()}), 0);
    EXPECT_EQ(library.certificate, (Bytes{0x30, 0x01}));
    EXPECT_EQ(output, "the certificate is set\n");
}

TEST_F(Program, CertSetOfTooManyBytes_LeavesTheScannerAlone) {
    writeFile(folder / "a.der", std::string(6001, 'x'));
    EXPECT_EQ(run({"cert", "set", "--port", "COM7", (folder / "a.der").string()}), 1);
    EXPECT_TRUE(contains(errors, "a certificate has 1 to 6000 bytes, here are more"));
    EXPECT_EQ(library.calls, Calls{});
}

TEST_F(Program, CertClear_ClearsIt) {
    EXPECT_EQ(run({"cert", "clear", "--port", "COM7"}), 0);
    EXPECT_EQ(output, "the certificate is cleared\n");
    EXPECT_EQ(library.calls, (Calls{"connect COM7", "clear certificate", "free"}));
}

TEST_F(Program, SecurityCommandThatFails_EndsWithTwoAndTheLibrarysText) {
    library.securityStatus = RIDGE_NO_RESPONSE;
    library.errorText = "Timeout clearing device key.";
    EXPECT_EQ(run({"key", "clear", "--port", "COM7"}), 2);
    EXPECT_TRUE(contains(
        errors, "ridge: clearing the device key: Timeout clearing device key. (status 9)\n"))
        << errors;
}

TEST_F(Program, Csr_StoresTheRequest) {
    library.createCsr = [](ridgeCsrCallback onCsr, ridgeErrorCallback, void* userContext) {
        const Bytes request{0x30, 0x82, 0x01};
        onCsr(request.data(), 3, userContext);
    };
    EXPECT_EQ(
        run({"csr", "--port", "COM7", "--cn", "Ann", "--c", "DE", "--l", "Town", "--o", "Firm",
             "--ou", "Unit", "--st", "State", "-o", (folder / "ann.csr").string(), "--json"}),
        0);
    EXPECT_EQ(readFile(folder / "ann.csr"), "\x30\x82\x01");
    EXPECT_EQ(json()["request"],
              (nlohmann::json{{"file", (folder / "ann.csr").string()}, {"size", 3}}));
    EXPECT_EQ(library.calls,
              (Calls{"connect COM7", "create csr Ann|DE|Town|Firm|Unit|State", "free"}));
}

TEST_F(Program, CsrWithABadSubject_EndsWithTwoAndLeavesNoFile) {
    library.securityStatus = RIDGE_INVALID_ARGUMENT;
    library.errorText = "Invalid country name value.";
    EXPECT_EQ(run({"csr", "--port", "COM7", "--cn", "Ann", "--c", "DEU", "-o",
                   (folder / "ann.csr").string()}),
              2);
    EXPECT_TRUE(
        contains(errors, "ridge: creating the request: Invalid country name value. (status 2)\n"));
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(Program, CsrThatTheScannerRefuses_EndsWithTwoAndLeavesNoFile) {
    library.createCsr = [](ridgeCsrCallback, ridgeErrorCallback onError, void* userContext) {
        onError(RIDGE_NO_RESPONSE, "Timeout creating CSR.", userContext);
    };
    EXPECT_EQ(run({"csr", "--port", "COM7", "--cn", "Ann", "-o", (folder / "ann.csr").string()}),
              2);
    EXPECT_TRUE(
        contains(errors, "ridge: creating the request: Timeout creating CSR. (status 9)\n"));
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(Program, CsrThatIsInterrupted_WaitsForTheScannerAndLeavesNoFile) {
    library.createCsr = [this](ridgeCsrCallback onCsr, ridgeErrorCallback, void* userContext) {
        interruption.request();
        const Bytes request{0x30};
        onCsr(request.data(), 1, userContext);
    };
    EXPECT_EQ(run({"csr", "--port", "COM7", "--cn", "Ann", "-o", (folder / "ann.csr").string()}),
              130);
    EXPECT_TRUE(contains(errors, "interrupted; the scanner has to finish first\n")) << errors;
    EXPECT_EQ(folder.entries(), 0U);
}

} // namespace ridge::tool
