#pragma once

#include "scannerconfig.h"

#include <cstddef>
#include <cstdint>

namespace ridge::bench {

/// Gives a scanner pictures whose capture blocks have exactly this size: pieces of a fingerprint,
/// all different, and others for each number. They are so many that 64 packets are different.
void fillBlocks(simulator::ScannerConfig& config, const simulator::GreyImage& fingerprint,
                std::size_t blockSize, std::uint32_t number);

} // namespace ridge::bench
