#pragma once

#include "fakelibrary.h"
#include "program.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace ridge::test {

/// Runs the program with a library that the test directs.
class ProgramRun : public testing::Test {
protected:
    int run(const std::vector<std::string>& arguments) {
        std::istringstream in(input);
        std::ostringstream out;
        std::ostringstream err;
        const tool::Environment environment{in,     inputIsTerminal, out, outputTerminal,
                                            *clock, "OS 1"};
        tool::Messages messages(err, *clock, errorColumns);
        const tool::ExitStatus status =
            tool::runProgram(arguments, environment, messages, interruption);
        output = out.str();
        errors = err.str();
        unreadInput =
            in.str().substr(in.eof() ? in.str().size() : static_cast<std::size_t>(in.tellg()));
        return static_cast<int>(status);
    }

    /// The output as the one JSON object in one line that it must be.
    [[nodiscard]] nlohmann::json json() const {
        EXPECT_EQ(output.find('\n'), output.size() - 1);
        return nlohmann::json::parse(output);
    }

    FakeLibrary library;
    TemporaryFolder folder;
    tool::Interruption interruption;
    tool::SteadyClock steadyClock;
    const tool::Clock* clock = &steadyClock;
    std::string input;
    bool inputIsTerminal = false;
    std::optional<tool::Terminal> outputTerminal;
    std::optional<std::size_t> errorColumns;
    std::string output;
    std::string errors;
    /// What the program has left of its input.
    std::string unreadInput;
};

inline bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

} // namespace ridge::test
