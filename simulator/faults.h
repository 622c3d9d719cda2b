#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ridge::simulator {

enum class FaultKind {
    noAnswer,
    lateAnswer,
    duplicateAnswer,
    extraDataPacket,
    wrongChecksum,
    wrongLength,
    wrongCode,
    wrongType,
    truncatedFrame,
    flippedByte,
    noiseBefore,
    emptyAnswer,
    answerLength,
    answerByte,
    deviceError,
    shortError,
    blockLength,
    shortBlock,
};

/// What a fault counts and strikes.
enum class FaultPoint {
    answer, ///< the answer to a request
    data,   ///< a data packet of an image block
    block,  ///< an image block and the answer that announces it
};

struct Fault {
    FaultKind kind = FaultKind::noAnswer;
    /// Every command when empty.
    std::optional<std::uint8_t> command;
    FaultPoint point = FaultPoint::answer;
    /// The first occurrence that the fault strikes, counted from 1.
    std::uint32_t occurrence = 1;
    /// Strikes every later occurrence too.
    bool always = false;
    /// The numbers behind the name, where given.
    std::optional<std::int64_t> value;
    std::optional<std::int64_t> secondValue;
    /// `value` is to be added to the true one.
    bool relative = false;
    std::string text;
};

using FaultSet = std::vector<Fault>;

struct FaultName {
    FaultKind kind;
    std::string_view name;
    /// The form of what follows the name, optional parts in brackets.
    std::string_view arguments;
    std::string_view description;
};

/// Every fault as it is written in a script.
std::span<const FaultName> faultNames();

/// A fault that cannot be read; the text says why.
class FaultSyntaxError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// Reads one fault: TARGET[/data|/block][#N]: FAULT[:ARGUMENTS] [once|always]
///
/// TARGET is a command's name, its code such as 0x11, or "any". #N is the first occurrence that
/// is struck (1 when left out); "once" is the default. Example:
///   GET CAPTURE DATA/data#2: wrong-checksum once
Fault parseFault(std::string_view line);

/// Reads a fault per line; empty lines and lines that start with # are skipped. Errors name the
/// line.
FaultSet parseFaultScript(std::string_view script);

} // namespace ridge::simulator
