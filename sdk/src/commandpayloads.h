#pragma once

#include "ridgecommands.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// The payloads of the scanner's commands: what a request carries and what an answer says. The
/// functions check, encode and decode; nothing here talks to the scanner.
namespace ridge {

/// The most that the scanner takes.
inline constexpr std::uint32_t maxCaptureTimeoutMs = 30000;
inline constexpr std::uint8_t maxRotation = 3;

inline constexpr std::size_t parameterBlockSize = 256;
inline constexpr std::size_t deviceKeySize = 32;

/// Throws status 6 for a mode above 10 (reason 2) or a time-out above 30000 ms (reason 3).
std::vector<std::uint8_t> encodeStartCapture(std::uint8_t mode, std::uint32_t timeoutMs,
                                             std::int32_t parameter, bool eventsWanted,
                                             const std::vector<std::uint8_t>& block);

/// Throws status 6 for a mode above 10 (reason 2) or a parameter of 0 (reason 1).
std::vector<std::uint8_t> encodeStartHostAssistedCapture(std::uint8_t mode, std::uint32_t parameter,
                                                         const std::vector<std::uint8_t>& block);

/// The mask is the answer's second half followed by its first. Throws status 6 for an answer of
/// another size than 64 bytes.
CaptureMask decodeCaptureMask(const std::vector<std::uint8_t>& answer);

/// 64 bytes of noise for a verdict to hide in, and one that chooses where.
using VerdictNoise = std::array<std::uint8_t, 65>;

std::vector<std::uint8_t> encodeHostAssistedCaptureResult(VerdictNoise noise,
                                                          const CaptureMask& mask, bool accepted);

/// Throws status 10 when the answer ends before its fields do; what follows them is ignored.
DeviceInfo decodeDeviceInfo(const std::vector<std::uint8_t>& answer);

/// Throws status 10 for an answer of another size than 5 bytes (reason 1) or a rotation above 3
/// (reason 4).
DeviceSettings decodeDeviceSettings(const std::vector<std::uint8_t>& answer);

/// Throws status 6 for a rotation above 3 (reason 4).
std::vector<std::uint8_t> encodeDeviceSettings(const DeviceSettings& settings);

/// Throws status 2 for a null pointer or a size outside 1 to 6000.
std::vector<std::uint8_t> encodeCertificate(const std::uint8_t* certificate, std::int32_t size);

/// Each byte of the 32-byte key travels as a random byte and that byte XOR the key's.
std::vector<std::uint8_t> encodeKey(const std::array<std::uint8_t, deviceKeySize>& noise,
                                    const std::uint8_t* key);

/// Throws status 6 when a field breaks its limit in bytes (reason 1) or the whole its own (5).
std::vector<std::uint8_t> encodeCsrName(const CsrName& name);

} // namespace ridge
