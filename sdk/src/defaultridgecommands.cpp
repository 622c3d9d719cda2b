#include "defaultridgecommands.h"

#include "commandpayloads.h"
#include "randombytes.h"
#include "ridgeexception.h"
#include "statuscode.h"
#include "wipe.h"

#include <array>
#include <utility>

namespace ridge {

/// What is fixed about one command of the scanner.
struct DefaultRidgeCommands::Command {
    std::uint8_t code;
    const char* name;
    const char* timeoutMessage;
    /// A success answer without a payload is a failure.
    bool requireData = false;
    /// 0: the packet handler's default.
    std::uint32_t timeoutMs = 0;
};

namespace {

/// Nothing is ready yet.
constexpr std::uint8_t deviceErrorNoData = 7;
constexpr std::uint8_t deviceErrorCaptureTimeout = 9;
constexpr std::uint8_t deviceErrorCaptureEvent = 12;

} // namespace

DefaultRidgeCommands::DefaultRidgeCommands(PacketHandler* handler) : packetHandler(handler) {}

DeviceInfo DefaultRidgeCommands::getDeviceInfo() {
    return decodeDeviceInfo(
        exchange({0x30, "GET DEVICE INFO", "Timeout retrieving device information.", true}));
}

DeviceSettings DefaultRidgeCommands::getDeviceSettings() {
    return decodeDeviceSettings(
        exchange({0x15, "GET DEVICE SETTINGS", "Timeout retrieving device settings.", true}));
}

void DefaultRidgeCommands::startCapture(std::uint8_t mode, std::uint32_t timeoutMs,
                                        std::int32_t parameter, bool eventsWanted,
                                        const std::vector<std::uint8_t>& block) {
    exchange({0x10, "START CAPTURE", "Timeout starting capture."},
             encodeStartCapture(mode, timeoutMs, parameter, eventsWanted, block));
}

void DefaultRidgeCommands::stopCapture() {
    exchange({0x12, "STOP CAPTURE", "Timeout stoping capture."});
}

std::vector<std::uint8_t> DefaultRidgeCommands::getCaptureData(bool poll, bool& captureTimedOut,
                                                               bool& captureEvent) {
    static constexpr Command command{0x11, "GET CAPTURE DATA",
                                     "Timeout checking for capture result."};
    captureTimedOut = false;
    captureEvent = false;
    if (poll) {
        const PollAnswer answer = askForData(command);
        if (!answer.ready) {
            switch (answer.errorCode) {
            case deviceErrorNoData:
                break;
            case deviceErrorCaptureTimeout:
                captureTimedOut = true;
                break;
            case deviceErrorCaptureEvent:
                captureEvent = true;
                break;
            default:
                throw RIDGE_EXCEPTION(status::deviceFailure, "Error %d retrieving capture data. %s",
                                      answer.errorCode, answer.errorText.c_str());
            }
            return {};
        }
    }
    return receiveData(command, command.timeoutMessage);
}

void DefaultRidgeCommands::clearKey() {
    exchange({0x2C, "CLEAR KEY", "Timeout clearing device key."});
}

CaptureMask DefaultRidgeCommands::startHostAssistedCapture(std::uint8_t mode,
                                                           std::uint32_t parameter,
                                                           const std::vector<std::uint8_t>& block) {
    return decodeCaptureMask(exchange(
        {0x17, "HOST ASSISTED CAPTURE START", "Timeout starting host assisted capture.", true},
        encodeStartHostAssistedCapture(mode, parameter, block)));
}

void DefaultRidgeCommands::sendHostAssistedCaptureResult(const CaptureMask& mask, bool accepted) {
    VerdictNoise noise{};
    fillRandom(noise);
    exchange(
        {0x18, "HOST ASSISTED CAPTURE RESULT", "Timeout sending host assisted capture result."},
        encodeHostAssistedCaptureResult(noise, mask, accepted));
}

void DefaultRidgeCommands::ping() {
    exchange({0x31, "PING", "Timeout pinging device."});
}

void DefaultRidgeCommands::certClear() {
    exchange({0x24, "CERT CLEAR", "Timeout clearing certificate and keys."});
}

std::vector<std::uint8_t> DefaultRidgeCommands::certGet() {
    return exchange({0x23, "CERT GET", "Timeout retrieving certificate from device."});
}

void DefaultRidgeCommands::certSet(const std::uint8_t* certificate, std::int32_t size) {
    exchange({0x22, "CERT SET", "Timeout setting certificate."},
             encodeCertificate(certificate, size));
}

std::vector<std::uint8_t> DefaultRidgeCommands::createCsr(const CsrName& name) {
    return exchange({0x21, "CREATE CSR", "Timeout creating CSR.", true, 10000},
                    encodeCsrName(name));
}

void DefaultRidgeCommands::setKey(const std::uint8_t* key) {
    std::array<std::uint8_t, deviceKeySize> noise{};
    fillRandom(noise);
    std::vector<std::uint8_t> payload = encodeKey(noise, key);
    const WipedAtEnd wiped(payload);
    exchange({0x20, "SET KEY", "Timeout setting device key."}, payload);
}

void DefaultRidgeCommands::setSettings(const DeviceSettings& settings) {
    exchange({0x16, "SET SETTINGS", "Timeout updating device settings."},
             encodeDeviceSettings(settings));
}

void DefaultRidgeCommands::startStream(const std::vector<std::uint8_t>& parameters) {
    exchange({0x13, "STREAM START", "Timeout starting capture in streaming mode."}, parameters);
}

std::vector<std::uint8_t> DefaultRidgeCommands::getStreamData(bool poll) {
    static constexpr Command command{0x14, "GET STREAM DATA", "Timeout checking for stream data."};
    if (poll) {
        const PollAnswer answer = askForData(command);
        if (!answer.ready) {
            if (answer.errorCode == deviceErrorNoData) {
                return {};
            }
            throw RIDGE_EXCEPTION(status::deviceFailure, "Error %d retrieving stream data. %s",
                                  answer.errorCode, answer.errorText.c_str());
        }
    }
    return receiveData(command, "Timeout retrieving stream data.");
}

/// Sends one request and returns the payload of its checked answer.
std::vector<std::uint8_t> DefaultRidgeCommands::exchange(const Command& command,
                                                         const std::vector<std::uint8_t>& payload) {
    const std::unique_ptr<Packet> answer = request(command, payload);
    verifyResponse(*answer, command.code, command.name, command.requireData);
    return std::move(answer->data);
}

/// Sends one request and returns its answer, unchecked and never null.
std::unique_ptr<Packet> DefaultRidgeCommands::request(const Command& command,
                                                      const std::vector<std::uint8_t>& payload) {
    {
        Packet packet(packetTypeRequest, command.code, payload.data(), payload.size());
        // It may hold a key.
        const WipedAtEnd wiped(packet.data);
        packetHandler->send(packet);
    }
    std::unique_ptr<Packet> answer = command.timeoutMs == 0
                                         ? packetHandler->receive(false)
                                         : packetHandler->receive(command.timeoutMs, false);
    if (!answer) {
        throw RIDGE_EXCEPTION(status::noResponse, "%s", command.timeoutMessage);
    }
    return answer;
}

/// First stage of the data commands: some errors of the device are results, not failures.
DefaultRidgeCommands::PollAnswer DefaultRidgeCommands::askForData(const Command& command) {
    const std::unique_ptr<Packet> packet = request(command, {});
    PollAnswer answer;
    answer.ready = readResponseStatus(*packet, command.code, command.name, false, answer.errorCode,
                                      answer.errorText);
    return answer;
}

/// Second stage of the data commands: the scanner sends on when its packet is acknowledged.
std::vector<std::uint8_t> DefaultRidgeCommands::receiveData(const Command& command,
                                                            const char* timeoutMessage) {
    const std::unique_ptr<Packet> packet = packetHandler->receive(true);
    if (!packet) {
        throw RIDGE_EXCEPTION(status::noResponse, "%s", timeoutMessage);
    }
    verifyResponse(*packet, command.code, command.name, true);
    return std::move(packet->data);
}

} // namespace ridge
