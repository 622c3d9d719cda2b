#include "programrun.h"
#include "steppingclock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <map>

namespace ridge::tool {
namespace {

using test::contains;
using test::FakeWorker;
using test::readFile;
using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

const Bytes pixels(6, 0x5A);

/// A finger that does what the person is told, and a scanner that works.
class SelfTestProgram : public test::ProgramRun {
protected:
    SelfTestProgram() {
        library.attached = {{"COM7", "RS-000007"}};
        library.operation = [this](FakeWorker& worker) {
            operations.at(worker.operation())(worker);
        };
        operations = {
            {"capture", [this](FakeWorker& worker) { captures.at(captureNumber++)(worker); }},
            {"stream",
             [](FakeWorker& worker) {
                 for (int image = 1; image <= 3; ++image) {
                     worker.image(3, 2, pixels);
                 }
                 worker.waitForStop();
             }},
            {"host-assisted capture", [](FakeWorker& worker) {
                 do {
                     worker.image(3, 2, pixels);
                 } while (worker.verdict() == false);
                 worker.image(3, 2, pixels);
             }}};
        library.createCsr = [](ridgeCsrCallback onCsr, ridgeErrorCallback, void* userContext) {
            const Bytes request{0x30, 0x82, 0x01};
            onCsr(request.data(), 3, userContext);
        };
    }

    int runSelfTest(std::vector<std::string> more = {}) {
        std::vector<std::string> arguments{"selftest", "-o", reportFile().string()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const int status = run(arguments);
        report = readFile(reportFile());
        return status;
    }

    [[nodiscard]] std::filesystem::path reportFile() const { return folder / "report.md"; }

    /// The names of the checks in the JSON output that ended so.
    Names checksThat(const std::string& status) const {
        Names names;
        const nlohmann::json result = json();
        for (const auto& check : result["checks"]) {
            if (check["status"] == status) {
                names.push_back(check["name"]);
            }
        }
        return names;
    }

    std::string textOf(const std::string& name) const {
        const nlohmann::json result = json();
        for (const auto& check : result["checks"]) {
            if (check["name"] == name) {
                return check["text"];
            }
        }
        return "no check is named " + name;
    }

    const Names securityChecks{"Certificate reading", "Certificate writing", "Signing request",
                               "Device key", "Certificate clearing"};

    std::map<std::string, std::function<void(FakeWorker&)>> operations;
    /// One for each capture of the test: without a finger, stopped, with one.
    std::vector<std::function<void(FakeWorker&)>> captures{
        [](FakeWorker& worker) { worker.error(RIDGE_TIMEOUT, "Capture timeout"); },
        [](FakeWorker& worker) { worker.waitForStop(); },
        [](FakeWorker& worker) {
            worker.event(10);
            worker.event(20);
            worker.image(3, 2, pixels);
        }};
    std::atomic<std::size_t> captureNumber{0};
    std::string report;
};

} // namespace

TEST_F(SelfTestProgram, WithAWorkingScanner_PassesAndTellsWhatItFound) {
    EXPECT_EQ(runSelfTest(), 0) << errors;
    EXPECT_EQ(
        output,
        "passed   Version                        9.8.7\n"
        "passed   Discovery                      found on COM7; 1 attached\n"
        "passed   Connection                     by list entry and by the port's name\n"
        "passed   Information                    one\n"
        "passed   Settings                       rotation 2, option off; changed and put back\n"
        "passed   Refused settings               writing the settings: Invalid rotation angle "
        "4. (status 2)\n"
        "passed   Capture without finger         Capture timeout\n"
        "passed   Stopped capture                a second start was refused; stopped\n"
        "passed   Capture                        3 x 2 pixels, 6 bytes\n"
        "passed   Capture events                 2 reported by the capture\n"
        "passed   Stream                         3 images, the last of 3 x 2 pixels, 6 bytes\n"
        "passed   Host-assisted capture          one image rejected, one accepted, then 3 x 2 "
        "pixels, 6 bytes\n"
        "passed   Stopped host-assisted capture  stopped while it waited for the verdict\n"
        "passed   Reconnection                   the scanner tells the same about itself as "
        "before\n"
        "skipped  Unplugging                     only with --with-unplugging\n"
        "skipped  Certificate reading            only with --with-security\n"
        "skipped  Certificate writing            only with --with-security\n"
        "skipped  Signing request                only with --with-security\n"
        "skipped  Device key                     only with --with-security\n"
        "skipped  Certificate clearing           only with --with-security\n"
        "14 passed, 0 failed, 6 skipped\n" +
            reportFile().string() + "\n");
    EXPECT_EQ(folder.entries(), 1U);
    EXPECT_EQ(library.openLists, 0);
}

TEST_F(SelfTestProgram, Settings_AreChangedAndPutBack) {
    std::vector<int> rotations;
    library.onConnect = [&] { rotations.push_back(library.settings.rotation); };
    EXPECT_EQ(runSelfTest(), 0) << errors;
    EXPECT_NE(std::find(rotations.begin(), rotations.end(), 3), rotations.end());
    EXPECT_EQ(library.settings.rotation, 2);
    EXPECT_EQ(library.settings.option, 0);
}

TEST_F(SelfTestProgram, Report_HoldsVersionsChecksAndLog) {
    EXPECT_EQ(runSelfTest(), 0) << errors;
    for (const auto* text :
         {"# Self-test of a ridge scanner\n\n14 passed, 0 failed, 6 skipped\n", "| Started | 20",
          "| ridge-sdk | 9.8.7 |\n| System | OS 1 |\n| Port | COM7 |\n| Serial number | RS-000007 "
          "|\n",
          "| Text 1 | one |\n", "| Capture | passed | 0.", " s | 3 x 2 pixels, 6 bytes |\n",
          "    [a line of the log]\n"}) {
        EXPECT_TRUE(contains(report, text)) << text << "\n" << report;
    }
}

TEST_F(SelfTestProgram, Json_IsOneObjectAndTheReportIsWrittenAllTheSame) {
    EXPECT_EQ(runSelfTest({"--json"}), 0) << errors;
    EXPECT_EQ(json()["command"], "selftest");
    EXPECT_EQ(json()["facts"]["System"], "OS 1");
    EXPECT_EQ(json()["report"], reportFile().string());
    EXPECT_EQ(json()["exitStatus"], 0);
    EXPECT_EQ(checksThat("failed"), Names{});
    EXPECT_TRUE(contains(report, "14 passed"));
}

TEST_F(SelfTestProgram, LogLinesOfEveryLevel_AreInTheReport_AndPacketBytesAreNot) {
    library.onConnect = [this] {
        library.log('D', "[D 1 file.cpp:1 20240131-142501] a debug line");
        library.log('E', "[E 1 file.cpp:2 20240131-142501] Data: 5a:5a:5a:5a");
    };
    EXPECT_EQ(runSelfTest({"--log", "error"}), 0) << errors;
    EXPECT_TRUE(contains(report, "    [D 1 file.cpp:1 20240131-142501] a debug line\n"));
    EXPECT_TRUE(contains(report, "] Data: (left out)\n"));
    EXPECT_FALSE(contains(report, "5a:5a"));
    EXPECT_FALSE(contains(errors, "a debug line"));
}

TEST_F(SelfTestProgram, CheckThatFails_IsReportedAndTheOthersAreRun) {
    operations["stream"] = [](FakeWorker& worker) {
        worker.image(3, 2, pixels);
        worker.error(RIDGE_DEVICE_FAILURE, "Failed (77): broken sensor");
    };
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Stream"});
    EXPECT_EQ(textOf("Stream"), "waiting for image 2: Failed (77): broken sensor (status 13)");
    EXPECT_EQ(checksThat("passed").size(), 13U);
    EXPECT_EQ(json()["error"]["text"], "13 passed, 1 failed, 6 skipped");
    EXPECT_TRUE(contains(report, "| Stream | failed |"));
    EXPECT_TRUE(contains(errors, "] Stream: FAILED: waiting for image 2"));
}

TEST_F(SelfTestProgram, LateAnswerToAFailedCheck_DoesNotFailTheNextOne) {
    operations["stream"] = [this](FakeWorker& worker) {
        library.connectStatus = RIDGE_NO_RESPONSE;
        worker.error(RIDGE_NO_RESPONSE, "Timeout");
    };
    int connections = 0;
    library.onConnect = [&] {
        if (library.connectStatus != RIDGE_SUCCESS && ++connections == 2) {
            library.connectStatus = RIDGE_SUCCESS;
        }
    };
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Stream"});
    EXPECT_EQ(connections, 2);
}

TEST_F(SelfTestProgram, CaptureWithoutFingerThatBringsAnImage_Fails) {
    captures[0] = captures[2];
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Capture without finger"});
}

TEST_F(SelfTestProgram, CaptureWithoutEvent_FailsThatCheckAlone) {
    captures[2] = [](FakeWorker& worker) { worker.image(3, 2, pixels); };
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Capture events"});
    EXPECT_EQ(textOf("Capture events"), "the capture reported none");
}

TEST_F(SelfTestProgram, ImageOfAnotherSizeThanItSays_Fails) {
    captures[2] = [](FakeWorker& worker) {
        worker.event(1);
        worker.image(3, 3, pixels);
    };
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Capture"});
}

TEST_F(SelfTestProgram, StopThatIsNotConfirmed_Fails) {
    captures[1] = [](FakeWorker& worker) {
        worker.waitForStop();
        worker.error(RIDGE_NO_RESPONSE, "STOP CAPTURE timeout");
    };
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Stopped capture"});
    EXPECT_EQ(textOf("Stopped capture"), "stopping: STOP CAPTURE timeout (status 9)");
}

TEST_F(SelfTestProgram, ImageThatNeverComes_FailsAfterItsTime) {
    operations["host-assisted capture"] = [](FakeWorker& worker) { worker.waitForStop(); };
    // What the other checks wait for has arrived before they look, or they have no time either.
    const test::SteppingClock hurrying(std::chrono::seconds(20));
    clock = &hurrying;
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(textOf("Host-assisted capture"),
              "waiting for the image to reject: it did not come in time");
    EXPECT_EQ(textOf("Stopped host-assisted capture"),
              "waiting for the image: it did not come in time");
}

TEST_F(SelfTestProgram, SettingsThatTheScannerForgets_FailAndArePutBackInTheEnd) {
    int connections = 0;
    library.onConnect = [&] {
        // The third session is the first with the changed settings.
        if (++connections == 4) {
            library.settings = {0, 0};
        }
    };
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Settings"});
    EXPECT_EQ(textOf("Settings"),
              "the scanner has rotation 0, option off after rotation 3, option on was written");
    EXPECT_EQ(textOf("Settings put back"), "rotation 2, option off");
    EXPECT_EQ(library.settings.rotation, 2);
}

TEST_F(SelfTestProgram, ScannerThatCannotBeConnected_FailsEveryCheckThatNeedsIt) {
    library.connectStatus = RIDGE_SERIAL_PORT_ERROR;
    library.errorText = "Access is denied.";
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(checksThat("passed"), (Names{"Version", "Discovery"}));
    EXPECT_EQ(textOf("Capture"), "connecting to COM7: Access is denied. (status 5)");
    EXPECT_FALSE(contains(errors, "Settings put back"));
}

TEST_F(SelfTestProgram, NoScanner_IsReported) {
    library.attached = {};
    EXPECT_EQ(runSelfTest({"--json"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Discovery"});
    EXPECT_EQ(textOf("Discovery"), "no scanner is attached");
    EXPECT_EQ(textOf("Capture"), "there is no scanner");
    EXPECT_TRUE(contains(report, "| Discovery | failed |"));
}

TEST_F(SelfTestProgram, SeveralScannersWithoutChoice_AreLeftAloneAndLeaveNoReport) {
    library.attached = {{"COM7", "A"}, {"COM8", "B"}};
    EXPECT_EQ(runSelfTest(), 1);
    EXPECT_EQ(library.calls, Names{});
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(SelfTestProgram, PortThatIsNotListed_FailsTheDiscoveryAlone) {
    EXPECT_EQ(runSelfTest({"--json", "--port", R"(\\.\COM9)"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Discovery"});
    EXPECT_EQ(textOf("Discovery"), "the scanner on COM9 was not found; 1 attached");
    EXPECT_EQ(textOf("Connection"), "by the port's name");
}

TEST_F(SelfTestProgram, ReportThatCannotBeWritten_LeavesTheScannerAlone) {
    test::writeFile(folder / "file", "x");
    EXPECT_EQ(run({"selftest", "-o", ((folder / "file") / "report.md").string()}), 1);
    EXPECT_EQ(library.calls, Names{});
}

TEST_F(SelfTestProgram, AtATerminal_WaitsForEnterWhereTheFingerMustGo) {
    inputIsTerminal = true;
    input = "\nleft over\n";
    EXPECT_EQ(runSelfTest(), 0) << errors;
    EXPECT_EQ(unreadInput, "left over\n");
    EXPECT_TRUE(contains(errors, "  --> Take the finger off the sensor. Then press Enter.\n"));
    EXPECT_TRUE(contains(errors, "  --> Place a finger on the sensor and leave it there.\n"));
}

TEST_F(SelfTestProgram, WithYes_WaitsForNobody) {
    inputIsTerminal = true;
    input = "left over\n";
    EXPECT_EQ(runSelfTest({"--yes"}), 0) << errors;
    EXPECT_EQ(unreadInput, "left over\n");
    EXPECT_TRUE(contains(errors, "  --> Take the finger off the sensor.\n"));
}

TEST_F(SelfTestProgram, InterruptedCapture_SkipsTheRestAndIsReported) {
    captures[2] = [this](FakeWorker& worker) {
        interruption.request();
        worker.waitForStop();
    };
    EXPECT_EQ(runSelfTest({"--json"}), 130);
    EXPECT_EQ(checksThat("failed"), Names{});
    EXPECT_EQ(checksThat("passed").back(), "Stopped capture");
    EXPECT_EQ(textOf("Stream"), "interrupted");
    EXPECT_EQ(json()["error"]["text"], "interrupted");
    EXPECT_TRUE(contains(report, "| Capture | skipped |"));
    EXPECT_EQ(library.calls.back(), "free");
}

TEST_F(SelfTestProgram, InterruptionWhileTheSettingsAreChanged_PutsThemBack) {
    library.onConnect = [this] {
        if (library.settings.rotation == 3) {
            interruption.request();
        }
    };
    EXPECT_EQ(runSelfTest({"--json"}), 130);
    EXPECT_EQ(library.settings.rotation, 2);
    EXPECT_EQ(textOf("Refused settings"), "interrupted");
}

TEST_F(SelfTestProgram, Unplugging_IsNoticedAndTheScannerAwaited) {
    const test::SteppingClock unhurried(std::chrono::seconds(1));
    clock = &unhurried;
    inputIsTerminal = true;
    input = "\n\n";
    int streams = 0;
    int refusals = 0;
    operations["stream"] = [&, whole = operations["stream"]](FakeWorker& worker) {
        if (++streams == 1) {
            whole(worker);
            return;
        }
        worker.image(3, 2, pixels);
        library.connectStatus = RIDGE_SERIAL_PORT_ERROR;
        worker.error(RIDGE_SERIAL_PORT_ERROR, "Serial port error. Gone.");
    };
    library.onConnect = [&] {
        if (library.connectStatus != RIDGE_SUCCESS && ++refusals == 3) {
            library.connectStatus = RIDGE_SUCCESS;
        }
    };
    EXPECT_EQ(runSelfTest({"--with-unplugging", "--json"}), 0) << errors;
    EXPECT_EQ(textOf("Unplugging"), "noticed: Serial port error. Gone. (status 5)");
    EXPECT_EQ(refusals, 3);
    EXPECT_TRUE(contains(errors, "  --> Pull the scanner's cable out.\n"));
    EXPECT_TRUE(contains(errors, "  --> Plug the cable in again. Then press Enter.\n"));
}

TEST_F(SelfTestProgram, ScannerThatStaysUnplugged_FailsTheCheck) {
    const test::SteppingClock unhurried(std::chrono::seconds(1));
    clock = &unhurried;
    int streams = 0;
    operations["stream"] = [&, whole = operations["stream"]](FakeWorker& worker) {
        if (++streams == 1) {
            whole(worker);
            return;
        }
        worker.image(3, 2, pixels);
        library.connectStatus = RIDGE_SERIAL_PORT_ERROR;
        worker.error(RIDGE_SERIAL_PORT_ERROR, "Gone.");
    };
    EXPECT_EQ(runSelfTest({"--with-unplugging", "--json"}), 2);
    EXPECT_EQ(checksThat("failed"), Names{"Unplugging"});
    EXPECT_TRUE(contains(textOf("Unplugging"), "connecting to COM7: ")) << textOf("Unplugging");
}

TEST_F(SelfTestProgram, WithSecurity_SetsAndClearsKeyAndCertificate) {
    library.certificate = {1, 2, 3};
    EXPECT_EQ(runSelfTest({"--with-security", "--json"}), 0) << errors;
    EXPECT_EQ(checksThat("skipped"), Names{"Unplugging"});
    EXPECT_EQ(textOf("Certificate reading"), "3 bytes");
    EXPECT_EQ(textOf("Certificate writing"), "3 bytes written and read back");
    EXPECT_EQ(textOf("Signing request"), "3 bytes");
    EXPECT_EQ(textOf("Device key"), "set and cleared");
    EXPECT_EQ(textOf("Certificate clearing"), "the scanner has none");
    EXPECT_EQ(library.openCertificates, 0);
    EXPECT_EQ(library.key.size(), 32U);
    EXPECT_EQ(std::count(library.calls.begin(), library.calls.end(), "clear key"), 1);
}

TEST_F(SelfTestProgram, WithSecurityAndNoCertificate_WritesOneOfItsOwn) {
    EXPECT_EQ(runSelfTest({"--with-security", "--json"}), 0) << errors;
    EXPECT_EQ(textOf("Certificate reading"), "the scanner has none");
    EXPECT_EQ(textOf("Certificate writing"), "15 bytes written and read back");
}

TEST_F(SelfTestProgram, WithoutSecurity_NeverTouchesKeyOrCertificate) {
    EXPECT_EQ(runSelfTest(), 0);
    for (const auto* call :
         {"set key", "clear key", "get certificate", "set certificate", "clear certificate"}) {
        EXPECT_EQ(std::count(library.calls.begin(), library.calls.end(), call), 0) << call;
    }
}

TEST_F(SelfTestProgram, SecurityFunctionsThatFail_AreReportedOneByOne) {
    library.securityStatus = RIDGE_DEVICE_FAILURE;
    library.errorText = "refused";
    EXPECT_EQ(runSelfTest({"--with-security", "--json"}), 2);
    EXPECT_EQ(checksThat("failed"), securityChecks);
    EXPECT_EQ(textOf("Device key"), "setting the device key: refused (status 13)");
}

} // namespace ridge::tool
