#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/// The blocks of bytes in which the scanner sends images, in one or more chunks.
namespace ridge {

/// An image as it stands in a block.
struct ImageBlock {
    bool flagA = false;
    bool flagB = false;
    /// Reported only together with `flagB`.
    bool flagC = false;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    std::vector<std::uint8_t> image;
    std::uint8_t extraValue = 0;
    std::vector<std::uint8_t> trailer;
};

/// What distinguishes the two kinds of blocks while they are put together.
struct BlockKind {
    std::uint32_t minLength;
    /// Stands in the texts of failures: "captured" or "stream".
    const char* name;
};

inline constexpr BlockKind captureBlockKind{19, "captured"};
inline constexpr BlockKind streamBlockKind{16, "stream"};

/// Puts a block together from its chunks.
class BlockAssembler {
public:
    explicit BlockAssembler(const BlockKind& blockKind) : kind(blockKind) {}

    /// A block has been begun and is not yet complete.
    [[nodiscard]] bool underWay() const { return expectedLength != 0; }

    /// Appends a chunk that is not empty and tells whether the block is now complete. Throws status
    /// 10 when the first chunk is too short to announce a length, the announced length is
    /// impossible, or more bytes have come than announced.
    bool append(const std::vector<std::uint8_t>& chunk);

    /// What has been collected since the last `clear`.
    [[nodiscard]] const std::vector<std::uint8_t>& bytes() const { return buffer; }

    /// Drops what has been collected; the next chunk begins a block.
    void clear();

private:
    BlockKind kind;
    std::vector<std::uint8_t> buffer;
    /// 0 while no block is under way.
    std::uint32_t expectedLength = 0;
};

/// The content of a complete capture block; nothing when its parts do not fit together.
std::optional<ImageBlock> parseCaptureBlock(const std::vector<std::uint8_t>& block);

/// The content of a complete stream block, which has neither extra value nor trailer.
std::optional<ImageBlock> parseStreamBlock(const std::vector<std::uint8_t>& block);

} // namespace ridge
