#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ridge::bench {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::size_t payloadSize = 10000;
/// Fewer, and the processor's branch prediction would learn them.
inline constexpr std::size_t payloadCount = 64;

/// Payloads of one kind, all different unless the kind leaves no choice.
struct Payloads {
    std::string kind;
    std::vector<Bytes> all;
};

/// Every value as likely as any other.
const Payloads& randomPayloads();
/// Pieces of the simulated scanner's fingerprints.
const Payloads& imagePayloads();
/// Flags and escapes alone, in random order: each takes two bytes on the line.
const Payloads& escapePayloads();

/// The frame of a payload, as it is on the line.
Bytes frameOf(const Bytes& payload);
std::vector<Bytes> framesOf(const Payloads& payloads);

} // namespace ridge::bench
