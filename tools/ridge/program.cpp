#include "program.h"

#include "commandline.h"
#include "commands.h"
#include "librarylog.h"

#include <ridge-sdk.h>

#include <exception>

namespace ridge::tool {
namespace {

CommandResult showVersions() {
    CommandResult result;
    const std::string library = ridgeGetSdkVersion();
    result.text = std::string("ridge ") + RIDGE_PROGRAM_VERSION + "\nridge-sdk " + library + "\n";
    result.json = {
        {"command", "version"}, {"program", RIDGE_PROGRAM_VERSION}, {"library", library}};
    return result;
}

/// Runs a command; whatever it throws becomes its failure.
template <typename Options>
CommandResult runCommand(const std::string& name, const Options& options,
                         CommandResult (*command)(const Options&, const CommandContext&),
                         const CommandContext& context) {
    CommandResult result;
    try {
        result = command(options, context);
    } catch (const CommandError& failure) {
        result.failure = failure;
    } catch (const std::exception& failure) {
        result.failure = CommandError(ExitStatus::otherFailure, failure.what());
    }
    nlohmann::ordered_json json{{"command", name}, {"port", options.port}};
    json.update(result.json);
    result.json = json;
    return result;
}

class CommandRunner {
public:
    explicit CommandRunner(const CommandContext& commandContext) : context(commandContext) {}

    CommandResult operator()(const HelpRequest& help) const {
        CommandResult result;
        result.text = help.text;
        result.json = {{"command", "help"}, {"text", help.text}};
        return result;
    }
    CommandResult operator()(const VersionRequest&) const { return showVersions(); }
    CommandResult operator()(const InfoOptions& options) const {
        return runCommand("info", options, runInfo, context);
    }
    CommandResult operator()(const SettingsOptions& options) const {
        return runCommand("settings", options, runSettings, context);
    }
    CommandResult operator()(const CaptureOptions& options) const {
        return runCommand("capture", options, runCapture, context);
    }
    CommandResult operator()(const StreamOptions& options) const {
        return runCommand("stream", options, runStream, context);
    }

private:
    const CommandContext& context;
};

ExitStatus show(const CommandResult& result, bool json, std::ostream& output, Messages& messages) {
    if (result.failure) {
        messages.error(result.failure->what());
    }
    output << (json ? toJsonLine(result) : result.text) << std::flush;
    if (result.failure) {
        return result.failure->exitStatus();
    }
    if (!output) {
        messages.error("the result cannot be written to standard output");
        return ExitStatus::otherFailure;
    }
    return ExitStatus::success;
}

} // namespace

ExitStatus runProgram(const std::vector<std::string>& arguments, std::ostream& output,
                      Messages& messages, Interruption& interruption) {
    try {
        const CommandLine line = parseCommandLine(arguments);
        if (line.logLevel) {
            showLibraryLog(*line.logLevel, messages);
        }
        const CommandContext context{messages, interruption};
        return show(std::visit(CommandRunner(context), line.command), line.json, output, messages);
    } catch (const CommandError& failure) {
        messages.error(failure.what());
        return failure.exitStatus();
    } catch (const std::exception& failure) {
        messages.error(failure.what());
        return ExitStatus::otherFailure;
    }
}

} // namespace ridge::tool
