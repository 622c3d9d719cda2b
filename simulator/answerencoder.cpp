#include "answerencoder.h"

#include "bigendian.h"
#include "lineframing.h"
#include "randomsource.h"

#include <algorithm>
#include <iterator>

namespace ridge::simulator {

namespace {

constexpr std::uint8_t defaultCodeChange = 0x40;
constexpr std::size_t lengthFieldSize = 4;

std::size_t sizeOf(const Fault& fault, std::size_t otherwise) {
    return fault.value ? static_cast<std::size_t>(*fault.value) : otherwise;
}

void distortPacket(Packet& packet, const Fault& fault) {
    switch (fault.kind) {
    case FaultKind::deviceError:
        packet = failureAnswer(packet.code, static_cast<std::uint8_t>(fault.value.value_or(0)),
                               fault.text);
        break;
    case FaultKind::shortError:
        packet.code |= failureCodeBit;
        packet.data.assign(sizeOf(fault, 1), 1);
        break;
    case FaultKind::emptyAnswer:
        packet.data.clear();
        break;
    case FaultKind::answerLength:
        packet.data.resize(sizeOf(fault, 0));
        break;
    case FaultKind::answerByte:
        if (sizeOf(fault, 0) < packet.data.size()) {
            packet.data[sizeOf(fault, 0)] =
                static_cast<std::uint8_t>(fault.secondValue.value_or(0));
        }
        break;
    case FaultKind::wrongCode:
        packet.code =
            static_cast<std::uint8_t>(fault.value.value_or(packet.code ^ defaultCodeChange));
        break;
    case FaultKind::wrongType:
        packet.type = static_cast<std::uint32_t>(fault.value.value_or(packetTypeRequest));
        break;
    default:
        break;
    }
}

void distortBytes(std::vector<std::uint8_t>& bytes, const Fault& fault) {
    if (fault.kind == FaultKind::wrongChecksum) {
        ++bytes.back();
    } else if (fault.kind == FaultKind::wrongLength) {
        const auto length = static_cast<std::uint16_t>(readBigEndian16(&bytes[1]) + 1);
        bytes[1] = static_cast<std::uint8_t>(length >> 8);
        bytes[2] = static_cast<std::uint8_t>(length);
        bytes.back() = checksum(&bytes[1], bytes.size() - 2);
    }
}

void distortFrame(std::vector<std::uint8_t>& frame, const Fault& fault) {
    if (fault.kind == FaultKind::truncatedFrame) {
        frame.resize(std::min(sizeOf(fault, frame.size() / 2), frame.size()));
    } else if (fault.kind == FaultKind::flippedByte && !frame.empty()) {
        frame[std::min(sizeOf(fault, frame.size() / 2), frame.size() - 1)] ^= 1;
    } else if (fault.kind == FaultKind::noiseBefore) {
        RandomSource random(static_cast<std::uint32_t>(frame.size()));
        std::vector<std::uint8_t> noise(sizeOf(fault, 16));
        std::ranges::generate(noise, [&random] { return random.byte(); });
        frame.insert(frame.begin(), noise.begin(), noise.end());
    }
}

void addFrames(std::vector<std::uint8_t>& bytes, std::uint8_t code, const Fault& fault) {
    if (fault.kind == FaultKind::duplicateAnswer) {
        const std::vector<std::uint8_t> copy = bytes;
        bytes.insert(bytes.end(), copy.begin(), copy.end());
    } else if (fault.kind == FaultKind::extraDataPacket) {
        const std::uint8_t content = 0;
        const std::vector<std::uint8_t> extra =
            encodeFrame(Packet(packetTypeResponse, code, &content, 1).serialize());
        bytes.insert(bytes.end(), extra.begin(), extra.end());
    }
}

} // namespace

Packet failureAnswer(std::uint8_t command, DeviceError error) {
    return failureAnswer(command, static_cast<std::uint8_t>(error), textOfError(error));
}

Packet failureAnswer(std::uint8_t command, std::uint8_t error, std::string_view text) {
    Packet packet(packetTypeResponse, static_cast<std::uint8_t>(command | failureCodeBit));
    packet.data.push_back(error);
    appendBigEndian16(packet.data, static_cast<std::uint16_t>(text.size()));
    std::ranges::copy(text, std::back_inserter(packet.data));
    return packet;
}

bool refusesCommand(const FaultSet& faults) {
    return std::ranges::any_of(faults, [](const Fault& fault) {
        return fault.kind == FaultKind::deviceError || fault.kind == FaultKind::shortError;
    });
}

bool silencesAnswer(const FaultSet& faults) {
    return std::ranges::find(faults, FaultKind::noAnswer, &Fault::kind) != faults.end();
}

Time delayOfAnswer(const FaultSet& faults) {
    Time delay{0};
    for (const Fault& fault : faults) {
        if (fault.kind == FaultKind::lateAnswer) {
            delay += std::chrono::milliseconds(fault.value.value_or(0));
        }
    }
    return delay;
}

std::vector<std::uint8_t> encodeAnswer(Packet packet, const FaultSet& faults) {
    const std::uint8_t trueCode = packet.code;
    for (const Fault& fault : faults) {
        distortPacket(packet, fault);
    }
    std::vector<std::uint8_t> bytes = packet.serialize();
    for (const Fault& fault : faults) {
        distortBytes(bytes, fault);
    }
    std::vector<std::uint8_t> frames = encodeFrame(bytes);
    for (const Fault& fault : faults) {
        distortFrame(frames, fault);
    }
    for (const Fault& fault : faults) {
        addFrames(frames, trueCode, fault);
    }
    return frames;
}

void distortBlock(std::vector<std::uint8_t>& block, const FaultSet& faults) {
    for (const Fault& fault : faults) {
        std::int64_t claimed = fault.value.value_or(0);
        if (fault.kind == FaultKind::shortBlock) {
            block.resize(std::min(sizeOf(fault, 0), block.size()));
        } else if (fault.kind != FaultKind::blockLength) {
            continue;
        } else if (fault.relative) {
            claimed += static_cast<std::int64_t>(block.size());
        }
        std::vector<std::uint8_t> field;
        appendBigEndian32(field, static_cast<std::uint32_t>(claimed));
        std::copy_n(field.begin(), std::min(block.size(), lengthFieldSize), block.begin());
    }
}

} // namespace ridge::simulator
