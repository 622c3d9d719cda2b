#include "inputfile.h"
#include "commanderror.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>

#include <sstream>

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

TEST(InputFile, NoFile_IsNoBlock) {
    EXPECT_TRUE(readBlock(std::nullopt).empty());
}

TEST(InputFile, FileOf256Bytes_IsReadAsItIs) {
    const test::TemporaryFolder folder;
    std::string content;
    for (int byte = 255; byte >= 0; --byte) {
        content += static_cast<char>(byte);
    }
    test::writeFile(folder / "block", content);
    const std::vector<std::uint8_t> block = readBlock(folder / "block");
    EXPECT_EQ(std::string(block.begin(), block.end()), content);
}

TEST(InputFile, OtherSizes_AreRefused) {
    const test::TemporaryFolder folder;
    test::writeFile(folder / "empty", "");
    test::writeFile(folder / "short", std::string(255, 'x'));
    test::writeFile(folder / "long", std::string(257, 'x'));
    EXPECT_NE(failureOf(folder / "empty").find("here are 0"), std::string::npos);
    EXPECT_NE(failureOf(folder / "short").find("here are 255"), std::string::npos);
    EXPECT_NE(failureOf(folder / "long").find("here are more"), std::string::npos);
}

std::string failureOfStream(const std::string& content) {
    std::istringstream stream(content);
    try {
        (void)readInput(stream, "standard input", {"certificate", 1, 3});
    } catch (const UsageError& failure) {
        return failure.what();
    }
    return "";
}

TEST(InputFile, StreamOfASizeInTheRange_IsReadWhole) {
    std::istringstream stream(std::string("a\r\n\0b", 5));
    EXPECT_EQ(readInput(stream, "standard input", {"certificate", 1, 5}),
              (std::vector<std::uint8_t>{'a', '\r', '\n', 0, 'b'}));
}

TEST(InputFile, StreamOfAnotherSize_IsRefusedWithoutItsContent) {
    EXPECT_EQ(failureOfStream(""), "standard input: a certificate has 1 to 3 bytes, here are 0");
    EXPECT_EQ(failureOfStream("xxxx"),
              "standard input: a certificate has 1 to 3 bytes, here are more");
    EXPECT_EQ(failureOfStream("xxx"), "");
    EXPECT_EQ(failureOfStream("x"), "");
}

TEST(InputFile, MissingFileOrFolder_CannotBeRead) {
    const test::TemporaryFolder folder;
    EXPECT_NE(failureOf(folder / "missing").find("cannot be read"), std::string::npos);
    EXPECT_NE(failureOf(folder / "").find("cannot be read"), std::string::npos);
}

} // namespace ridge::tool
