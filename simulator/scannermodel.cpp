#include "scannermodel.h"

#include "bigendian.h"
#include "csrsubject.h"

#include <algorithm>
#include <array>
#include <exception>
#include <iterator>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace ridge::simulator {

namespace {

constexpr std::uint8_t highestMode = 10;
constexpr std::uint8_t highestRotation = 3;
constexpr std::uint32_t longestTimeoutMs = 30000;
constexpr std::uint32_t eventsWantedBit = 0x8;
constexpr std::size_t parameterBlockSize = 256;
constexpr std::size_t captureHeaderSize = 9;
constexpr std::size_t hostAssistedHeaderSize = 5;
constexpr std::size_t settingsSize = 5;
constexpr unsigned featureShift = 16;
constexpr std::uint32_t featureMask = 0x1F;
constexpr std::uint32_t keySetFlag = 0x1;
constexpr std::uint32_t certificateSetFlag = 0x2;

// A command that the scanner does not carry out.
struct Refusal {
    DeviceError error;
};

void require(bool condition, DeviceError otherwise) {
    if (!condition) {
        throw Refusal{otherwise};
    }
}

void requireHeaderAndBlock(std::size_t size, std::size_t headerSize) {
    require(size == headerSize || size == headerSize + parameterBlockSize,
            DeviceError::invalidLength);
}

void checkImage(const GreyImage& image, const CaptureMarks& marks) {
    const std::uint64_t pixels = std::uint64_t{image.width} * image.height;
    constexpr std::uint32_t largestSide = std::numeric_limits<std::uint16_t>::max();
    if (pixels == 0 || image.width > largestSide || image.height > largestSide ||
        captureBlockOverhead + pixels + marks.trailer.size() > maxBlockSize) {
        throw std::invalid_argument(
            "an image of " + std::to_string(image.width) + " x " + std::to_string(image.height) +
            " pixels does not fit into a block of " + std::to_string(maxBlockSize) + " bytes");
    }
}

void checkConfig(const ScannerConfig& config) {
    if (config.chunkSize == 0 || config.chunkSize > maxPacketPayload) {
        throw std::invalid_argument("a chunk holds 1 to " + std::to_string(maxPacketPayload) +
                                    " bytes");
    }
    if (config.settings.rotation > highestRotation) {
        throw std::invalid_argument("the rotation is 0 to 3");
    }
    if (config.images.empty()) {
        checkImage({config.firstFinger.width, config.firstFinger.height, {}}, config.marks);
    }
    for (const GreyImage& image : config.images) {
        checkImage(image, config.marks);
        if (image.pixels.size() != std::size_t{image.width} * image.height) {
            throw std::invalid_argument("an image's pixels do not fill its width and height");
        }
    }
}

ScannerConfig checked(ScannerConfig config) {
    checkConfig(config);
    return config;
}

void appendText(std::vector<std::uint8_t>& bytes, const std::string& text) {
    appendBigEndian16(bytes, static_cast<std::uint16_t>(text.size()));
    std::ranges::copy(text, std::back_inserter(bytes));
}

// Lets the preview move a little, as under a living finger.
GreyImage trembled(const GreyImage& image, std::uint32_t count) {
    constexpr std::array<std::array<int, 2>, 6> steps{
        {{0, 0}, {1, 0}, {1, 1}, {0, 2}, {-1, 1}, {-1, 0}}};
    const auto& [right, down] = steps[count % steps.size()];
    return shifted(image, right, down);
}

} // namespace

ScannerModel::ScannerModel(ScannerConfig initial)
    : config(checked(std::move(initial))), injector(config.faults),
      fingers(config.images, config.firstFinger), maskRandom(config.maskSeed),
      timeline(Time(0), config.finger), assistance({}) {}

void ScannerModel::prepareImage() {
    fingers.image();
}

void ScannerModel::receive(std::span<const std::uint8_t> bytes, Time now) {
    advance(now);
    for (const Bytes& frame : decoder.decode(bytes)) {
        const std::unique_ptr<Packet> packet = Packet::parse(frame.data(), frame.size());
        if (!packet) {
            ++invalidPackets;
            continue;
        }
        if (trace) {
            trace(Direction::fromHost, *packet);
        }
        if (packet->type == packetTypeRequest) {
            onRequest(*packet);
        } else {
            onAcknowledgement(*packet);
        }
    }
}

void ScannerModel::advance(Time now) {
    clock = std::max(clock, now);
    releaseLateOutput();
    if (heldPoll) {
        answerHeldPoll();
    }
}

std::optional<Time> ScannerModel::nextDeadline() const {
    std::optional<Time> deadline;
    if (!lateOutput.empty()) {
        deadline = lateOutput.begin()->first;
    }
    if (heldPoll) {
        deadline = std::min(deadline.value_or(Time::max()), heldPollDeadline());
    }
    return deadline;
}

std::vector<std::uint8_t> ScannerModel::takeOutput() {
    return std::exchange(output, {});
}

void ScannerModel::disconnect() {
    decoder.reset();
    heldPoll.reset();
    transfer.reset();
    state = Activity::idle;
    output.clear();
    lateOutput.clear();
}

void ScannerModel::setTrace(Trace function) {
    trace = std::move(function);
}

std::uint64_t ScannerModel::droppedFrames() const {
    return invalidPackets + decoder.abandonedFrames();
}

void ScannerModel::onRequest(const Packet& packet) {
    // A new request shows that the host has given up on whatever was under way.
    heldPoll.reset();
    transfer.reset();
    const FaultSet faults = injector.occurred(FaultPoint::answer, packet.code);
    Packet success(packetTypeResponse, packet.code);
    if (refusesCommand(faults)) {
        answer(success, faults);
        return;
    }
    try {
        require(!nameOfCommand(packet.code).empty(), DeviceError::unknownCommand);
        const auto command = static_cast<Command>(packet.code);
        success.data = execute(command, packet.data);
        if (command == Command::getCaptureData || command == Command::getStreamData) {
            heldPoll = HeldPoll{packet.code, clock + config.pollHold, faults};
            answerHeldPoll();
        } else {
            answer(success, faults);
        }
    } catch (const Refusal& refusal) {
        answer(failureAnswer(packet.code, refusal.error), faults);
    }
}

void ScannerModel::onAcknowledgement(const Packet& packet) {
    if (!transfer || packet.code != transfer->command()) {
        return;
    }
    if (transfer->finished()) {
        finishBlock();
    } else {
        sendChunk(Time(0), false);
    }
}

std::vector<std::uint8_t> ScannerModel::execute(Command command, const Bytes& payload) {
    switch (command) {
    case Command::startCapture:
        startCapture(payload);
        return {};
    case Command::streamStart:
        startStream(payload);
        return {};
    case Command::hostAssistedCaptureStart:
        return startHostAssistedCapture(payload);
    case Command::hostAssistedCaptureResult:
        takeVerdict(payload);
        return {};
    case Command::setSettings:
        setSettings(payload);
        return {};
    case Command::setKey:
        setKey(payload);
        return {};
    case Command::certSet:
        setCertificate(payload);
        return {};
    case Command::createCsr:
        return createCsr(payload);
    default:
        break;
    }
    require(payload.empty(), DeviceError::invalidLength);
    switch (command) {
    case Command::getCaptureData:
    case Command::getStreamData:
        requireDataCommand(command);
        return {};
    case Command::stopCapture:
        state = Activity::idle;
        return {};
    case Command::getDeviceSettings:
        return deviceSettings();
    case Command::getDeviceInfo:
        return deviceInfo();
    case Command::certGet:
        requireIdle();
        return store.certificate();
    case Command::certClear:
        requireIdle();
        store.clearCertificate();
        return {};
    case Command::clearKey:
        requireIdle();
        store.clearKey();
        return {};
    default:
        return {};
    }
}

std::vector<std::uint8_t> ScannerModel::deviceInfo() const {
    const bool hasKey = store.key().has_value();
    const bool hasCertificate = !store.certificate().empty();
    Bytes bytes;
    for (const std::string& text : config.identity.texts) {
        appendText(bytes, text);
    }
    appendText(bytes, std::string("key ") + (hasKey ? "set" : "none") + ", certificate " +
                          (hasCertificate ? "set" : "none"));
    appendBigEndian16(bytes, static_cast<std::uint16_t>(config.firstFinger.width));
    appendBigEndian16(bytes, static_cast<std::uint16_t>(config.firstFinger.height));
    appendBigEndian32(bytes, (config.identity.features & featureMask) << featureShift |
                                 (hasKey ? keySetFlag : 0) |
                                 (hasCertificate ? certificateSetFlag : 0));
    return bytes;
}

std::vector<std::uint8_t> ScannerModel::deviceSettings() const {
    Bytes bytes{config.settings.rotation};
    appendBigEndian32(bytes, config.settings.flags);
    return bytes;
}

void ScannerModel::setSettings(const Bytes& payload) {
    require(payload.size() == settingsSize, DeviceError::invalidLength);
    require(payload[0] <= highestRotation, DeviceError::invalidParameter);
    requireIdle();
    config.settings = {payload[0], readBigEndian32(&payload[1])};
}

void ScannerModel::startCapture(const Bytes& payload) {
    requireHeaderAndBlock(payload.size(), captureHeaderSize);
    const std::uint32_t timeoutMs = readBigEndian32(&payload[1]);
    require(payload[0] <= highestMode && timeoutMs <= longestTimeoutMs,
            DeviceError::invalidParameter);
    const std::uint32_t parameter = readBigEndian32(&payload[5]);
    beginActivity(Activity::capture, {payload[0],
                                      std::chrono::milliseconds(timeoutMs),
                                      parameter,
                                      (parameter & eventsWantedBit) != 0,
                                      {payload.begin() + captureHeaderSize, payload.end()}});
}

void ScannerModel::startStream(const Bytes& payload) {
    requireHeaderAndBlock(payload.size(), 0);
    beginActivity(Activity::stream, {0, Time(0), 0, false, payload});
}

std::vector<std::uint8_t> ScannerModel::startHostAssistedCapture(const Bytes& payload) {
    requireHeaderAndBlock(payload.size(), hostAssistedHeaderSize);
    const std::uint32_t parameter = readBigEndian32(&payload[1]);
    require(payload[0] <= highestMode && parameter != 0, DeviceError::invalidParameter);
    beginActivity(Activity::hostAssistedStream,
                  {payload[0],
                   Time(0),
                   parameter,
                   false,
                   {payload.begin() + hostAssistedHeaderSize, payload.end()}});
    assistance = HostAssistance(HostAssistance::randomMask(maskRandom));
    return assistance.announcement();
}

void ScannerModel::takeVerdict(const Bytes& payload) {
    require(payload.size() == HostAssistance::maskSize, DeviceError::invalidLength);
    require(state == Activity::hostAssistedVerdict, DeviceError::wrongState);
    verdict = assistance.verdict(
        std::span<const std::uint8_t, HostAssistance::maskSize>(payload.data(), payload.size()));
    require(verdict.has_value(), DeviceError::invalidVerdict);
    if (*verdict) {
        state = Activity::hostAssistedCapture;
    } else {
        state = Activity::hostAssistedStream;
        fingers.advance();
    }
}

void ScannerModel::setKey(const Bytes& payload) {
    require(payload.size() == SecurityStore::maskedKeySize, DeviceError::invalidLength);
    requireIdle();
    store.setMaskedKey(std::span<const std::uint8_t, SecurityStore::maskedKeySize>(payload.data(),
                                                                                   payload.size()));
}

void ScannerModel::setCertificate(const Bytes& payload) {
    require(!payload.empty() && payload.size() <= SecurityStore::maxCertificateSize,
            DeviceError::invalidLength);
    requireIdle();
    store.setCertificate(payload);
}

std::vector<std::uint8_t> ScannerModel::createCsr(const Bytes& payload) const {
    requireIdle();
    require(static_cast<bool>(config.createCsr), DeviceError::notSupported);
    const std::optional<CsrSubject> subject = parseCsrSubject(payload);
    require(subject.has_value(), DeviceError::invalidLength);
    try {
        return config.createCsr(*subject);
    } catch (const std::exception&) {
        throw Refusal{DeviceError::csrFailed};
    }
}

void ScannerModel::requireIdle() const {
    require(state == Activity::idle, DeviceError::wrongState);
}

void ScannerModel::beginActivity(Activity activity, CaptureRequest newRequest) {
    // A start is taken in every state: a host whose capture failed has no other way back.
    state = activity;
    request = std::move(newRequest);
    started = clock;
    timeline = FingerTimeline(clock, config.finger);
    nextStreamImage = timeline.imageTime().value_or(Time::max());
    streamImages = 0;
    verdict.reset();
}

void ScannerModel::requireDataCommand(Command command) const {
    const bool fitting = command == Command::getCaptureData
                             ? state == Activity::capture || state == Activity::hostAssistedCapture
                             : state == Activity::stream || state == Activity::hostAssistedStream;
    require(fitting, DeviceError::wrongState);
}

void ScannerModel::answerHeldPoll() {
    const auto refuse = [this](DeviceError error) {
        const HeldPoll poll = *std::exchange(heldPoll, std::nullopt);
        answer(failureAnswer(poll.command, error), poll.faults);
    };
    if (state == Activity::capture && request.eventsWanted && timeline.takeEvent(clock)) {
        refuse(DeviceError::captureEvent);
    } else if (imageReady()) {
        beginBlock(*std::exchange(heldPoll, std::nullopt));
    } else if (captureTimedOut()) {
        state = Activity::idle;
        refuse(DeviceError::captureTimeout);
    } else if (clock >= heldPoll->until) {
        refuse(DeviceError::nothingReady);
    }
}

bool ScannerModel::captureTimedOut() const {
    return state == Activity::capture && request.timeout != Time(0) &&
           clock >= started + request.timeout;
}

bool ScannerModel::imageReady() const {
    switch (state) {
    case Activity::capture: {
        // A finger that comes after the time-out does not count, however late the host asks.
        const bool inTime = request.timeout == Time(0) ||
                            timeline.imageTime().value_or(Time::max()) < started + request.timeout;
        return inTime && timeline.imageReady(clock);
    }
    case Activity::stream:
    case Activity::hostAssistedStream:
        return clock >= nextStreamImage;
    case Activity::hostAssistedCapture:
        return true;
    case Activity::idle:
    case Activity::hostAssistedVerdict:
        break;
    }
    return false;
}

Time ScannerModel::heldPollDeadline() const {
    Time deadline = heldPoll->until;
    if (state == Activity::capture) {
        deadline = std::min(deadline, timeline.imageTime().value_or(Time::max()));
        if (request.eventsWanted) {
            deadline = std::min(deadline, timeline.nextEvent().value_or(Time::max()));
        }
        if (request.timeout != Time(0)) {
            deadline = std::min(deadline, started + request.timeout);
        }
    } else {
        deadline = std::min(deadline, nextStreamImage);
    }
    return deadline;
}

void ScannerModel::beginBlock(const HeldPoll& poll) {
    FaultSet faults = poll.faults;
    const FaultSet blockFaults = injector.occurred(FaultPoint::block, poll.command);
    faults.insert(faults.end(), blockFaults.begin(), blockFaults.end());
    answer(Packet(packetTypeResponse, poll.command), faults);
    if (refusesCommand(faults)) {
        return;
    }
    Bytes block = currentBlock();
    distortBlock(block, faults);
    transfer.emplace(poll.command, std::move(block), config.chunkSize);
    sendChunk(delayOfAnswer(faults), silencesAnswer(faults));
}

std::vector<std::uint8_t> ScannerModel::currentBlock() {
    if (state == Activity::capture || state == Activity::hostAssistedCapture) {
        const GreyImage image = rotated(fingers.image(), config.settings.rotation);
        return captureBlock(image, config.marks, coverage(image));
    }
    GreyImage image =
        rotated(reduced(trembled(fingers.image(), streamImages), config.streamReduction),
                config.settings.rotation);
    if (state == Activity::hostAssistedStream) {
        assistance.apply(image.pixels);
    }
    return streamBlock(image, config.marks);
}

void ScannerModel::sendChunk(Time delay, bool silent) {
    const std::span<const std::uint8_t> chunk = transfer->nextChunk();
    const std::uint8_t command = transfer->command();
    const FaultSet faults = injector.occurred(FaultPoint::data, command);
    if (!silent) {
        emit(Packet(packetTypeResponse, command, chunk.data(), chunk.size()), faults,
             delay + delayOfAnswer(faults));
    }
}

void ScannerModel::finishBlock() {
    transfer.reset();
    ++delivered;
    switch (state) {
    case Activity::capture:
    case Activity::hostAssistedCapture:
        state = Activity::idle;
        fingers.advance();
        break;
    case Activity::hostAssistedStream:
        state = Activity::hostAssistedVerdict;
        [[fallthrough]];
    case Activity::stream:
        ++streamImages;
        nextStreamImage = clock + config.streamInterval;
        break;
    case Activity::idle:
    case Activity::hostAssistedVerdict:
        break;
    }
}

void ScannerModel::answer(const Packet& packet, const FaultSet& faults) {
    emit(packet, faults, delayOfAnswer(faults));
}

void ScannerModel::emit(const Packet& packet, const FaultSet& faults, Time delay) {
    if (silencesAnswer(faults)) {
        return;
    }
    if (trace) {
        trace(Direction::toHost, packet);
    }
    Bytes bytes = encodeAnswer(packet, faults);
    if (delay == Time(0)) {
        output.insert(output.end(), bytes.begin(), bytes.end());
    } else {
        lateOutput.emplace(clock + delay, std::move(bytes));
    }
}

void ScannerModel::releaseLateOutput() {
    while (!lateOutput.empty() && lateOutput.begin()->first <= clock) {
        const auto first = lateOutput.begin();
        output.insert(output.end(), first->second.begin(), first->second.end());
        lateOutput.erase(first);
    }
}

} // namespace ridge::simulator
