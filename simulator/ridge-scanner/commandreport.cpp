#include "commandreport.h"

#include "packet.h"

#include <ostream>

namespace ridge::simulator {
namespace {

bool isRepeated(Command command) {
    return command == Command::getCaptureData || command == Command::getStreamData ||
           command == Command::ping;
}

bool startsActivity(Command command) {
    return command == Command::startCapture || command == Command::streamStart ||
           command == Command::hostAssistedCaptureStart;
}

void printBlock(std::ostream& stream, const std::vector<std::uint8_t>& block) {
    if (block.empty()) {
        stream << "no block";
        return;
    }
    stream << "block of " << block.size() << " bytes (";
    constexpr std::size_t shown = 4;
    for (std::size_t index = 0; index < shown; ++index) {
        constexpr const char* digits = "0123456789abcdef";
        stream << digits[block[index] >> 4] << digits[block[index] & 0xF] << ' ';
    }
    stream << "...)";
}

void printRequest(std::ostream& stream, const CaptureRequest& request) {
    stream << ": mode " << int{request.mode} << ", time-out "
           << std::chrono::duration_cast<std::chrono::milliseconds>(request.timeout).count()
           << " ms, option " << request.parameter << (request.eventsWanted ? ", events, " : ", ");
    printBlock(stream, request.block);
}

} // namespace

CommandReport::CommandReport(const ScannerModel& scanner, std::ostream& out, bool repeatedToo)
    : model(scanner), stream(out), withRepeated(repeatedToo) {}

void CommandReport::onPacket(Direction direction, const Packet& packet) {
    // An answer shows what the scanner made of the command.
    if (direction != Direction::toHost) {
        return;
    }
    const auto code = static_cast<std::uint8_t>(packet.code & ~failureCodeBit);
    const auto command = static_cast<Command>(code);
    const bool refused = packet.code != code;
    if (isRepeated(command) && !withRepeated) {
        return;
    }
    stream << nameOfCommand(code);
    if (refused) {
        stream << ": refused with error " << (packet.data.empty() ? 0 : int{packet.data[0]});
    } else if (startsActivity(command)) {
        printRequest(stream, model.captureRequest());
    } else if (command == Command::setSettings) {
        stream << ": rotation " << int{model.settings().rotation} << ", flags "
               << model.settings().flags;
    } else if (command == Command::hostAssistedCaptureResult && model.lastVerdict()) {
        stream << (*model.lastVerdict() ? ": accepted" : ": rejected");
    } else if (isRepeated(command) || command == Command::createCsr) {
        stream << ": " << packet.data.size() << " bytes";
    }
    stream << std::endl;
}

} // namespace ridge::simulator
