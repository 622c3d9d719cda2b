#pragma once

#include <string>
#include <vector>

namespace ridge::tool {

struct OptionModel {
    /// Such as "-o" and "--output"; none when the value stands by itself.
    std::vector<std::string> names;
    std::string description;
    enum class Value { none, text, choice, file, folder };
    Value value = Value::none;
    /// What a choice is made from.
    std::vector<std::string> choices;
};

/// What the parser accepts: a command, or a word that is one only together with another.
struct CommandModel {
    /// Such as "key"; the outermost one is the program.
    std::string name;
    std::string description;
    /// Those of the commands around it are accepted too.
    std::vector<OptionModel> options;
    std::vector<CommandModel> commands;
};

} // namespace ridge::tool
