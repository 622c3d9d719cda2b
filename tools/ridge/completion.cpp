#include "completion.h"

#include <algorithm>
#include <cstddef>

namespace ridge::tool {
namespace {

/// A command with everything that it accepts.
struct Command {
    /// Such as "ridge key set".
    std::string path;
    std::vector<OptionModel> options;
    std::vector<CommandModel> commands;
};

bool isAmong(const OptionModel& option, const std::vector<OptionModel>& options) {
    return std::any_of(options.begin(), options.end(), [&](const OptionModel& other) {
        return !option.names.empty() && option.names == other.names;
    });
}

void collect(const CommandModel& model, const std::string& around,
             const std::vector<OptionModel>& inherited, std::vector<Command>& commands) {
    const std::string path = around.empty() ? model.name : around + " " + model.name;
    std::vector<OptionModel> options = model.options;
    for (const OptionModel& option : inherited) {
        if (!isAmong(option, options)) {
            options.push_back(option);
        }
    }
    commands.push_back({path, options, model.commands});
    for (const CommandModel& inner : model.commands) {
        collect(inner, path, options, commands);
    }
}

std::vector<Command> allCommands(const CommandModel& program) {
    std::vector<Command> commands;
    collect(program, "", {}, commands);
    return commands;
}

bool takesValue(const OptionModel& option) {
    return !option.names.empty() && option.value != OptionModel::Value::none;
}

std::string joined(const std::vector<std::string>& parts, const std::string& separator) {
    std::string text;
    for (const std::string& part : parts) {
        text += (text.empty() ? "" : separator) + part;
    }
    return text;
}

/// Patterns that a case of bash matches, such as "ridge key set"|"ridge key clear".
class Patterns {
public:
    void add(const std::string& text) { patterns.push_back("\"" + text + "\""); }
    void addNames(const Command& command, const OptionModel& option) {
        for (const std::string& name : option.names) {
            add(command.path + " " + name);
        }
    }
    /// A branch of the case; nothing when nothing would lead to it.
    [[nodiscard]] std::string branch(const std::string& indent, const std::string& action) const {
        return patterns.empty() ? ""
                                : indent + joined(patterns, "|\\\n" + indent) + ")\n" + indent +
                                      "    " + action + " ;;\n";
    }

private:
    std::vector<std::string> patterns;
};

std::string bashWalk(const std::vector<Command>& commands) {
    Patterns inner;
    Patterns withValue;
    for (const Command& command : commands) {
        for (const CommandModel& word : command.commands) {
            inner.add(command.path + " " + word.name);
        }
        for (const OptionModel& option : command.options) {
            if (takesValue(option)) {
                withValue.addNames(command, option);
            }
        }
    }
    const std::string indent(8, ' ');
    return inner.branch(indent, "command+=\" ${COMP_WORDS[index]}\"") +
           withValue.branch(indent, "((++index)); [[ ${COMP_WORDS[index]} != = ]] || ((++index))");
}

std::string bashValues(const std::vector<Command>& commands) {
    const std::string indent(8, ' ');
    std::string choices;
    Patterns files;
    Patterns folders;
    Patterns others;
    for (const Command& command : commands) {
        for (const OptionModel& option : command.options) {
            if (!takesValue(option)) {
                continue;
            }
            if (option.value == OptionModel::Value::choice) {
                Patterns names;
                names.addNames(command, option);
                choices += names.branch(indent, "words=\"" + joined(option.choices, " ") + "\"");
            } else if (option.value == OptionModel::Value::file) {
                files.addNames(command, option);
            } else if (option.value == OptionModel::Value::folder) {
                folders.addNames(command, option);
            } else {
                others.addNames(command, option);
            }
        }
    }
    return choices + files.branch(indent, "kind=file") + folders.branch(indent, "kind=directory") +
           others.branch(indent, "return");
}

/// What may follow a command: the words of its own and its options.
std::string bashWords(const std::vector<Command>& commands) {
    std::string branches;
    for (const Command& command : commands) {
        std::vector<std::string> words;
        std::string kind;
        for (const CommandModel& inner : command.commands) {
            words.push_back(inner.name);
        }
        for (const OptionModel& option : command.options) {
            words.insert(words.end(), option.names.begin(), option.names.end());
            if (option.names.empty()) {
                words.insert(words.end(), option.choices.begin(), option.choices.end());
                kind = option.value == OptionModel::Value::file ? "; kind=file" : kind;
            }
        }
        branches += "            \"" + command.path + "\") words=\"" + joined(words, " ") + "\"" +
                    kind + " ;;\n";
    }
    return branches;
}

/// A text of PowerShell, in one line.
std::string literal(const std::string& text) {
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\n' ? ' ' : character;
        if (character == '\'') {
            quoted += character;
        }
    }
    return quoted + "'";
}

/// A table of PowerShell that is filled entry by entry.
class Table {
public:
    void add(const std::string& key, const std::string& value) {
        entries += "            " + literal(key) + " = " + literal(value) + "\n";
    }
    [[nodiscard]] std::string text(const std::string& name) const {
        return "        " + literal(name) + " = [ordered]@{" +
               (entries.empty() ? "" : "\n" + entries + "        ") + "}\n";
    }

private:
    std::string entries;
};

void addChoices(Table& table, const OptionModel& option) {
    for (const std::string& choice : option.choices) {
        table.add(choice, choice);
    }
}

} // namespace

std::string bashCompletion(const CommandModel& program) {
    const std::vector<Command> commands = allCommands(program);
    const std::string& name = program.name;
    const std::string function = "_" + name;
    return "# Lets bash complete the command line of " + name + ":\n#   source <(" + name +
           " completion bash)\n" + function +
           "() {\n"
           "    COMPREPLY=()\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    if [[ $current == = ]]; then\n"
           "        current=\n"
           "    elif [[ $previous == = ]]; then\n"
           "        previous=${COMP_WORDS[COMP_CWORD - 2]}\n"
           "    fi\n"
           "    local command=" +
           name +
           " words= kind= index\n"
           "    for ((index = 1; index < COMP_CWORD; ++index)); do\n"
           "        case \"$command ${COMP_WORDS[index]}\" in\n" +
           bashWalk(commands) +
           "        esac\n"
           "    done\n"
           "    case \"$command $previous\" in\n" +
           bashValues(commands) +
           "        *)\n"
           "            case \"$command\" in\n" +
           bashWords(commands) +
           "            esac ;;\n"
           "    esac\n"
           "    mapfile -t COMPREPLY < <(\n"
           "        compgen -W \"$words\" -- \"$current\"\n"
           "        [[ -z $kind ]] || compgen -A \"$kind\" -- \"$current\"\n"
           "    )\n"
           "    [[ -z $kind ]] || compopt -o filenames\n"
           "}\n"
           "complete -F " +
           function + " " + name + " " + name + ".exe\n";
}

std::string powershellCompletion(const CommandModel& program) {
    std::string candidates;
    std::string values;
    for (const Command& command : allCommands(program)) {
        Table words;
        for (const CommandModel& inner : command.commands) {
            words.add(inner.name, inner.description);
        }
        for (const OptionModel& option : command.options) {
            if (option.names.empty()) {
                addChoices(words, option);
            }
            for (const std::string& name : option.names) {
                words.add(name, option.description);
                if (takesValue(option)) {
                    Table choices;
                    addChoices(choices, option);
                    values += choices.text(command.path + " " + name);
                }
            }
        }
        candidates += words.text(command.path);
    }
    const std::string& name = program.name;
    return "# Lets PowerShell complete the command line of " + name + ":\n#   " + name +
           " completion powershell | Out-String | Invoke-Expression\n"
           "Register-ArgumentCompleter -Native -CommandName " +
           literal(name) + ", " + literal(name + ".exe") +
           " -ScriptBlock {\n"
           "    param($wordToComplete, $commandAst, $cursorPosition)\n"
           "    # What may follow a command.\n"
           "    $commands = @{\n" +
           candidates +
           "    }\n"
           "    # What may follow an option; the name of a file where nothing is listed.\n"
           "    $values = @{\n" +
           values +
           "    }\n"
           "    $command = " +
           literal(name) +
           "\n"
           "    $option = $null\n"
           "    $commandAst.CommandElements | Select-Object -Skip 1 |\n"
           "        Where-Object { $_.Extent.EndOffset -lt $cursorPosition } | ForEach-Object {\n"
           "            $longer = \"$command $($_.Extent.Text)\"\n"
           "            if ($option) {\n"
           "                $option = $null\n"
           "            } elseif ($commands.ContainsKey($longer)) {\n"
           "                $command = $longer\n"
           "            } elseif ($values.ContainsKey($longer)) {\n"
           "                $option = $longer\n"
           "            }\n"
           "        }\n"
           "    $candidates = if ($option) { $values[$option] } else { $commands[$command] }\n"
           "    $candidates.GetEnumerator() | Where-Object { $_.Key.StartsWith($wordToComplete) } "
           "|\n"
           "        ForEach-Object {\n"
           "            [System.Management.Automation.CompletionResult]::new(\n"
           "                $_.Key, $_.Key, 'ParameterValue', $_.Value)\n"
           "        }\n"
           "}\n";
}

} // namespace ridge::tool
