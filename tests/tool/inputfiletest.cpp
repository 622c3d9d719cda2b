#include "blockfile.h"
#include "commanderror.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>

namespace ridge::tool {
namespace {

std::string failureOf(const std::filesystem::path& path) {
    try {
        (void)readBlock(path);
    } catch (const UsageError& failure) {
        return failure.what();
    }
    return "";
}

} // namespace

TEST(BlockFile, NoFile_IsNoBlock) {
    EXPECT_TRUE(readBlock(std::nullopt).empty());
}

TEST(BlockFile, FileOf256Bytes_IsReadAsItIs) {
    const test::TemporaryFolder folder;
    std::string content;
    for (int byte = 255; byte >= 0; --byte) {
        content += static_cast<char>(byte);
    }
    test::writeFile(folder / "block", content);
    const std::vector<std::uint8_t> block = readBlock(folder / "block");
    EXPECT_EQ(std::string(block.begin(), block.end()), content);
}

TEST(BlockFile, OtherSizes_AreRefused) {
    const test::TemporaryFolder folder;
    test::writeFile(folder / "empty", "");
    test::writeFile(folder / "short", std::string(255, 'x'));
    test::writeFile(folder / "long", std::string(257, 'x'));
    EXPECT_NE(failureOf(folder / "empty").find("this file has 0"), std::string::npos);
    EXPECT_NE(failureOf(folder / "short").find("this file has 255"), std::string::npos);
    EXPECT_NE(failureOf(folder / "long").find("this file has more"), std::string::npos);
}

TEST(BlockFile, MissingFileOrFolder_CannotBeRead) {
    const test::TemporaryFolder folder;
    EXPECT_NE(failureOf(folder / "missing").find("cannot be read"), std::string::npos);
    EXPECT_NE(failureOf(folder / "").find("cannot be read"), std::string::npos);
}

} // namespace ridge::tool
