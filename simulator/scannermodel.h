#pragma once

#include "answerencoder.h"
#include "blocktransfer.h"
#include "command.h"
#include "deviceerror.h"
#include "faultinjector.h"
#include "fingersource.h"
#include "fingertimeline.h"
#include "hostassistance.h"
#include "lineframing.h"
#include "packet.h"
#include "randomsource.h"
#include "scannerconfig.h"
#include "securitystore.h"
#include "simulatedtime.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <vector>

namespace ridge::simulator {

/// What the host asked for when it last started a capture or a stream.
struct CaptureRequest {
    std::uint8_t mode = 0;
    /// Zero when the scanner is to wait without end.
    Time timeout{0};
    std::uint32_t parameter = 0;
    bool eventsWanted = false;
    /// Empty or 256 bytes.
    std::vector<std::uint8_t> block;
};

enum class Activity {
    idle,
    capture,
    stream,
    hostAssistedStream,  ///< preview images for the host to judge
    hostAssistedVerdict, ///< an image awaits the host's verdict
    hostAssistedCapture, ///< the accepted image is to be fetched
};

enum class Direction { fromHost, toHost };

/// The scanner: bytes from the line in, bytes for the line out. It has neither threads nor a
/// clock; the times given to it are never negative and never go back.
class ScannerModel {
public:
    /// Throws std::invalid_argument for images that fit into no block and for an empty chunk.
    explicit ScannerModel(ScannerConfig config);

    /// Has the first image ready before a host asks for it; the next ones are begun early.
    void prepareImage();

    /// Takes bytes from the host, in pieces of any size.
    void receive(std::span<const std::uint8_t> bytes, Time now);

    /// Does what has become due.
    void advance(Time now);

    /// When `advance` next has something to do, if nothing is received before.
    [[nodiscard]] std::optional<Time> nextDeadline() const;

    /// The bytes for the line since the last call.
    std::vector<std::uint8_t> takeOutput();

    /// The host has let go of the line: forgets everything but settings, key, certificate and
    /// fault counts.
    void disconnect();

    /// Is called for every valid packet from the host and for every packet to it, the latter as
    /// it was before faults struck.
    using Trace = std::function<void(Direction, const Packet&)>;
    void setTrace(Trace function);

    [[nodiscard]] Activity activity() const { return state; }
    [[nodiscard]] const CaptureRequest& captureRequest() const { return request; }
    [[nodiscard]] const DeviceSettings& settings() const { return config.settings; }
    [[nodiscard]] const SecurityStore& security() const { return store; }
    [[nodiscard]] std::optional<bool> lastVerdict() const { return verdict; }
    [[nodiscard]] std::uint64_t deliveredImages() const { return delivered; }
    /// Frames from the host that were broken or held no valid packet.
    [[nodiscard]] std::uint64_t droppedFrames() const;

private:
    using Bytes = std::vector<std::uint8_t>;

    struct HeldPoll {
        std::uint8_t command;
        Time until;
        FaultSet faults;
    };

    void onRequest(const Packet& packet);
    void onAcknowledgement(const Packet& packet);
    Bytes execute(Command command, const Bytes& payload);

    Bytes deviceInfo() const;
    Bytes deviceSettings() const;
    void setSettings(const Bytes& payload);
    void startCapture(const Bytes& payload);
    void startStream(const Bytes& payload);
    Bytes startHostAssistedCapture(const Bytes& payload);
    void takeVerdict(const Bytes& payload);
    void setKey(const Bytes& payload);
    void setCertificate(const Bytes& payload);
    Bytes createCsr(const Bytes& payload) const;
    void requireIdle() const;

    void beginActivity(Activity activity, CaptureRequest newRequest);
    void requireDataCommand(Command command) const;
    void answerHeldPoll();
    [[nodiscard]] bool captureTimedOut() const;
    [[nodiscard]] bool imageReady() const;
    [[nodiscard]] Time heldPollDeadline() const;

    void beginBlock(const HeldPoll& poll);
    Bytes currentBlock();
    void sendChunk(Time delay, bool silent);
    void finishBlock();

    void answer(const Packet& packet, const FaultSet& faults);
    void emit(const Packet& packet, const FaultSet& faults, Time delay);
    void releaseLateOutput();

    ScannerConfig config;
    FaultInjector injector;
    FingerSource fingers;
    RandomSource maskRandom;
    SecurityStore store;
    FrameDecoder decoder;
    Trace trace;

    Time clock{0};
    Activity state = Activity::idle;
    CaptureRequest request;
    Time started{0};
    FingerTimeline timeline;
    Time nextStreamImage{0};
    std::uint32_t streamImages = 0;
    HostAssistance assistance;
    std::optional<bool> verdict;
    std::optional<HeldPoll> heldPoll;
    std::optional<BlockTransfer> transfer;

    Bytes output;
    std::multimap<Time, Bytes> lateOutput;
    std::uint64_t invalidPackets = 0;
    std::uint64_t delivered = 0;
};

} // namespace ridge::simulator
