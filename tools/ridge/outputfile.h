#pragma once

#include "atomicfile.h"

#include <filesystem>
#include <memory>

namespace ridge::tool {

/// Opens the first file that a command writes, before the scanner is bothered: what is wrong with
/// it is the user's affair. Throws UsageError.
[[nodiscard]] inline std::unique_ptr<AtomicFile> openOutput(const std::filesystem::path& path) {
    try {
        return std::make_unique<AtomicFile>(path);
    } catch (const FileError& failure) {
        throw UsageError(failure.what());
    }
}

} // namespace ridge::tool
