#include "dialogues.h"

#include "attacheddevices.h"
#include "codescope.h"
#include "scanneridentifiers.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>
#include <new>
#include <numeric>
#include <set>

namespace ridge::test {
namespace {

constexpr ridgeCaptureParameters parameters{1, 1000, 1};

std::string textOf(const std::vector<std::uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

/// All preview images of the small scanner: its finger moves a little.
const std::set<std::string>& previews() {
    static const std::set<std::string> images = [] {
        constexpr std::size_t enough = 12;
        const FaultyLine line("previews", smallScanner());
        Host host;
        std::set<std::string> texts;
        if (host.connect("previews") == RIDGE_SUCCESS && host.startStream() == RIDGE_SUCCESS) {
            for (const ReceivedImage& image : host.waitForImages(enough)) {
                texts.insert(textOf(image.image));
            }
        }
        return texts;
    }();
    return images;
}

enum class Ending { stop, disconnect };

/// Collects the outcome of one call after the other until one fails.
class Talk {
public:
    explicit Talk(Host& talkingHost) : host(talkingHost) {}
    Talk(Host& talkingHost, const std::string& port) : host(talkingHost) {
        call([&] { return host.connect(port); }, Teller::connect);
        readInformation();
    }

    /// Makes a call into the library unless an earlier one has failed.
    template <typename Call>
    void call(const Call& exported, Teller teller = Teller::call) {
        if (!goesOn()) {
            return;
        }
        const std::int32_t status = inLibrary(exported);
        if (status != RIDGE_SUCCESS) {
            fail({status, host.lastError()}, teller);
        }
    }

    void fail(const ReceivedFailure& failure, Teller teller) {
        outcome.failure = failure;
        outcome.teller = teller;
    }

    [[nodiscard]] bool goesOn() const { return outcome.failure.status == RIDGE_SUCCESS; }

    void readInformation() {
        ridgeDeviceInfo info{};
        ridgeDeviceSettings settings{};
        call([&] { return ridgeGetInfo(host.context(), &info); });
        call([&] { return ridgeSettingsGet(host.context(), &settings); });
        if (goesOn()) {
            for (const char* text : {info.text1, info.text2, info.text3, info.text4, info.text5,
                                     info.text6, info.text7}) {
                outcome.received.emplace_back(text);
            }
            outcome.received.push_back(std::to_string(info.value1) + "x" +
                                       std::to_string(info.value2));
            outcome.received.push_back(std::to_string(settings.rotation) + " " +
                                       std::to_string(settings.option));
        }
    }

    /// Waits until the operation has delivered so many images or has failed, and ends it.
    void awaitImages(std::size_t count, Ending ending = Ending::stop) {
        if (!goesOn()) {
            return;
        }
        host.waitForImagesOrFailure(count);
        if (ending == Ending::stop) {
            host.stopCapture();
        } else {
            host.disconnect();
        }
        for (std::size_t index = 0; index < std::min(count, host.images().size()); ++index) {
            const std::string image = textOf(host.images()[index].image);
            outcome.received.push_back(previews().count(image) != 0 ? "a preview" : image);
        }
        if (!host.failures().empty()) {
            fail(host.failures().front(), Teller::capture);
        }
    }

    Host& host;
    Outcome outcome;
};

Outcome connect(Host& host, FaultyLine& line) {
    return Talk(host, line.port()).outcome;
}

Outcome writeSettings(Host& host, FaultyLine& line) {
    Talk talk(host, line.port());
    const ridgeDeviceSettings settings{2, 1};
    talk.call([&] { return ridgeSettingsSet(host.context(), &settings); });
    return talk.outcome;
}

Outcome manageKey(Host& host, FaultyLine& line) {
    Talk talk(host, line.port());
    std::array<std::uint8_t, 32> key{};
    std::iota(key.begin(), key.end(), std::uint8_t{0x60});
    talk.call([&] { return ridgeDeviceSecuritySetKey(host.context(), key.data()); });
    talk.readInformation();
    talk.call([&] { return ridgeDeviceSecurityClearKey(host.context()); });
    talk.readInformation();
    return talk.outcome;
}

Outcome manageCertificate(Host& host, FaultyLine& line) {
    Talk talk(host, line.port());
    const std::vector<std::uint8_t> certificate{0x30, 0x7C, 0x7D, 0x7E, 0x7F, 0x80};
    talk.call([&] { return ridgeDeviceSecurityCertSet(host.context(), certificate.data(), 6); });
    talk.readInformation();
    std::uint8_t* copy = nullptr;
    std::uint32_t size = 0;
    talk.call([&] { return ridgeDeviceSecurityCertGet(host.context(), &copy, &size); });
    if (talk.goesOn()) {
        talk.outcome.received.emplace_back(copy, copy + size);
    }
    talk.call([&] { return ridgeDeviceSecurityCertClear(host.context()); });
    inLibrary([copy] { ridgeDeviceSecurityCertFree(copy); });
    return talk.outcome;
}

Outcome createCsr(Host& host, FaultyLine& line) {
    Talk talk(host, line.port());
    if (!talk.goesOn()) {
        return talk.outcome;
    }
    struct Answer {
        std::mutex mutex;
        std::condition_variable came;
        bool here = false;
        ReceivedFailure failure;
        std::string request;

        void notify() {
            here = true;
            came.notify_all();
        }
    } answer;
    const auto onCsr = [](const std::uint8_t* request, std::uint32_t size, void* userContext) {
        const CodeScope scope(Code::surroundings);
        auto& to = *static_cast<Answer*>(userContext);
        const std::lock_guard lock(to.mutex);
        to.request.assign(request, request + size);
        to.notify();
    };
    const auto onError = [](std::int32_t status, const char* message, void* userContext) {
        const CodeScope scope(Code::surroundings);
        auto& to = *static_cast<Answer*>(userContext);
        const std::lock_guard lock(to.mutex);
        to.failure = {status, message};
        to.notify();
    };
    const ridgeCsrSubjectName subject{"Ann", "DE", nullptr, nullptr, nullptr, nullptr};
    talk.call([&] {
        return ridgeDeviceSecurityCreateCsr(host.context(), &subject, onCsr, onError, &answer);
    });
    if (talk.goesOn()) {
        {
            std::unique_lock lock(answer.mutex);
            answer.came.wait(lock, [&answer] { return answer.here; });
        }
        // Waits for the callback's return, so that nobody holds the answer any more.
        host.disconnect();
        if (answer.failure.status == RIDGE_SUCCESS) {
            talk.outcome.received.push_back(answer.request);
        } else {
            talk.fail(answer.failure, Teller::signingRequest);
        }
    }
    return talk.outcome;
}

Outcome capture(Host& host, FaultyLine& line) {
    Talk talk(host, line.port());
    talk.call([&] { return host.startCapture(parameters, true); });
    talk.awaitImages(1);
    return talk.outcome;
}

Outcome hostAssistedCapture(Host& host, FaultyLine& line) {
    int shown = 0;
    host.judgeWith([&shown](const ReceivedImage&) -> std::uint8_t { return ++shown < 2 ? 0 : 1; });
    Talk talk(host, line.port());
    talk.call([&] { return host.startHostAssistedCapture(parameters); });
    talk.awaitImages(3);
    return talk.outcome;
}

/// The host leaves its verdict open until the scanner has been pinged for a while.
Outcome lateVerdict(Host& host, FaultyLine& line) {
    constexpr std::uint8_t open = 2;
    constexpr std::uint8_t ping = 0x31;
    constexpr int enough = 3;
    host.judgeWith([](const ReceivedImage&) { return open; });
    int pings = 0;
    line.onRequest(ping, [&] {
        if (++pings == enough) {
            inLibrary([&] { ridgeHostAssistedCaptureSetResult(host.context(), 1); });
        }
    });
    Talk talk(host, line.port());
    talk.call([&] { return host.startHostAssistedCapture(parameters); });
    talk.awaitImages(2);
    line.onRequest(ping, nullptr);
    if (talk.goesOn()) {
        talk.outcome.received.push_back(std::to_string(pings) + " pings");
    }
    return talk.outcome;
}

Outcome stream(Host& host, FaultyLine& line) {
    Talk talk(host, line.port());
    talk.call([&] { return host.startStream(); });
    talk.awaitImages(2);
    return talk.outcome;
}

Outcome connectToListed(Host& host, FaultyLine& line) {
    const AttachedDevices attached(
        {{"COM12", "0001", "Scanner", "Maker", line.port(), scannerVendorId, scannerProductId}});
    ridgeDeviceList* list = nullptr;
    Talk talk(host);
    try {
        talk.call([&list] { return ridgeQueryDevices(&list); });
    } catch (const std::bad_alloc& failure) {
        // The one function that lets it out.
        talk.fail({RIDGE_UNEXPECTED_FAILURE, failure.what()}, Teller::call);
    }
    talk.call([&] { return ridgeConnect(list->devices, host.context()); }, Teller::connect);
    inLibrary([list] { ridgeFreeDevices(list); });
    talk.readInformation();
    return talk.outcome;
}

Outcome disconnectDuringStream(Host& host, FaultyLine& line) {
    Talk talk(host, line.port());
    talk.call([&] { return host.startStream(); });
    talk.awaitImages(1, Ending::disconnect);
    return talk.outcome;
}

/// The connect's commands and others.
CommandNames connectAnd(const CommandNames& others) {
    CommandNames commands{"GET DEVICE INFO", "GET DEVICE SETTINGS"};
    commands.insert(commands.end(), others.begin(), others.end());
    return commands;
}

} // namespace

bool Outcome::receivedBeginningOf(const Outcome& whole) const {
    return received.size() <= whole.received.size() &&
           std::equal(received.begin(), received.end(), whole.received.begin());
}

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << outcome.failure.status << " \"" << outcome.failure.message << "\", received "
            << outcome.received.size();
}

void PrintTo(const Dialogue& dialogue, std::ostream* stream) {
    *stream << dialogue.name;
}

std::vector<Dialogue> allDialogues() {
    return {
        {"Connect", connect, connectAnd({})},
        {"Settings", writeSettings, connectAnd({"SET SETTINGS"})},
        {"Key", manageKey, connectAnd({"SET KEY", "CLEAR KEY"})},
        {"Certificate", manageCertificate, connectAnd({"CERT SET", "CERT GET", "CERT CLEAR"})},
        {"Csr", createCsr, connectAnd({"CREATE CSR"})},
        {"Capture", capture, connectAnd({"START CAPTURE", "GET CAPTURE DATA", "STOP CAPTURE"})},
        {"HostAssistedCapture", hostAssistedCapture,
         connectAnd({"HOST ASSISTED CAPTURE START", "GET STREAM DATA",
                     "HOST ASSISTED CAPTURE RESULT", "GET CAPTURE DATA", "STOP CAPTURE"})},
        {"LateVerdict", lateVerdict,
         connectAnd({"HOST ASSISTED CAPTURE START", "GET STREAM DATA", "PING",
                     "HOST ASSISTED CAPTURE RESULT", "GET CAPTURE DATA", "STOP CAPTURE"})},
        {"Stream", stream, connectAnd({"STREAM START", "GET STREAM DATA", "STOP CAPTURE"})},
    };
}

std::vector<Dialogue> sameOnTheLine() {
    return {{"ConnectToListed", connectToListed, connectAnd({})},
            {"DisconnectDuringStream", disconnectDuringStream,
             connectAnd({"STREAM START", "GET STREAM DATA", "STOP CAPTURE"})}};
}

simulator::ScannerConfig smallScanner() {
    simulator::GreyImage image{6, 5, std::vector<std::uint8_t>(30)};
    // The flags and the escape are among them.
    std::iota(image.pixels.begin(), image.pixels.end(), std::uint8_t{0x70});
    simulator::ScannerConfig config;
    config.images = {image};
    config.streamReduction = 1;
    // Several chunks a block.
    config.chunkSize = 20;
    config.createCsr = [](const simulator::CsrSubject& subject) {
        return std::vector<std::uint8_t>(subject.commonName.begin(), subject.commonName.end());
    };
    return config;
}

} // namespace ridge::test
