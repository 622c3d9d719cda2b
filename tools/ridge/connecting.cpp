#include "connecting.h"

namespace ridge::tool {

ScannerSession connectTo(const ChosenScanner& scanner, const CommandContext& context) {
    context.messages.progress("connecting to " + scanner.port());
    ScannerSession session(scanner);
    context.interruption.throwIfRequested();
    context.messages.progress("connected");
    return session;
}

} // namespace ridge::tool
