#include "faults.h"

#include "command.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace ridge::simulator {

namespace {

constexpr std::array<FaultName, 18> allFaults{{
    {FaultKind::noAnswer, "no-answer", "", "the answer, or the data packet, is never sent"},
    {FaultKind::lateAnswer, "late-answer", ":MS", "the answer comes MS milliseconds late"},
    {FaultKind::duplicateAnswer, "duplicate-answer", "", "the answer is sent twice"},
    {FaultKind::extraDataPacket, "extra-data-packet", "",
     "a data packet of one byte follows that nobody asked for"},
    {FaultKind::wrongChecksum, "wrong-checksum", "", "the packet's checksum is one too high"},
    {FaultKind::wrongLength, "wrong-length", "",
     "the packet's length field is one too high; its checksum is right"},
    {FaultKind::wrongCode, "wrong-code", "[:CODE]",
     "the packet carries another command's code (default: its own with bit 6 turned over)"},
    {FaultKind::wrongType, "wrong-type", "[:TYPE]", "the packet's type is TYPE (default: 1)"},
    {FaultKind::truncatedFrame, "truncated-frame", "[:BYTES]",
     "only the frame's first BYTES bytes go out (default: its first half)"},
    {FaultKind::flippedByte, "flipped-byte", "[:OFFSET]",
     "the lowest bit of the byte at OFFSET of the frame is turned over (default: the middle)"},
    {FaultKind::noiseBefore, "noise-before", "[:BYTES]",
     "BYTES bytes of line noise come before the frame (default: 16)"},
    {FaultKind::emptyAnswer, "empty-answer", "", "the packet carries no payload"},
    {FaultKind::answerLength, "answer-length", ":BYTES",
     "the payload is cut, or filled up with zeros, to BYTES bytes"},
    {FaultKind::answerByte, "answer-byte", ":OFFSET:VALUE",
     "the payload's byte at OFFSET, if there is one, is VALUE"},
    {FaultKind::deviceError, "device-error", ":CODE[:TEXT]",
     "the command is refused with error CODE, with or without a text"},
    {FaultKind::shortError, "short-error", "[:BYTES]",
     "the command is refused with an error payload of 0 to 2 bytes (default: 1)"},
    {FaultKind::blockLength, "block-length", ":N|+N|-N",
     "the image block's first field says N, or the true length plus or minus N"},
    {FaultKind::shortBlock, "short-block", ":BYTES",
     "the image block is BYTES bytes long and says so"},
}};

constexpr std::int64_t largestByte = 0xFF;
constexpr std::int64_t largestPayload = 10000;
constexpr std::int64_t largestWord = std::numeric_limits<std::uint32_t>::max();

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// Splits at the first separator; the second part is empty and `found` false without one.
struct Split {
    std::string_view before;
    std::string_view after;
    bool found;
};

Split splitAt(std::string_view text, char separator) {
    const std::size_t place = text.find(separator);
    if (place == std::string_view::npos) {
        return {trimmed(text), {}, false};
    }
    return {trimmed(text.substr(0, place)), trimmed(text.substr(place + 1)), true};
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal) {
        text.remove_prefix(2);
    }
    std::uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
    if (text.empty() || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

std::int64_t number(std::string_view text, std::int64_t smallest, std::int64_t largest,
                    std::string_view meaning) {
    const std::optional<std::int64_t> value = wholeNumber(text);
    if (!value || *value < smallest || *value > largest) {
        throw FaultSyntaxError(std::string(meaning) + " must be a number from " +
                               std::to_string(smallest) + " to " + std::to_string(largest) +
                               ", not " + quoted(text));
    }
    return *value;
}

void parseTarget(std::string_view text, Fault& fault) {
    const Split occurrence = splitAt(text, '#');
    if (occurrence.found) {
        fault.occurrence = static_cast<std::uint32_t>(
            number(occurrence.after, 1, largestWord, "the occurrence after #"));
    }
    const Split point = splitAt(occurrence.before, '/');
    if (point.found) {
        if (sameText(point.after, "data")) {
            fault.point = FaultPoint::data;
        } else if (sameText(point.after, "block")) {
            fault.point = FaultPoint::block;
        } else {
            throw FaultSyntaxError(R"(after / stands "data" or "block", not )" +
                                   quoted(point.after));
        }
    }
    const std::string_view target = point.before;
    if (sameText(target, "any")) {
        return;
    }
    if (const std::optional<Command> command = commandNamed(target)) {
        fault.command = static_cast<std::uint8_t>(*command);
        return;
    }
    const std::optional<std::int64_t> code = wholeNumber(target);
    if (!code || *code > largestByte) {
        throw FaultSyntaxError("unknown command " + quoted(target) +
                               " (a command's name, its code such as 0x11, or \"any\")");
    }
    fault.command = static_cast<std::uint8_t>(*code);
}

const FaultName& faultNamed(std::string_view name) {
    const auto found = std::ranges::find_if(
        allFaults, [name](const FaultName& entry) { return sameText(entry.name, name); });
    if (found == allFaults.end()) {
        std::string known;
        for (const FaultName& entry : allFaults) {
            known += (known.empty() ? "" : ", ") + std::string(entry.name);
        }
        throw FaultSyntaxError("unknown fault " + quoted(name) + " (known: " + known + ")");
    }
    return *found;
}

void parseOptional(const Split& arguments, std::int64_t largest, std::string_view meaning,
                   Fault& fault) {
    if (arguments.found) {
        fault.value = number(arguments.after, 0, largest, meaning);
    }
}

void parseBlockLength(std::string_view text, Fault& fault) {
    const bool added = text.starts_with('+');
    const bool subtracted = text.starts_with('-');
    fault.relative = added || subtracted;
    if (fault.relative) {
        text.remove_prefix(1);
    }
    const std::int64_t length = number(text, 0, largestWord, "the block's length");
    fault.value = subtracted ? -length : length;
}

void parseArguments(const FaultName& entry, const Split& arguments, Fault& fault) {
    const auto isRequired = [&entry] { return !entry.arguments.starts_with('['); };
    if (entry.arguments.empty() && arguments.found) {
        throw FaultSyntaxError(std::string(entry.name) + " takes no argument");
    }
    if (!entry.arguments.empty() && isRequired() && !arguments.found) {
        throw FaultSyntaxError(std::string(entry.name) + " needs an argument: " +
                               std::string(entry.name) + std::string(entry.arguments));
    }
    switch (entry.kind) {
    case FaultKind::noAnswer:
    case FaultKind::duplicateAnswer:
    case FaultKind::extraDataPacket:
    case FaultKind::wrongChecksum:
    case FaultKind::wrongLength:
    case FaultKind::emptyAnswer:
        break;
    case FaultKind::lateAnswer:
        parseOptional(arguments, largestWord, "the delay in milliseconds", fault);
        break;
    case FaultKind::wrongCode:
        parseOptional(arguments, largestByte, "the code", fault);
        break;
    case FaultKind::wrongType:
        parseOptional(arguments, largestByte, "the type", fault);
        break;
    case FaultKind::truncatedFrame:
    case FaultKind::noiseBefore:
        parseOptional(arguments, largestPayload, "the number of bytes", fault);
        break;
    case FaultKind::flippedByte:
        parseOptional(arguments, largestWord, "the offset", fault);
        break;
    case FaultKind::answerLength:
        parseOptional(arguments, largestPayload, "the payload's length", fault);
        break;
    case FaultKind::answerByte: {
        const Split parts = splitAt(arguments.after, ':');
        fault.value = number(parts.before, 0, largestPayload, "the offset");
        fault.secondValue = number(parts.after, 0, largestByte, "the byte's value");
        break;
    }
    case FaultKind::deviceError: {
        const Split parts = splitAt(arguments.after, ':');
        fault.value = number(parts.before, 0, largestByte, "the error code");
        fault.text = parts.after;
        if (fault.text.size() > largestPayload - 3) {
            throw FaultSyntaxError("the error text is too long");
        }
        break;
    }
    case FaultKind::shortError:
        parseOptional(arguments, 2, "the number of bytes", fault);
        break;
    case FaultKind::blockLength:
        parseBlockLength(arguments.after, fault);
        break;
    case FaultKind::shortBlock:
        parseOptional(arguments, largestWord, "the block's length", fault);
        break;
    }
}

bool strikesBlocks(FaultKind kind) {
    return kind == FaultKind::blockLength || kind == FaultKind::shortBlock;
}

// Takes "once" or "always" off the end of the text.
std::string_view parseRepetition(std::string_view text, Fault& fault) {
    const std::size_t blank = text.find_last_of(" \t");
    if (blank == std::string_view::npos) {
        return text;
    }
    const std::string_view word = text.substr(blank + 1);
    if (!sameText(word, "once") && !sameText(word, "always")) {
        return text;
    }
    fault.always = sameText(word, "always");
    return trimmed(text.substr(0, blank));
}

} // namespace

std::span<const FaultName> faultNames() {
    return allFaults;
}

Fault parseFault(std::string_view line) {
    const Split halves = splitAt(line, ':');
    if (!halves.found) {
        throw FaultSyntaxError("a colon must stand between command and fault: " +
                               quoted(trimmed(line)));
    }
    Fault fault;
    parseTarget(halves.before, fault);
    const Split described = splitAt(parseRepetition(halves.after, fault), ':');
    const FaultName& entry = faultNamed(described.before);
    fault.kind = entry.kind;
    parseArguments(entry, described, fault);
    if (strikesBlocks(fault.kind)) {
        if (fault.point == FaultPoint::data) {
            throw FaultSyntaxError(std::string(entry.name) +
                                   " strikes a whole block, not a data packet");
        }
        fault.point = FaultPoint::block;
    }
    return fault;
}

FaultSet parseFaultScript(std::string_view script) {
    FaultSet faults;
    std::size_t lineNumber = 0;
    while (!script.empty()) {
        const std::size_t end = std::min(script.find('\n'), script.size());
        const std::string_view line = trimmed(script.substr(0, end));
        script.remove_prefix(std::min(end + 1, script.size()));
        ++lineNumber;
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        try {
            faults.push_back(parseFault(line));
        } catch (const FaultSyntaxError& error) {
            throw FaultSyntaxError("line " + std::to_string(lineNumber) + ": " + error.what());
        }
    }
    return faults;
}

} // namespace ridge::simulator
