#include "completion.h"

#include "commandline.h"
#include "programrun.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace ridge::tool {
namespace {

using test::contains;
using Value = OptionModel::Value;

const CommandModel& commandNamed(const CommandModel& model, const std::string& name) {
    const auto found =
        std::find_if(model.commands.begin(), model.commands.end(),
                     [&](const CommandModel& command) { return command.name == name; });
    EXPECT_NE(found, model.commands.end()) << name;
    return *found;
}

OptionModel optionNamed(const CommandModel& model, const std::string& name) {
    for (const OptionModel& option : model.options) {
        if (std::find(option.names.begin(), option.names.end(), name) != option.names.end()) {
            return option;
        }
    }
    ADD_FAILURE() << name;
    return {};
}

const CommandModel small{
    "prog",
    "A program.",
    {{{"-h", "--help"}, "Shows help", Value::none, {}},
     {{"--log"}, "The log's\nlevel", Value::choice, {"debug", "error"}}},
    {{"key",
      "Keys.",
      {},
      {{"set",
        "Sets it.",
        {{{}, "The file", Value::file, {}}, {{"--port"}, "The port", Value::text, {}}},
        {}}}}}};

class CompletionCommand : public test::ProgramRun {};

} // namespace

TEST(CommandModel, Options_SayWhatTheyTake) {
    const CommandModel program = commandModel();
    EXPECT_EQ(program.name, "ridge");
    EXPECT_EQ(optionNamed(program, "--json").value, Value::none);
    const CommandModel& capture = commandNamed(program, "capture");
    EXPECT_EQ(optionNamed(capture, "-o").names, (std::vector<std::string>{"-o", "--output"}));
    EXPECT_EQ(optionNamed(capture, "-o").value, Value::file);
    EXPECT_EQ(optionNamed(capture, "--timeout").value, Value::text);
    EXPECT_EQ(optionNamed(capture, "--show").value, Value::none);
    EXPECT_EQ(optionNamed(commandNamed(program, "stream"), "-o").value, Value::folder);
    EXPECT_EQ(optionNamed(commandNamed(program, "selftest"), "-o").value, Value::file);
    const CommandModel& set = commandNamed(commandNamed(program, "key"), "set");
    EXPECT_TRUE(std::any_of(set.options.begin(), set.options.end(), [](const OptionModel& option) {
        return option.names.empty() && option.value == Value::file;
    }));
}

TEST(CommandModel, Choices_AreThoseThatTheParserAccepts) {
    const CommandModel program = commandModel();
    const OptionModel log = optionNamed(program, "--log");
    EXPECT_EQ(log.choices, (std::vector<std::string>{"debug", "info", "warning", "error"}));
    for (const std::string& level : log.choices) {
        EXPECT_TRUE(parseCommandLine({"list", "--log", level}).logLevel) << level;
    }
    const CommandModel& completion = commandNamed(program, "completion");
    const auto shell =
        std::find_if(completion.options.begin(), completion.options.end(),
                     [](const OptionModel& option) { return option.value == Value::choice; });
    ASSERT_NE(shell, completion.options.end());
    EXPECT_EQ(shell->choices, (std::vector<std::string>{"bash", "powershell"}));
    for (const std::string& name : shell->choices) {
        EXPECT_EQ(std::get<CompletionOptions>(parseCommandLine({"completion", name}).command).shell,
                  name);
    }
    const OptionModel option = optionNamed(commandNamed(program, "settings"), "--option");
    EXPECT_EQ(option.choices, (std::vector<std::string>{"0", "1"}));
}

TEST(Completion, PowerShellScript_HoldsTheModel) {
    EXPECT_EQ(powershellCompletion(small),
              R"ps(# Lets PowerShell complete the command line of prog:
#   prog completion powershell | Out-String | Invoke-Expression
Register-ArgumentCompleter -Native -CommandName 'prog', 'prog.exe' -ScriptBlock {
    param($wordToComplete, $commandAst, $cursorPosition)
    # What may follow a command.
    $commands = @{
        'prog' = [ordered]@{
            'key' = 'Keys.'
            '-h' = 'Shows help'
            '--help' = 'Shows help'
            '--log' = 'The log''s level'
        }
        'prog key' = [ordered]@{
            'set' = 'Sets it.'
            '-h' = 'Shows help'
            '--help' = 'Shows help'
            '--log' = 'The log''s level'
        }
        'prog key set' = [ordered]@{
            '--port' = 'The port'
            '-h' = 'Shows help'
            '--help' = 'Shows help'
            '--log' = 'The log''s level'
        }
    }
    # What may follow an option; the name of a file where nothing is listed.
    $values = @{
        'prog --log' = [ordered]@{
            'debug' = 'debug'
            'error' = 'error'
        }
        'prog key --log' = [ordered]@{
            'debug' = 'debug'
            'error' = 'error'
        }
        'prog key set --port' = [ordered]@{}
        'prog key set --log' = [ordered]@{
            'debug' = 'debug'
            'error' = 'error'
        }
    }
    $command = 'prog'
    $option = $null
    $commandAst.CommandElements | Select-Object -Skip 1 |
        Where-Object { $_.Extent.EndOffset -lt $cursorPosition } | ForEach-Object {
            $longer = "$command $($_.Extent.Text)"
            if ($option) {
                $option = $null
            } elseif ($commands.ContainsKey($longer)) {
                $command = $longer
            } elseif ($values.ContainsKey($longer)) {
                $option = $longer
            }
        }
    $candidates = if ($option) { $values[$option] } else { $commands[$command] }
    $candidates.GetEnumerator() | Where-Object { $_.Key.StartsWith($wordToComplete) } |
        ForEach-Object {
            [System.Management.Automation.CompletionResult]::new(
                $_.Key, $_.Key, 'ParameterValue', $_.Value)
        }
}
)ps");
}

TEST_F(CompletionCommand, Script_GoesToTheOutput) {
    EXPECT_EQ(run({"completion", "bash"}), 0);
    EXPECT_EQ(output, bashCompletion(commandModel()));
    EXPECT_EQ(run({"completion", "powershell"}), 0);
    EXPECT_EQ(output, powershellCompletion(commandModel()));
    EXPECT_EQ(errors, "");
}

TEST_F(CompletionCommand, ScriptAsJson_IsOneObject) {
    EXPECT_EQ(run({"completion", "bash", "--json"}), 0);
    EXPECT_EQ(json()["shell"], "bash");
    EXPECT_EQ(json()["script"], bashCompletion(commandModel()));
}

TEST_F(CompletionCommand, UnknownShell_IsAUsageError) {
    EXPECT_EQ(run({"completion", "tcsh"}), 1);
    EXPECT_EQ(run({"completion"}), 1);
    EXPECT_TRUE(contains(errors, "SHELL is required")) << errors;
}

} // namespace ridge::tool
