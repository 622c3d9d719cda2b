#include "inputfile.h"

#include "commanderror.h"
#include "utf8path.h"
#include "wipe.h"

#include <fstream>

namespace ridge::tool {
namespace {

std::string wantedSize(const InputKind& kind) {
    return kind.least == kind.most
               ? "exactly " + std::to_string(kind.most)
               : std::to_string(kind.least) + " to " + std::to_string(kind.most);
}

} // namespace

std::vector<std::uint8_t> readInput(const std::filesystem::path& file, const InputKind& kind) {
    std::ifstream stream;
    // No copy of what may be a key in a buffer.
    stream.rdbuf()->pubsetbuf(nullptr, 0);
    stream.open(file, std::ios::binary);
    if (!stream || std::filesystem::is_directory(file)) {
        throw UsageError(utf8FromPath(file) + ": cannot be read");
    }
    return readInput(stream, utf8FromPath(file), kind);
}

std::vector<std::uint8_t> readInput(std::istream& stream, const std::string& name,
                                    const InputKind& kind) {
    // One byte more than wanted tells a longer input apart.
    std::vector<std::uint8_t> content(kind.most + 1);
    stream.read(reinterpret_cast<char*>(content.data()),
                static_cast<std::streamsize>(content.size()));
    if (stream.bad()) {
        wipe(content);
        throw UsageError(name + ": cannot be read");
    }
    const auto size = static_cast<std::size_t>(stream.gcount());
    if (size < kind.least || size > kind.most) {
        wipe(content);
        throw UsageError(name + ": a " + kind.name + " has " + wantedSize(kind) +
                         " bytes, here are " + (size > kind.most ? "more" : std::to_string(size)));
    }
    content.resize(size);
    return content;
}

std::vector<std::uint8_t> readBlock(const std::optional<std::filesystem::path>& file) {
    constexpr std::size_t blockSize = 256;
    return file ? readInput(*file, {"block", blockSize, blockSize}) : std::vector<std::uint8_t>();
}

} // namespace ridge::tool
