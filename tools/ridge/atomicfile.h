#pragma once

#include "commanderror.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace ridge::tool {

class FileError : public CommandError {
public:
    explicit FileError(const std::string& text) : CommandError(ExitStatus::otherFailure, text) {}
};

/// A file that appears completely or not at all: its content goes into a temporary file beside it,
/// which takes its name at the end. A file that was there before is replaced.
class AtomicFile {
public:
    /// Creates missing folders and the temporary file, so that a target that cannot be written is
    /// found out now. Throws FileError.
    explicit AtomicFile(const std::filesystem::path& path);
    ~AtomicFile();

    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Throws FileError; then the target is as it was before.
    void commit(const std::vector<std::uint8_t>& content);

    [[nodiscard]] const std::filesystem::path& path() const { return target; }

private:
    std::filesystem::path target;
    std::filesystem::path temporary;
    std::ofstream stream;
};

} // namespace ridge::tool
