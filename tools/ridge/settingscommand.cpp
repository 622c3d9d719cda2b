#include "commands.h"
#include "connecting.h"

namespace ridge::tool {
namespace {

/// Ends its session, so that a new one can be opened.
void writeSettings(const SettingsOptions& options, const ChosenScanner& scanner,
                   const CommandContext& context) {
    ScannerSession session = connectTo(scanner, context);
    ridgeDeviceSettings settings = session.settings();
    settings.rotation = options.rotation.value_or(settings.rotation);
    settings.option = options.option.value_or(settings.option);
    session.writeSettings(settings);
    context.messages.progress("settings written; a new connection reads them");
}

} // namespace

CommandResult runSettings(const SettingsOptions& options, const ChosenScanner& scanner,
                          const CommandContext& context) {
    const bool writing = options.rotation || options.option;
    if (writing) {
        writeSettings(options, scanner, context);
    }
    ScannerSession session = connectTo(scanner, context);
    const ridgeDeviceSettings settings = session.settings();

    CommandResult result;
    result.text = "Rotation: " + std::to_string(settings.rotation) +
                  "\nOption:   " + (settings.option != 0 ? "on" : "off") + "\n";
    result.json["written"] = writing;
    result.json["settings"] = {{"rotation", settings.rotation}, {"option", settings.option}};
    return result;
}

} // namespace ridge::tool
