#include "payloads.h"

#include "fingerprint.h"
#include "lineframing.h"

#include <algorithm>
#include <random>
#include <utility>

namespace ridge::bench {
namespace {

Payloads randomBytesBetween(std::string kind, unsigned least, unsigned greatest) {
    Payloads payloads{std::move(kind), {}};
    // The same in each run.
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp)
    std::uniform_int_distribution<unsigned> value(least, greatest);
    for (std::size_t number = 0; number < payloadCount; ++number) {
        Bytes& payload = payloads.all.emplace_back(payloadSize);
        std::generate(payload.begin(), payload.end(),
                      [&] { return static_cast<std::uint8_t>(value(random)); });
    }
    return payloads;
}

/// They take a while to draw.
Payloads pixelsOfFingerprints() {
    Payloads payloads{"fingerprint", {}};
    for (std::uint32_t seed = 1; payloads.all.size() < payloadCount; ++seed) {
        simulator::FingerprintOptions finger;
        finger.seed = seed;
        const Bytes pixels = simulator::generateFingerprint(finger).pixels;
        for (auto begin = pixels.begin(); pixels.end() - begin >= std::ptrdiff_t{payloadSize} &&
                                          payloads.all.size() < payloadCount;
             begin += payloadSize) {
            payloads.all.emplace_back(begin, begin + payloadSize);
        }
    }
    return payloads;
}

} // namespace

const Payloads& randomPayloads() {
    static const Payloads payloads = randomBytesBetween("random", 0x00, 0xFF);
    return payloads;
}

const Payloads& imagePayloads() {
    static const Payloads payloads = pixelsOfFingerprints();
    return payloads;
}

const Payloads& escapePayloads() {
    static const Payloads payloads = randomBytesBetween("all escapes", 0x7D, 0x7F);
    return payloads;
}

Bytes frameOf(const Bytes& payload) {
    return simulator::encodeFrame(payload);
}

std::vector<Bytes> framesOf(const Payloads& payloads) {
    std::vector<Bytes> frames;
    std::transform(payloads.all.begin(), payloads.all.end(), std::back_inserter(frames), frameOf);
    return frames;
}

} // namespace ridge::bench
