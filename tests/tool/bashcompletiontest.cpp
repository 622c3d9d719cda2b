// The script for bash, in bash.

#include "completion.h"

#include "commandline.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

namespace ridge::tool {
namespace {

using Words = std::vector<std::string>;

class BashCompletion : public testing::Test {
protected:
    BashCompletion() {
        test::writeFile(folder / "ridge.bash", bashCompletion(commandModel()));
        std::filesystem::create_directory(folder / "work");
        test::writeFile(folder / "work/a key.bin", "");
        std::filesystem::create_directory(folder / "work/images");
    }

    /// What bash offers for the last of the words, in order.
    Words offered(const Words& words) {
        std::string script = "set -u\nsource '" + (folder / "ridge.bash").string() + "'\ncd '" +
                             (folder / "work").string() +
                             "'\n"
                             // Works in a completion that the user has asked for only.
                             "compopt() { :; }\n"
                             "COMP_WORDS=(ridge";
        for (const std::string& word : words) {
            script += " '" + word + "'";
        }
        script += ")\nCOMP_CWORD=" + std::to_string(words.size()) +
                  "\n_ridge\n((${#COMPREPLY[@]} == 0)) || printf '%s\\n' \"${COMPREPLY[@]}\"\n";
        test::writeFile(folder / "ask.bash", script);
        const std::string command = "bash '" + (folder / "ask.bash").string() + "' >'" +
                                    (folder / "answer").string() + "' 2>&1";
        EXPECT_EQ(std::system(command.c_str()), 0) << test::readFile(folder / "answer");
        std::istringstream lines(test::readFile(folder / "answer"));
        Words answer;
        for (std::string line; std::getline(lines, line);) {
            answer.push_back(line);
        }
        return answer;
    }

    test::TemporaryFolder folder;
};

} // namespace

TEST_F(BashCompletion, OfAWord_OffersTheCommandsThatBeginSo) {
    EXPECT_EQ(offered({"c"}), (Words{"capture", "cert", "csr", "completion"}));
    EXPECT_EQ(offered({"key", ""}),
              (Words{"set", "clear", "-h", "--help", "--version", "--json", "--log"}));
    EXPECT_EQ(offered({"x"}), Words{});
}

TEST_F(BashCompletion, OfAnOption_OffersThoseOfTheCommandAndOfAllCommands) {
    EXPECT_EQ(offered({"capture", "--se"}), Words{"--serial"});
    EXPECT_EQ(offered({"--json", "capture", "-o", "list", "--s"}), (Words{"--serial", "--show"}));
    EXPECT_EQ(offered({"list", "--"}), (Words{"--help", "--version", "--json", "--log"}));
}

TEST_F(BashCompletion, OfAValue_OffersTheChoices) {
    EXPECT_EQ(offered({"--log", ""}), (Words{"debug", "info", "warning", "error"}));
    EXPECT_EQ(offered({"cert", "get", "--log", "w"}), Words{"warning"});
    EXPECT_EQ(offered({"completion", "b"}), Words{"bash"});
    EXPECT_EQ(offered({"info", "--port", ""}), Words{});
}

TEST_F(BashCompletion, OfAValueBehindAnEqualsSign_OffersTheChoices) {
    EXPECT_EQ(offered({"list", "--log", "="}), (Words{"debug", "info", "warning", "error"}));
    EXPECT_EQ(offered({"list", "--log", "=", "e"}), Words{"error"});
    EXPECT_EQ(offered({"--log", "=", "error", "list", "--j"}), Words{"--json"});
}

TEST_F(BashCompletion, OfAFile_OffersFilesAndOfAFolderFolders) {
    EXPECT_EQ(offered({"key", "set", "a"}), Words{"a key.bin"});
    EXPECT_EQ(offered({"capture", "-o", "a"}), Words{"a key.bin"});
    EXPECT_EQ(offered({"stream", "--output", ""}), Words{"images"});
}

TEST_F(BashCompletion, Script_RegistersItself) {
    const std::string command = "bash -c 'source \"" + (folder / "ridge.bash").string() +
                                "\" && complete -p ridge ridge.exe' >'" +
                                (folder / "answer").string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(test::readFile(folder / "answer"),
              "complete -F _ridge ridge\ncomplete -F _ridge ridge.exe\n");
}

} // namespace ridge::tool
