#include "dialogues.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>
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

/// Collects the outcome of one call after the other until one fails.
class Talk {
public:
    Talk(Host& talkingHost, const std::string& port) : host(talkingHost) {
        check(host.connect(port));
        readInformation();
    }

    void check(std::int32_t status) {
        if (status != RIDGE_SUCCESS && goesOn()) {
            outcome.failure = {status, host.lastError()};
        }
    }

    [[nodiscard]] bool goesOn() const { return outcome.failure.status == RIDGE_SUCCESS; }

    void readInformation() {
        ridgeDeviceInfo info{};
        if (goesOn()) {
            check(ridgeGetInfo(host.context(), &info));
        }
        if (goesOn()) {
            for (const char* text : {info.text1, info.text2, info.text3, info.text4, info.text5,
                                     info.text6, info.text7}) {
                outcome.received.emplace_back(text);
            }
            outcome.received.push_back(std::to_string(info.value1) + "x" +
                                       std::to_string(info.value2));
        }
    }

    /// Waits until the operation has delivered so many images or has failed, and ends it.
    void awaitImages(std::size_t count) {
        if (!goesOn()) {
            return;
        }
        host.waitForImagesOrFailure(count);
        ridgeStopCapture(host.context());
        for (std::size_t index = 0; index < std::min(count, host.images().size()); ++index) {
            const std::string image = textOf(host.images()[index].image);
            outcome.received.push_back(previews().count(image) != 0 ? "a preview" : image);
        }
        if (!host.failures().empty()) {
            outcome.failure = host.failures().front();
        }
    }

    Host& host;
    Outcome outcome;
};

Outcome connect(Host& host, const std::string& port) {
    return Talk(host, port).outcome;
}

Outcome writeSettings(Host& host, const std::string& port) {
    Talk talk(host, port);
    const ridgeDeviceSettings settings{2, 1};
    if (talk.goesOn()) {
        talk.check(ridgeSettingsSet(host.context(), &settings));
    }
    return talk.outcome;
}

Outcome manageKey(Host& host, const std::string& port) {
    Talk talk(host, port);
    std::array<std::uint8_t, 32> key{};
    std::iota(key.begin(), key.end(), std::uint8_t{0x60});
    if (talk.goesOn()) {
        talk.check(ridgeDeviceSecuritySetKey(host.context(), key.data()));
        talk.readInformation();
    }
    if (talk.goesOn()) {
        talk.check(ridgeDeviceSecurityClearKey(host.context()));
        talk.readInformation();
    }
    return talk.outcome;
}

Outcome manageCertificate(Host& host, const std::string& port) {
    Talk talk(host, port);
    const std::vector<std::uint8_t> certificate{0x30, 0x7C, 0x7D, 0x7E, 0x7F, 0x80};
    if (talk.goesOn()) {
        talk.check(ridgeDeviceSecurityCertSet(host.context(), certificate.data(), 6));
        talk.readInformation();
    }
    std::uint8_t* copy = nullptr;
    std::uint32_t size = 0;
    if (talk.goesOn()) {
        talk.check(ridgeDeviceSecurityCertGet(host.context(), &copy, &size));
    }
    if (talk.goesOn()) {
        talk.outcome.received.emplace_back(copy, copy + size);
        talk.check(ridgeDeviceSecurityCertClear(host.context()));
    }
    ridgeDeviceSecurityCertFree(copy);
    return talk.outcome;
}

Outcome createCsr(Host& host, const std::string& port) {
    Talk talk(host, port);
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
        auto& to = *static_cast<Answer*>(userContext);
        const std::lock_guard lock(to.mutex);
        to.request.assign(request, request + size);
        to.notify();
    };
    const auto onError = [](std::int32_t status, const char* message, void* userContext) {
        auto& to = *static_cast<Answer*>(userContext);
        const std::lock_guard lock(to.mutex);
        to.failure = {status, message};
        to.notify();
    };
    const ridgeCsrSubjectName subject{"Ann", "DE", nullptr, nullptr, nullptr, nullptr};
    talk.check(ridgeDeviceSecurityCreateCsr(host.context(), &subject, onCsr, onError, &answer));
    if (talk.goesOn()) {
        {
            std::unique_lock lock(answer.mutex);
            answer.came.wait(lock, [&answer] { return answer.here; });
        }
        // Waits for the callback's return, so that nobody holds the answer any more.
        ridgeDisconnect(host.context());
        talk.outcome.failure = answer.failure;
        if (talk.goesOn()) {
            talk.outcome.received.push_back(answer.request);
        }
    }
    return talk.outcome;
}

Outcome capture(Host& host, const std::string& port) {
    Talk talk(host, port);
    if (talk.goesOn()) {
        talk.check(host.startCapture(parameters, true));
    }
    talk.awaitImages(1);
    return talk.outcome;
}

Outcome hostAssistedCapture(Host& host, const std::string& port) {
    int shown = 0;
    host.judgeWith([&shown](const ReceivedImage&) -> std::uint8_t { return ++shown < 2 ? 0 : 1; });
    Talk talk(host, port);
    if (talk.goesOn()) {
        talk.check(host.startHostAssistedCapture(parameters));
    }
    talk.awaitImages(3);
    return talk.outcome;
}

Outcome stream(Host& host, const std::string& port) {
    Talk talk(host, port);
    if (talk.goesOn()) {
        talk.check(host.startStream());
    }
    talk.awaitImages(2);
    return talk.outcome;
}

} // namespace

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << outcome.failure.status << " \"" << outcome.failure.message << "\", received "
            << outcome.received.size();
}

void PrintTo(const Dialogue& dialogue, std::ostream* stream) {
    *stream << dialogue.name;
}

std::vector<Dialogue> allDialogues() {
    return {{"Connect", connect},
            {"Settings", writeSettings},
            {"Key", manageKey},
            {"Certificate", manageCertificate},
            {"Csr", createCsr},
            {"Capture", capture},
            {"HostAssistedCapture", hostAssistedCapture},
            {"Stream", stream}};
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
