#pragma once

#include "deviceerror.h"
#include "faults.h"
#include "packet.h"
#include "simulatedtime.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace ridge::simulator {

/// The failure answer to a command.
Packet failureAnswer(std::uint8_t command, DeviceError error);
Packet failureAnswer(std::uint8_t command, std::uint8_t error, std::string_view text);

/// Whether a fault makes the scanner refuse the command instead of carrying it out.
bool refusesCommand(const FaultSet& faults);

/// Whether a fault keeps the answer from being sent at all.
bool silencesAnswer(const FaultSet& faults);

/// The sum of the faults' delays.
Time delayOfAnswer(const FaultSet& faults);

/// The bytes for the line of an answer or a data packet, with the faults' marks on them.
std::vector<std::uint8_t> encodeAnswer(Packet packet, const FaultSet& faults);

/// Lets the faults lie about an image block's length.
void distortBlock(std::vector<std::uint8_t>& block, const FaultSet& faults);

} // namespace ridge::simulator
