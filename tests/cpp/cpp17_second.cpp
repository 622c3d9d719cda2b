#include "cpp17_second.h"

#include <utility>

namespace ridge::test {

std::unique_ptr<LogReceiver> makeLogReceiver(LogReceiver::Function function) {
    return std::make_unique<LogReceiver>(LogLevel::debug, std::move(function));
}

bool isStopRequested(const StopToken& token) {
    return token.stopRequested();
}

} // namespace ridge::test
