#pragma once

#include "hextext.h"
#include "journal.h"
#include "ridgecommands.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace ridge::test {

/// One answer of the two data commands.
struct Chunk {
    std::vector<std::uint8_t> bytes;
    bool captureTimedOut = false;
    bool captureEvent = false;
};

/// The answers of one data command, in order. When they are used up the scanner has nothing ready.
class ChunkScript {
public:
    using Step = std::function<Chunk()>;

    /// A step runs on the thread that asks; what it throws is what the command throws.
    void then(Step step) {
        const std::lock_guard lock(mutex);
        steps.push_back(std::move(step));
    }

    void then(Chunk chunk) {
        then([chunk = std::move(chunk)] { return chunk; });
    }

    void thenBytes(std::vector<std::uint8_t> bytes) { then(Chunk{std::move(bytes)}); }

    /// Null when the steps are used up.
    Step next() {
        const std::lock_guard lock(mutex);
        if (steps.empty()) {
            return nullptr;
        }
        Step step = std::move(steps.front());
        steps.pop_front();
        return step;
    }

private:
    std::mutex mutex;
    std::deque<Step> steps;
};

/// What the scanner answers. It outlives the commands, which go with the session.
class CommandScript {
public:
    /// Runs during each call of the operation, on the thread that calls it, and may block or throw.
    void during(const std::string& operation, std::function<void()> action) {
        const std::lock_guard lock(mutex);
        actions[operation] = std::move(action);
    }

    void run(const std::string& operation) {
        std::function<void()> action;
        {
            const std::lock_guard lock(mutex);
            const auto found = actions.find(operation);
            if (found == actions.end()) {
                return;
            }
            action = found->second;
        }
        action();
    }

    DeviceInfo deviceInfo;
    DeviceSettings deviceSettings;
    CaptureMask mask{};
    std::vector<std::uint8_t> certificate;
    std::vector<std::uint8_t> csr;
    ChunkScript captureData;
    ChunkScript streamData;

private:
    std::mutex mutex;
    std::map<std::string, std::function<void()>> actions;
};

/// Notes each command with its arguments and answers as scripted.
class FakeCommands final : public RidgeCommands {
public:
    FakeCommands(CommandScript& commandScript, Journal& callJournal)
        : script(commandScript), journal(callJournal) {}
    ~FakeCommands() override { journal.add("destroy commands"); }

    FakeCommands(const FakeCommands&) = delete;
    FakeCommands& operator=(const FakeCommands&) = delete;

    DeviceInfo getDeviceInfo() override {
        call("getDeviceInfo");
        return script.deviceInfo;
    }

    DeviceSettings getDeviceSettings() override {
        call("getDeviceSettings");
        return script.deviceSettings;
    }

    void startCapture(std::uint8_t mode, std::uint32_t timeoutMs, std::int32_t parameter,
                      bool eventsWanted, const std::vector<std::uint8_t>& block) override {
        call("startCapture",
             " mode=" + std::to_string(mode) + " timeoutMs=" + std::to_string(timeoutMs) +
                 " parameter=" + std::to_string(parameter) +
                 " events=" + (eventsWanted ? "1" : "0") + " block=" + hexText(block));
    }

    void stopCapture() override { call("stopCapture"); }

    std::vector<std::uint8_t> getCaptureData(bool poll, bool& captureTimedOut,
                                             bool& captureEvent) override {
        Chunk chunk = nextChunk("getCaptureData", poll, script.captureData);
        captureTimedOut = chunk.captureTimedOut;
        captureEvent = chunk.captureEvent;
        return std::move(chunk.bytes);
    }

    void clearKey() override { call("clearKey"); }

    CaptureMask startHostAssistedCapture(std::uint8_t mode, std::uint32_t parameter,
                                         const std::vector<std::uint8_t>& block) override {
        call("startHostAssistedCapture", " mode=" + std::to_string(mode) +
                                             " parameter=" + std::to_string(parameter) +
                                             " block=" + hexText(block));
        return script.mask;
    }

    void sendHostAssistedCaptureResult(const CaptureMask& mask, bool accepted) override {
        call("sendHostAssistedCaptureResult",
             std::string(" accepted=") + (accepted ? "1" : "0") + " mask=" + hexText(mask));
    }

    /// Repeats while a verdict is awaited.
    void ping() override {
        journal.addOnce("ping");
        script.run("ping");
    }

    void certClear() override { call("certClear"); }

    std::vector<std::uint8_t> certGet() override {
        call("certGet");
        return script.certificate;
    }

    void certSet(const std::uint8_t* certificate, std::int32_t size) override {
        call("certSet", " " + hexText(std::vector<std::uint8_t>(certificate, certificate + size)));
    }

    std::vector<std::uint8_t> createCsr(const CsrName& name) override {
        call("createCsr", " " + name.commonName + "|" + name.country + "|" + name.locality + "|" +
                              name.organization + "|" + name.organizationalUnit + "|" +
                              name.stateOrProvince);
        return script.csr;
    }

    void setKey(const std::uint8_t* key) override {
        call("setKey", " " + hexText(std::vector<std::uint8_t>(key, key + 32)));
    }

    void setSettings(const DeviceSettings& settings) override {
        call("setSettings", " rotation=" + std::to_string(settings.rotation) +
                                " flags=" + std::to_string(settings.flags));
    }

    void startStream(const std::vector<std::uint8_t>& parameters) override {
        call("startStream", " block=" + hexText(parameters));
    }

    std::vector<std::uint8_t> getStreamData(bool poll) override {
        return nextChunk("getStreamData", poll, script.streamData).bytes;
    }

private:
    void call(const std::string& operation, const std::string& arguments = {}) {
        journal.add(operation + arguments);
        script.run(operation);
    }

    /// Repeats while nothing is ready.
    Chunk nextChunk(const std::string& operation, bool poll, ChunkScript& chunks) {
        const std::string entry = operation + (poll ? " poll" : " wait");
        const ChunkScript::Step step = chunks.next();
        if (!step) {
            journal.addOnce(entry);
            return {};
        }
        journal.add(entry);
        return step();
    }

    CommandScript& script;
    Journal& journal;
};

} // namespace ridge::test
