#include "connecting.h"

namespace ridge::tool {

ScannerSession connectTo(const std::string& port, const CommandContext& context) {
    context.messages.progress("connecting to " + port);
    ScannerSession session(port);
    context.interruption.throwIfRequested();
    context.messages.progress("connected");
    return session;
}

} // namespace ridge::tool
