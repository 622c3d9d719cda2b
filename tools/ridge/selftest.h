#pragma once

#include "commandcontext.h"
#include "commandline.h"
#include "operation.h"
#include "operationinbox.h"
#include "person.h"
#include "scannersession.h"
#include "selftestreport.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ridge::tool {

/// Tries every function of the library with a scanner.
class SelfTest {
public:
    SelfTest(const SelfTestOptions& options, const CommandContext& context);

    /// Runs the checks in order, also after one that failed. When the user interrupts, the rest is
    /// skipped; the settings are put back all the same. Throws UsageError when it is unclear which
    /// scanner is meant.
    void run();

    [[nodiscard]] bool wasInterrupted() const { return interrupted; }
    [[nodiscard]] const std::vector<CheckResult>& results() const { return checks; }
    /// What the scanner is and says about itself, as far as it has been found out.
    [[nodiscard]] const std::vector<std::pair<std::string, std::string>>& scannerFacts() const {
        return facts;
    }

private:
    /// A check returns what it found, and throws CommandError when it fails.
    using Check = std::string (SelfTest::*)();

    std::string versions();
    std::string discovery();
    std::string connection();
    std::string information();
    std::string settings();
    std::string refusal();
    std::string noFinger();
    std::string stoppedCapture();
    std::string capture();
    std::string captureEvents();
    std::string stream();
    std::string hostAssistedCapture();
    std::string stoppedHostAssistedCapture();
    std::string reconnection();
    std::string unplugging();
    std::string certificateReading();
    std::string certificateWriting();
    std::string signingRequest();
    std::string deviceKey();
    std::string certificateClearing();
    std::string settingsPutBack();

    enum class Need { nothing, scanner, unplugging, security };

    /// Why a check is not run; empty when it is.
    [[nodiscard]] std::string reasonToSkip(Need need) const;
    void perform(const std::string& name, Check check);
    void skip(const std::string& name, const std::string& reason);
    void report(CheckResult result);
    /// Ends the session with whatever a check has left running.
    void endSession();

    /// The session with nothing running in it; a new one when there is none or it has lost its
    /// scanner.
    ScannerSession& connected();
    ScannerSession& connectAnew();
    /// Looks for the scanner and connects until that succeeds.
    void awaitScanner();
    /// Writes settings and sees whether a new connection reads them.
    void writeSettings(const ridgeDeviceSettings& settings);
    void restoreSettings();

    /// The next message. An interruption ends the check, as does silence until the deadline.
    OperationMessage next(OperationWait& wait, Clock::Time deadline, const std::string& awaited);
    /// The next image; a failure ends the check.
    CapturedImage nextImage(OperationWait& wait, const std::string& awaited);

    const SelfTestOptions& options;
    const CommandContext& context;
    Person person;
    std::vector<CheckResult> checks;
    std::vector<std::pair<std::string, std::string>> facts;
    bool interrupted = false;

    std::optional<ChosenScanner> scanner;
    /// Outlives the session, whose worker fills it.
    OperationInbox inbox;
    const Interruption::Subscription subscription;
    std::optional<ScannerSession> session;
    /// A check has failed since the last connection.
    bool answersMayBeLate = false;
    std::optional<ridgeDeviceSettings> settingsToRestore;
    std::size_t eventCount = 0;
    std::vector<std::uint8_t> certificate;
};

} // namespace ridge::tool
