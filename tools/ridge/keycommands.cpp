#include "commands.h"
#include "connecting.h"
#include "inputfile.h"
#include "utf8path.h"
#include "wipe.h"

#include <algorithm>

namespace ridge::tool {
namespace {

ScannerSession::Key readKey(const std::string& file, const CommandContext& context) {
    ScannerSession::Key key{};
    const InputKind kind{"device key", key.size(), key.size()};
    std::vector<std::uint8_t> bytes =
        file == "-" ? readInput(context.environment.input, "standard input", kind)
                    : readInput(pathFromUtf8(file), kind);
    const WipedAtEnd wiped(bytes);
    std::copy(bytes.begin(), bytes.end(), key.begin());
    return key;
}

} // namespace

CommandResult runKeySet(const KeySetOptions& options, const ChosenScanner& scanner,
                        const CommandContext& context) {
    ScannerSession::Key key = readKey(options.file, context);
    const WipedAtEnd wiped(key);
    connectTo(scanner, context).setKey(key);
    CommandResult result;
    result.text = "the device key is set\n";
    return result;
}

CommandResult runKeyClear(const KeyClearOptions&, const ChosenScanner& scanner,
                          const CommandContext& context) {
    connectTo(scanner, context).clearKey();
    CommandResult result;
    result.text = "the device key is cleared\n";
    return result;
}

} // namespace ridge::tool
