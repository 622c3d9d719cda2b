// The help's examples are tried: each is parsed, and run with a scanner that does all that it is
// told.

#include "commandline.h"
#include "programrun.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <iomanip>

namespace ridge::tool {
namespace {

using test::contains;
using test::FakeWorker;
using Words = std::vector<std::string>;

/// The words of all commands, such as {"key", "set"}; the program itself has none.
std::vector<Words> commandsOf(const CommandModel& model, const Words& around = {}) {
    std::vector<Words> commands{around};
    for (const CommandModel& inner : model.commands) {
        Words words = around;
        words.push_back(inner.name);
        const std::vector<Words> more = commandsOf(inner, words);
        commands.insert(commands.end(), more.begin(), more.end());
    }
    return commands;
}

std::string helpOf(Words command) {
    command.emplace_back("--help");
    return std::get<HelpRequest>(parseCommandLine(command).command).text;
}

/// The command lines of a help's examples.
std::vector<std::string> examplesIn(const std::string& help) {
    std::istringstream lines(help.substr(std::min(help.size(), help.find("\nExamples:\n"))));
    std::vector<std::string> examples;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("  ridge ")) {
            examples.push_back(line);
        }
    }
    return examples;
}

/// The arguments of a command line as a shell would pass them on, the program's name not among
/// them.
Words argumentsOf(const std::string& commandLine) {
    std::istringstream text(commandLine);
    Words words;
    for (std::string word; text >> std::quoted(word);) {
        words.push_back(word);
    }
    words.erase(words.begin());
    return words;
}

std::string joined(const Words& words) {
    std::string text = "ridge";
    for (const std::string& word : words) {
        text += " " + word;
    }
    return text;
}

void takeImages(FakeWorker& worker) {
    const std::vector<std::uint8_t> stripes{0, 255, 0, 255};
    worker.image(2, 2, stripes);
    if (worker.operation() == "stream") {
        for (int image = 2; image <= 20; ++image) {
            worker.image(2, 2, stripes);
        }
        worker.waitForStop();
    } else if (worker.operation() == "host-assisted capture" && worker.verdict()) {
        worker.image(2, 2, stripes);
    }
}

class HelpExamples : public test::ProgramRun {
protected:
    HelpExamples() {
        std::filesystem::current_path(folder / ".");
        library.attached = {{"COM7", "RS-000007"}};
        library.operation = takeImages;
        library.createCsr = [](ridgeCsrCallback onCsr, ridgeErrorCallback, void* userContext) {
            const std::vector<std::uint8_t> request{0x30};
            onCsr(request.data(), 1, userContext);
        };
        test::writeFile("key.bin", std::string(32, 'k'));
        test::writeFile("scanner.der", "certificate");
        input = std::string(32, 'k');
    }
    ~HelpExamples() override { std::filesystem::current_path(before); }

private:
    const std::filesystem::path before = std::filesystem::current_path();
};

} // namespace

TEST_F(HelpExamples, EveryCommand_HasSome_AndTheyAreItsOwn) {
    const std::vector<Words> commands = commandsOf(commandModel());
    EXPECT_EQ(commands.size(), 16U);
    for (const Words& command : commands) {
        const std::vector<std::string> examples = examplesIn(helpOf(command));
        EXPECT_GE(examples.size(), 2U) << joined(command);
        for (const std::string& example : examples) {
            EXPECT_TRUE(example.starts_with("  " + joined(command) + " ") ||
                        example == "  " + joined(command))
                << example;
            EXPECT_NO_THROW((void)parseCommandLine(argumentsOf(example))) << example;
        }
    }
}

TEST_F(HelpExamples, EachButTheSelfTest_EndsWithSuccess) {
    for (const Words& command : commandsOf(commandModel())) {
        for (const std::string& example : examplesIn(helpOf(command))) {
            if (!contains(example, "ridge selftest")) {
                library.certificate = {0x30};
                EXPECT_EQ(run(argumentsOf(example)), 0) << example << "\n" << errors;
            }
        }
    }
}

} // namespace ridge::tool
