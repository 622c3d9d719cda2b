#include "atomicfile.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>

namespace ridge::tool {
namespace {

using test::readFile;
using test::TemporaryFolder;
using test::writeFile;

const std::vector<std::uint8_t> content{'n', 'e', 'w', 0, 0x0A, 0xFF};
const std::string contentText{"new\0\x0A\xFF", 6};

} // namespace

TEST(AtomicFile, Commit_LeavesTheFileAlone) {
    const TemporaryFolder folder;
    {
        AtomicFile file(folder / "picture.png");
        file.commit(content);
    }
    EXPECT_EQ(readFile(folder / "picture.png"), contentText);
    EXPECT_EQ(folder.entries(), 1U);
}

TEST(AtomicFile, BeforeCommit_TheTargetDoesNotExist) {
    const TemporaryFolder folder;
    const AtomicFile file(folder / "picture.png");
    EXPECT_FALSE(std::filesystem::exists(folder / "picture.png"));
}

TEST(AtomicFile, WithoutCommit_LeavesNothingBehind) {
    const TemporaryFolder folder;
    { const AtomicFile file(folder / "picture.png"); }
    EXPECT_EQ(folder.entries(), 0U);
}

TEST(AtomicFile, OlderFile_IsKeptUntilCommitAndThenReplaced) {
    const TemporaryFolder folder;
    writeFile(folder / "picture.png", "old");
    { const AtomicFile file(folder / "picture.png"); }
    EXPECT_EQ(readFile(folder / "picture.png"), "old");
    AtomicFile(folder / "picture.png").commit(content);
    EXPECT_EQ(readFile(folder / "picture.png"), contentText);
    EXPECT_EQ(folder.entries(), 1U);
}

TEST(AtomicFile, MissingFolders_AreMade) {
    const TemporaryFolder folder;
    AtomicFile((folder / "a") / "b" / "picture.png").commit(content);
    EXPECT_EQ(readFile((folder / "a") / "b" / "picture.png"), contentText);
}

TEST(AtomicFile, NameWithOtherLetters_IsWritten) {
    const TemporaryFolder folder;
    const std::filesystem::path path =
        folder / "" / std::filesystem::path(u8"d\u00E9but-\u6307.png");
    AtomicFile(path).commit(content);
    EXPECT_EQ(readFile(path), contentText);
}

TEST(AtomicFile, FolderThatIsAFile_IsRefused) {
    const TemporaryFolder folder;
    writeFile(folder / "file", "x");
    EXPECT_THROW(AtomicFile((folder / "file") / "picture.png"), FileError);
}

TEST(AtomicFile, TargetThatIsAFolder_IsRefused) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "picture.png");
    EXPECT_THROW(AtomicFile(folder / "picture.png"), FileError);
    EXPECT_EQ(folder.entries(), 1U);
}

TEST(AtomicFile, TargetWithoutAName_IsRefused) {
    const TemporaryFolder folder;
    EXPECT_THROW(AtomicFile(folder / ""), FileError);
    EXPECT_EQ(folder.entries(), 0U);
}

TEST(AtomicFile, WriteProtectedTarget_IsRefused) {
    namespace fs = std::filesystem;
    const TemporaryFolder folder;
    writeFile(folder / "picture.png", "old");
    fs::permissions(folder / "picture.png",
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    EXPECT_THROW(AtomicFile(folder / "picture.png"), FileError);
    EXPECT_EQ(readFile(folder / "picture.png"), "old");
    fs::permissions(folder / "picture.png", fs::perms::owner_write, fs::perm_options::add);
}

TEST(AtomicFile, TargetThatBecameAFolder_FailsTheCommitAndLeavesNothingBehind) {
    const TemporaryFolder folder;
    {
        AtomicFile file(folder / "picture.png");
        std::filesystem::create_directory(folder / "picture.png");
        EXPECT_THROW(file.commit(content), FileError);
    }
    EXPECT_EQ(folder.entries(), 1U);
}

} // namespace ridge::tool
