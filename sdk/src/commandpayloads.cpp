#include "commandpayloads.h"

#include "bigendian.h"
#include "ridgeexception.h"
#include "statuscode.h"

#include <algorithm>
#include <string>

namespace ridge {
namespace {

constexpr std::uint8_t maxMode = 10;
constexpr std::uint32_t eventsWantedFlag = 0x8;
constexpr std::size_t settingsSize = 5;
constexpr std::int32_t maxCertificateSize = 6000;
constexpr std::size_t maxCsrNameSize = 1806;

void appendBlock(std::vector<std::uint8_t>& payload, const std::vector<std::uint8_t>& block) {
    const std::size_t count = std::min(block.size(), parameterBlockSize);
    payload.insert(payload.end(), block.begin(),
                   block.begin() + static_cast<std::ptrdiff_t>(count));
}

/// Walks through an answer; asking for more than it holds is a status 10.
class InfoReader {
public:
    explicit InfoReader(const std::vector<std::uint8_t>& answer) : bytes(answer) {}

    std::uint16_t number16() { return readBigEndian16(take(2)); }
    std::uint32_t number32() { return readBigEndian32(take(4)); }

    std::string text() {
        const std::size_t length = number16();
        const std::uint8_t* start = take(length);
        return {start, start + length};
    }

private:
    const std::uint8_t* take(std::size_t count) {
        if (bytes.size() - position < count) {
            throw RIDGE_EXCEPTION(status::malformedData, "Invalid device info data.");
        }
        const std::uint8_t* start = bytes.data() + position;
        position += count;
        return start;
    }

    const std::vector<std::uint8_t>& bytes;
    std::size_t position = 0;
};

struct CsrFieldLimit {
    std::string CsrName::*field;
    std::size_t minSize;
    std::size_t maxSize;
    bool mayBeEmpty;
};

constexpr std::array<CsrFieldLimit, 6> csrFieldLimits{{
    {&CsrName::commonName, 1, 256, false},
    {&CsrName::country, 2, 2, true},
    {&CsrName::locality, 0, 512, true},
    {&CsrName::organization, 0, 256, true},
    {&CsrName::organizationalUnit, 0, 256, true},
    {&CsrName::stateOrProvince, 0, 512, true},
}};

constexpr std::size_t largestCsrName() {
    std::size_t size = 0;
    for (const CsrFieldLimit& limit : csrFieldLimits) {
        size += 2 + limit.maxSize;
    }
    return size;
}
static_assert(largestCsrName() == maxCsrNameSize);

RidgeException csrFailure(int reason) {
    return RIDGE_EXCEPTION(status::protocol, "Failed to create create CSR command (%d).", reason);
}

} // namespace

std::vector<std::uint8_t> encodeStartCapture(std::uint8_t mode, std::uint32_t timeoutMs,
                                             std::int32_t parameter, bool eventsWanted,
                                             const std::vector<std::uint8_t>& block) {
    if (mode > maxMode) {
        throw RIDGE_EXCEPTION(status::protocol, "Failed to start capture (%d).", 2);
    }
    if (timeoutMs > maxCaptureTimeoutMs) {
        throw RIDGE_EXCEPTION(status::protocol, "Failed to start capture (%d).", 3);
    }
    std::vector<std::uint8_t> payload{mode};
    appendBigEndian32(payload, timeoutMs);
    appendBigEndian32(payload, static_cast<std::uint32_t>(parameter) |
                                   (eventsWanted ? eventsWantedFlag : 0));
    appendBlock(payload, block);
    return payload;
}

std::vector<std::uint8_t> encodeStartHostAssistedCapture(std::uint8_t mode, std::uint32_t parameter,
                                                         const std::vector<std::uint8_t>& block) {
    if (mode > maxMode) {
        throw RIDGE_EXCEPTION(status::protocol, "Failed to start host assisted capture (%d).", 2);
    }
    if (parameter == 0) {
        throw RIDGE_EXCEPTION(status::protocol, "Failed to start host assisted capture (%d).", 1);
    }
    std::vector<std::uint8_t> payload{mode};
    appendBigEndian32(payload, parameter);
    appendBlock(payload, block);
    return payload;
}

CaptureMask decodeCaptureMask(const std::vector<std::uint8_t>& answer) {
    CaptureMask mask{};
    if (answer.size() != mask.size()) {
        throw RIDGE_EXCEPTION(status::protocol, "Invalid host assisted capture response (%d).",
                              static_cast<int>(answer.size()));
    }
    std::rotate_copy(answer.begin(), answer.begin() + mask.size() / 2, answer.end(), mask.begin());
    return mask;
}

std::vector<std::uint8_t> encodeHostAssistedCaptureResult(VerdictNoise noise,
                                                          const CaptureMask& mask, bool accepted) {
    constexpr std::uint8_t lastPosition = 63;
    auto position = static_cast<std::uint8_t>(noise[64] % mask.size());
    if (position == 0) {
        position = 1;
    }
    noise[0] = position;
    noise[position] = accepted ? 1 : 0;
    noise[position == lastPosition ? position - 1U : position + 1U] = position;
    std::vector<std::uint8_t> payload(mask.size());
    std::transform(mask.begin(), mask.end(), noise.begin(), payload.begin(),
                   [](std::uint8_t hiding, std::uint8_t hidden) {
                       return static_cast<std::uint8_t>(hiding ^ hidden);
                   });
    return payload;
}

DeviceInfo decodeDeviceInfo(const std::vector<std::uint8_t>& answer) {
    InfoReader reader(answer);
    DeviceInfo info;
    info.text1 = reader.text();
    info.text2 = reader.text();
    info.text3 = reader.text();
    info.text4 = reader.text();
    info.text5 = reader.text();
    info.text6 = reader.text();
    info.text7 = reader.text();
    info.value1 = reader.number16();
    info.value2 = reader.number16();
    info.flags = reader.number32();
    return info;
}

DeviceSettings decodeDeviceSettings(const std::vector<std::uint8_t>& answer) {
    if (answer.size() != settingsSize) {
        throw RIDGE_EXCEPTION(status::malformedData, "Invalid device settings data (%d).", 1);
    }
    if (answer[0] > maxRotation) {
        throw RIDGE_EXCEPTION(status::malformedData, "Invalid device settings data (%d).", 4);
    }
    return {answer[0], readBigEndian32(answer.data() + 1)};
}

std::vector<std::uint8_t> encodeDeviceSettings(const DeviceSettings& settings) {
    if (settings.rotation > maxRotation) {
        throw RIDGE_EXCEPTION(status::protocol, "Failed to create device settings command (%d).",
                              4);
    }
    std::vector<std::uint8_t> payload{settings.rotation};
    appendBigEndian32(payload, settings.flags);
    return payload;
}

std::vector<std::uint8_t> encodeCertificate(const std::uint8_t* certificate, std::int32_t size) {
    if (certificate == nullptr) {
        throw RIDGE_EXCEPTION(status::invalidArgument, "Certificate cannot be NULL.");
    }
    if (size < 1 || size > maxCertificateSize) {
        throw RIDGE_EXCEPTION(status::invalidArgument, "Invalid certificate size %d.",
                              static_cast<int>(size));
    }
    return {certificate, certificate + size};
}

std::vector<std::uint8_t> encodeKey(const std::array<std::uint8_t, deviceKeySize>& noise,
                                    const std::uint8_t* key) {
    std::vector<std::uint8_t> payload;
    payload.reserve(2 * noise.size());
    for (std::size_t index = 0; index < noise.size(); ++index) {
        payload.push_back(noise[index]);
        payload.push_back(static_cast<std::uint8_t>(noise[index] ^ key[index]));
    }
    return payload;
}

std::vector<std::uint8_t> encodeCsrName(const CsrName& name) {
    std::vector<std::uint8_t> payload;
    payload.reserve(maxCsrNameSize);
    for (const CsrFieldLimit& limit : csrFieldLimits) {
        const std::string& text = name.*limit.field;
        const bool fits = text.empty()
                              ? limit.mayBeEmpty
                              : text.size() >= limit.minSize && text.size() <= limit.maxSize;
        if (!fits) {
            throw csrFailure(1);
        }
        // Cannot happen as long as the limits add up.
        if (payload.size() + 2 + text.size() > maxCsrNameSize) {
            throw csrFailure(5);
        }
        appendBigEndian16(payload, static_cast<std::uint16_t>(text.size()));
        payload.insert(payload.end(), text.begin(), text.end());
    }
    return payload;
}

} // namespace ridge
