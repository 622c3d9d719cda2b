#include "selftest.h"

#include "greyimage.h"
#include "printable.h"
#include "scannererror.h"
#include "scannerlist.h"
#include "wipe.h"

#include <ridge-sdk.h>

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <random>
#include <utility>

namespace ridge::tool {
namespace {

/// How long a person may take for what they are told.
constexpr std::chrono::seconds patience{60};
constexpr std::uint32_t longestCapture = 30000;
constexpr std::uint32_t captureOption = 1;
constexpr std::uint32_t streamedImages = 3;

ridgeCaptureParameters parameters(std::uint32_t timeout) {
    return {0, timeout, captureOption};
}

CommandError failure(const std::string& text) {
    return {ExitStatus::libraryError, text};
}

std::string nameOf(const ridgeDeviceSettings& settings) {
    return "rotation " + std::to_string(settings.rotation) + ", option " +
           (settings.option != 0 ? "on" : "off");
}

/// A port's name without the prefix under which the system opens it.
std::string plainPortName(const std::string& name) {
    const std::string prefix = R"(\\.\)";
    return name.starts_with(prefix) ? name.substr(prefix.size()) : name;
}

void expectConnection(const ChosenScanner& scanner) {
    ScannerSession session(scanner);
    if (!session.isConnected()) {
        throw failure("the library does not count as connected after connecting");
    }
    session.disconnect();
    if (session.isConnected()) {
        throw failure("the library counts as connected after disconnecting");
    }
}

ScannerSession::Key randomKey() {
    std::random_device random;
    std::uniform_int_distribution<unsigned> byte(0, std::numeric_limits<std::uint8_t>::max());
    ScannerSession::Key key{};
    std::generate(key.begin(), key.end(), [&] { return static_cast<std::uint8_t>(byte(random)); });
    return key;
}

} // namespace

SelfTest::SelfTest(const SelfTestOptions& testOptions, const CommandContext& commandContext)
    : options(testOptions), context(commandContext),
      person(commandContext, !testOptions.yes && commandContext.environment.inputIsTerminal),
      subscription(commandContext.interruption, [this] { inbox.post(InterruptionWish{}); }) {}

void SelfTest::run() {
    struct Step {
        const char* name;
        Check check;
        Need need;
    };
    const std::array steps{
        Step{"Version", &SelfTest::versions, Need::nothing},
        Step{"Discovery", &SelfTest::discovery, Need::nothing},
        Step{"Connection", &SelfTest::connection, Need::scanner},
        Step{"Information", &SelfTest::information, Need::scanner},
        Step{"Settings", &SelfTest::settings, Need::scanner},
        Step{"Refused settings", &SelfTest::refusal, Need::scanner},
        Step{"Capture without finger", &SelfTest::noFinger, Need::scanner},
        Step{"Stopped capture", &SelfTest::stoppedCapture, Need::scanner},
        Step{"Capture", &SelfTest::capture, Need::scanner},
        Step{"Capture events", &SelfTest::captureEvents, Need::scanner},
        Step{"Stream", &SelfTest::stream, Need::scanner},
        Step{"Host-assisted capture", &SelfTest::hostAssistedCapture, Need::scanner},
        Step{"Stopped host-assisted capture", &SelfTest::stoppedHostAssistedCapture, Need::scanner},
        Step{"Reconnection", &SelfTest::reconnection, Need::scanner},
        Step{"Unplugging", &SelfTest::unplugging, Need::unplugging},
        Step{"Certificate reading", &SelfTest::certificateReading, Need::security},
        Step{"Certificate writing", &SelfTest::certificateWriting, Need::security},
        Step{"Signing request", &SelfTest::signingRequest, Need::security},
        Step{"Device key", &SelfTest::deviceKey, Need::security},
        Step{"Certificate clearing", &SelfTest::certificateClearing, Need::security},
    };
    for (const Step& step : steps) {
        interrupted = interrupted || context.interruption.requested();
        const std::string reason = reasonToSkip(step.need);
        if (reason.empty()) {
            perform(step.name, step.check);
        } else {
            skip(step.name, reason);
        }
    }
    if (settingsToRestore) {
        perform("Settings put back", &SelfTest::settingsPutBack);
    }
    endSession();
}

std::string SelfTest::reasonToSkip(Need need) const {
    if (interrupted) {
        return "interrupted";
    }
    if (need != Need::nothing && !scanner) {
        return "there is no scanner";
    }
    if (need == Need::unplugging && !options.unplugging) {
        return "only with --with-unplugging";
    }
    if (need == Need::security && !options.security) {
        return "only with --with-security";
    }
    return "";
}

void SelfTest::perform(const std::string& name, Check check) {
    const Clock& clock = context.environment.clock;
    const Clock::Time start = clock.now();
    CheckResult result{name, CheckStatus::failed, "", {}};
    try {
        result.text = (this->*check)();
        result.status = CheckStatus::passed;
    } catch (const UsageError& error) {
        if (!scanner) {
            throw;
        }
        result.text = error.what();
    } catch (const Interrupted& interruption) {
        interrupted = true;
        result.status = CheckStatus::skipped;
        result.text = interruption.what();
    } catch (const std::exception& error) {
        result.text = error.what();
    }
    result.duration = std::chrono::duration_cast<std::chrono::milliseconds>(clock.now() - start);
    if (result.status != CheckStatus::passed) {
        endSession();
        answersMayBeLate = true;
    }
    report(std::move(result));
}

void SelfTest::skip(const std::string& name, const std::string& reason) {
    report({name, CheckStatus::skipped, reason, {}});
}

void SelfTest::report(CheckResult result) {
    const char* const word = result.status == CheckStatus::passed   ? "passed"
                             : result.status == CheckStatus::failed ? "FAILED"
                                                                    : "skipped";
    context.messages.progress(result.name + ": " + word +
                              (result.text.empty() ? "" : ": " + printable(result.text)));
    checks.push_back(std::move(result));
}

void SelfTest::endSession() {
    session.reset();
    while (inbox.poll()) {
    }
}

ScannerSession& SelfTest::connected() {
    if (!session || !session->isConnected()) {
        return connectAnew();
    }
    // An operation counts as running for an instant after its last message.
    session->stop();
    return *session;
}

ScannerSession& SelfTest::connectAnew() {
    endSession();
    if (std::exchange(answersMayBeLate, false)) {
        try {
            return session.emplace(*scanner);
        } catch (const CommandError&) {
            // What a failed check has left on the line was taken for the answer.
        }
    }
    return session.emplace(*scanner);
}

void SelfTest::awaitScanner() {
    constexpr std::chrono::milliseconds pause{500};
    const Clock& clock = context.environment.clock;
    const Clock::Time deadline = clock.now() + patience;
    OperationWait wait(inbox, context);
    while (true) {
        try {
            scanner = ChosenScanner(options.scanner);
            connectAnew();
            return;
        } catch (const CommandError&) {
            if (clock.now() >= deadline) {
                throw;
            }
        }
        (void)wait.nextUntil(clock.now() + pause, "waiting for the scanner");
        context.interruption.throwIfRequested();
    }
}

OperationMessage SelfTest::next(OperationWait& wait, Clock::Time deadline,
                                const std::string& awaited) {
    std::optional<OperationMessage> message = wait.nextUntil(deadline, awaited);
    if (!message) {
        throw failure(awaited + ": it did not come in time");
    }
    if (std::holds_alternative<InterruptionWish>(*message)) {
        throw Interrupted();
    }
    return std::move(*message);
}

CapturedImage SelfTest::nextImage(OperationWait& wait, const std::string& awaited) {
    const Clock::Time deadline = context.environment.clock.now() + patience;
    while (true) {
        OperationMessage message = next(wait, deadline, awaited);
        if (auto* image = std::get_if<CapturedImage>(&message)) {
            checkGrey(*image);
            return std::move(*image);
        }
        if (const auto* error = std::get_if<OperationFailure>(&message)) {
            throw scannerError(awaited, error->status, error->text);
        }
        ++eventCount;
    }
}

std::string SelfTest::versions() {
    std::string version = ridgeGetSdkVersion();
    if (version.empty()) {
        throw failure("the library's version is empty");
    }
    return version;
}

std::string SelfTest::discovery() {
    scanner = ChosenScanner(options.scanner);
    const std::string port = plainPortName(scanner->port());
    facts.emplace_back("Port", port);
    const ScannerList list;
    const auto entries = list.entries();
    const std::string attached = std::to_string(entries.size()) + " attached";
    const auto entry =
        std::find_if(entries.begin(), entries.end(),
                     [&](const ridgeDeviceEntry& candidate) { return port == candidate.portName; });
    if (entry == entries.end()) {
        throw failure("the scanner on " + port + " was not found; " + attached);
    }
    facts.emplace_back("Serial number", entry->serialNumber);
    facts.emplace_back("Description", entry->description);
    facts.emplace_back("Manufacturer", entry->manufacturer);
    return "found on " + port + "; " + attached;
}

std::string SelfTest::connection() {
    if (scanner->entry() != nullptr) {
        expectConnection(*scanner);
    }
    expectConnection(ChosenScanner(ScannerChoice{scanner->port(), std::nullopt}));
    return scanner->entry() != nullptr ? "by list entry and by the port's name"
                                       : "by the port's name";
}

std::string SelfTest::information() {
    const ScannerInformation found = connected().information();
    for (std::size_t index = 0; index < found.texts.size(); ++index) {
        facts.emplace_back("Text " + std::to_string(index + 1), found.texts[index]);
    }
    facts.emplace_back("Value 1", std::to_string(found.value1));
    facts.emplace_back("Value 2", std::to_string(found.value2));
    facts.emplace_back("Features", std::to_string(found.features));
    return found.texts[0];
}

void SelfTest::writeSettings(const ridgeDeviceSettings& settings) {
    connected().writeSettings(settings);
    const ridgeDeviceSettings found = connectAnew().settings();
    if (found.rotation != settings.rotation || found.option != settings.option) {
        throw failure("the scanner has " + nameOf(found) + " after " + nameOf(settings) +
                      " was written");
    }
}

void SelfTest::restoreSettings() {
    writeSettings(settingsToRestore.value());
    settingsToRestore.reset();
}

std::string SelfTest::settings() {
    const ridgeDeviceSettings original = connected().settings();
    settingsToRestore = original;
    constexpr unsigned rotations = 4;
    writeSettings({static_cast<std::uint8_t>((original.rotation + 1U) % rotations),
                   static_cast<std::uint8_t>(original.option == 0 ? 1 : 0)});
    restoreSettings();
    return nameOf(original) + "; changed and put back";
}

std::string SelfTest::settingsPutBack() {
    std::string name = nameOf(settingsToRestore.value());
    restoreSettings();
    return name;
}

std::string SelfTest::refusal() {
    ScannerSession& scannerSession = connected();
    const ridgeDeviceSettings original = scannerSession.settings();
    try {
        scannerSession.writeSettings({4, 0});
    } catch (const CommandError& error) {
        if (error.statusOfLibrary() == RIDGE_INVALID_ARGUMENT) {
            return error.what();
        }
        throw;
    }
    settingsToRestore = settingsToRestore.value_or(original);
    throw failure("a rotation of 4 was not refused");
}

std::string SelfTest::noFinger() {
    person.ask("Take the finger off the sensor.");
    // Short enough for a finger that comes by itself.
    constexpr std::uint32_t timeout = 200;
    connected().startCapture(parameters(timeout), {}, inbox);
    OperationWait wait(inbox, context);
    const Clock::Time deadline = context.environment.clock.now() + patience;
    while (true) {
        const OperationMessage message = next(wait, deadline, "waiting for the time-out");
        if (const auto* error = std::get_if<OperationFailure>(&message)) {
            if (!isCaptureTimeout(*error)) {
                throw scannerError("capturing", error->status, error->text);
            }
            return error->text;
        }
        if (std::holds_alternative<CapturedImage>(message)) {
            throw failure("an image was captured, though no finger should have been there");
        }
    }
}

std::string SelfTest::stoppedCapture() {
    ScannerSession& scannerSession = connected();
    scannerSession.startCapture(parameters(longestCapture), {}, inbox);
    try {
        scannerSession.startCapture(parameters(longestCapture), {}, inbox);
        throw failure("a second capture was started while one was running");
    } catch (const CommandError& error) {
        if (error.statusOfLibrary() != RIDGE_CAPTURE_ACTIVE) {
            throw;
        }
    }
    stopOperation(scannerSession, inbox);
    return "a second start was refused; stopped";
}

std::string SelfTest::capture() {
    eventCount = 0;
    person.tell("Place a finger on the sensor and leave it there.");
    connected().startCapture(parameters(longestCapture), {}, inbox);
    OperationWait wait(inbox, context);
    return sizes(nextImage(wait, "waiting for a finger"));
}

std::string SelfTest::captureEvents() {
    if (eventCount == 0) {
        throw failure("the capture reported none");
    }
    return std::to_string(eventCount) + " reported by the capture";
}

std::string SelfTest::stream() {
    person.tell("Leave the finger on the sensor.");
    ScannerSession& scannerSession = connected();
    scannerSession.startStream({}, inbox);
    OperationWait wait(inbox, context);
    CapturedImage image;
    for (std::uint32_t number = 1; number <= streamedImages; ++number) {
        image = nextImage(wait, "waiting for image " + std::to_string(number));
    }
    stopOperation(scannerSession, inbox);
    return std::to_string(streamedImages) + " images, the last of " + sizes(image);
}

std::string SelfTest::hostAssistedCapture() {
    person.tell("Leave the finger on the sensor, or place it again.");
    ScannerSession& scannerSession = connected();
    scannerSession.startHostAssistedCapture(parameters(longestCapture), {}, inbox);
    OperationWait wait(inbox, context);
    nextImage(wait, "waiting for the image to reject");
    scannerSession.judge(false);
    nextImage(wait, "waiting for the image to accept");
    scannerSession.judge(true);
    return "one image rejected, one accepted, then " +
           sizes(nextImage(wait, "waiting for the final image"));
}

std::string SelfTest::stoppedHostAssistedCapture() {
    ScannerSession& scannerSession = connected();
    scannerSession.startHostAssistedCapture(parameters(longestCapture), {}, inbox);
    OperationWait wait(inbox, context);
    nextImage(wait, "waiting for the image");
    stopOperation(scannerSession, inbox);
    return "stopped while it waited for the verdict";
}

std::string SelfTest::reconnection() {
    const ScannerInformation before = connected().information();
    session->disconnect();
    if (session->isConnected()) {
        throw failure("the library counts as connected after disconnecting");
    }
    if (connectAnew().information() != before) {
        throw failure("the scanner tells something else about itself than before");
    }
    return "the scanner tells the same about itself as before";
}

std::string SelfTest::unplugging() {
    connected().startStream({}, inbox);
    OperationWait wait(inbox, context);
    nextImage(wait, "waiting for an image");
    person.tell("Pull the scanner's cable out.");
    const Clock::Time deadline = context.environment.clock.now() + patience;
    std::string noticed;
    while (noticed.empty()) {
        const OperationMessage message = next(wait, deadline, "waiting for the cable to be pulled");
        if (const auto* error = std::get_if<OperationFailure>(&message)) {
            noticed = scannerError("noticed", error->status, error->text).what();
        }
    }
    endSession();
    person.ask("Plug the cable in again.");
    awaitScanner();
    return noticed;
}

std::string SelfTest::certificateReading() {
    certificate = connected().certificate();
    return certificate.empty() ? "the scanner has none"
                               : std::to_string(certificate.size()) + " bytes";
}

std::string SelfTest::certificateWriting() {
    const std::string text = "ridge self-test";
    const std::vector<std::uint8_t> bytes =
        certificate.empty() ? std::vector<std::uint8_t>(text.begin(), text.end()) : certificate;
    connected().setCertificate(bytes);
    if (connected().certificate() != bytes) {
        throw failure("the scanner has another certificate than the one that was written");
    }
    return std::to_string(bytes.size()) + " bytes written and read back";
}

std::string SelfTest::signingRequest() {
    CsrSubject subject;
    subject.commonName = "Ridge self-test";
    connected().createCsr(subject, inbox);
    const std::size_t size = awaitSigningRequest(inbox, context).size();
    // A request counts as running for an instant after its outcome; the session's end waits for it.
    endSession();
    return std::to_string(size) + " bytes";
}

std::string SelfTest::deviceKey() {
    ScannerSession::Key key = randomKey();
    const WipedAtEnd wiped(key);
    connected().setKey(key);
    connected().clearKey();
    return "set and cleared";
}

std::string SelfTest::certificateClearing() {
    connected().clearCertificate();
    if (!connected().certificate().empty()) {
        throw failure("the scanner still has a certificate");
    }
    return "the scanner has none";
}

} // namespace ridge::tool
