#include "blockfile.h"

#include "commanderror.h"
#include "utf8path.h"

#include <cstddef>
#include <fstream>
#include <string>

namespace ridge::tool {
namespace {

constexpr std::size_t blockSize = 256;

} // namespace

std::vector<std::uint8_t> readBlock(const std::optional<std::filesystem::path>& file) {
    if (!file) {
        return {};
    }
    std::ifstream stream(*file, std::ios::binary);
    if (!stream || std::filesystem::is_directory(*file)) {
        throw UsageError(utf8FromPath(*file) + ": cannot be read");
    }
    // One byte more than wanted tells a longer file apart.
    std::vector<char> content(blockSize + 1);
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    const auto size = static_cast<std::size_t>(stream.gcount());
    if (size != blockSize) {
        throw UsageError(utf8FromPath(*file) + ": a block has exactly " +
                         std::to_string(blockSize) + " bytes, this file has " +
                         (size > blockSize ? "more" : std::to_string(size)));
    }
    return {content.begin(), content.begin() + static_cast<std::ptrdiff_t>(size)};
}

} // namespace ridge::tool
