#pragma once

#include "ridge-sdk.hpp"

#include <memory>

namespace ridge::test {

std::unique_ptr<LogReceiver> makeLogReceiver(LogReceiver::Function function);
bool isStopRequested(const StopToken& token);

} // namespace ridge::test
