#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <istream>
#include <optional>
#include <string>
#include <vector>

namespace ridge::tool {

/// What an input is called and how many bytes it must have.
struct InputKind {
    const char* name;
    std::size_t least;
    std::size_t most;
};

/// Reads a file whole. Throws UsageError when it cannot be read or has another size.
[[nodiscard]] std::vector<std::uint8_t> readInput(const std::filesystem::path& file,
                                                  const InputKind& kind);
/// The same with what is left of a stream.
[[nodiscard]] std::vector<std::uint8_t> readInput(std::istream& stream, const std::string& name,
                                                  const InputKind& kind);

/// Reads the 256 bytes that a capture hands to the scanner; without a file there are none.
[[nodiscard]] std::vector<std::uint8_t> readBlock(const std::optional<std::filesystem::path>& file);

} // namespace ridge::tool
