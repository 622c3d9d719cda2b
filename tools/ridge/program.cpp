#include "program.h"

#include "commandline.h"
#include "commands.h"
#include "hexadecimal.h"
#include "librarylog.h"
#include "scannerchoice.h"

#include <ridge-sdk.h>
#include <scanneridentifiers.h>

#include <algorithm>
#include <exception>

namespace ridge::tool {
namespace {

CommandResult showVersions() {
    CommandResult result;
    const std::string library = ridgeGetSdkVersion();
    const std::string vendorId = hexadecimal(scannerVendorId);
    const std::string productId = hexadecimal(scannerProductId);
    result.text = std::string("ridge ") + RIDGE_PROGRAM_VERSION + "\nridge-sdk " + library +
                  "\nscanners: USB vendor " + vendorId + ", product " + productId + "\n";
    result.json = {{"command", "version"},
                   {"program", RIDGE_PROGRAM_VERSION},
                   {"library", library},
                   {"vendorId", vendorId},
                   {"productId", productId}};
    return result;
}

/// Runs a command, which may say more about itself; whatever it throws becomes its failure.
template <typename Command>
CommandResult runCommand(const std::string& name, const Command& command) {
    CommandResult result;
    nlohmann::ordered_json json{{"command", name}};
    try {
        result = command(json);
    } catch (const CommandError& failure) {
        result.failure = failure;
    } catch (const std::exception& failure) {
        result.failure = CommandError(ExitStatus::otherFailure, failure.what());
    }
    json.update(result.json);
    result.json = json;
    return result;
}

template <typename Options>
using ScannerCommand = CommandResult (*)(const Options&, const ChosenScanner&,
                                         const CommandContext&);

template <typename Options>
CommandResult runScannerCommand(const std::string& name, const Options& options,
                                ScannerCommand<Options> command, const CommandContext& context) {
    return runCommand(name, [&](nlohmann::ordered_json& json) {
        const ChosenScanner scanner(options.scanner);
        json["port"] = scanner.port();
        return command(options, scanner, context);
    });
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
    CommandResult operator()(const ListOptions&) const {
        return runCommand("list", [](const nlohmann::ordered_json&) { return runList(); });
    }
    CommandResult operator()(const InfoOptions& options) const {
        return runScannerCommand("info", options, runInfo, context);
    }
    CommandResult operator()(const SettingsOptions& options) const {
        return runScannerCommand("settings", options, runSettings, context);
    }
    CommandResult operator()(const CaptureOptions& options) const {
        return runScannerCommand("capture", options, runCapture, context);
    }
    CommandResult operator()(const StreamOptions& options) const {
        return runScannerCommand("stream", options, runStream, context);
    }
    CommandResult operator()(const KeySetOptions& options) const {
        return runScannerCommand("key set", options, runKeySet, context);
    }
    CommandResult operator()(const KeyClearOptions& options) const {
        return runScannerCommand("key clear", options, runKeyClear, context);
    }
    CommandResult operator()(const CertGetOptions& options) const {
        return runScannerCommand("cert get", options, runCertGet, context);
    }
    CommandResult operator()(const CertSetOptions& options) const {
        return runScannerCommand("cert set", options, runCertSet, context);
    }
    CommandResult operator()(const CertClearOptions& options) const {
        return runScannerCommand("cert clear", options, runCertClear, context);
    }
    CommandResult operator()(const CsrOptions& options) const {
        return runScannerCommand("csr", options, runCsr, context);
    }
    CommandResult operator()(const SelfTestOptions& options) const {
        return runCommand("selftest", [&](const nlohmann::ordered_json&) {
            return runSelfTest(options, context);
        });
    }
    CommandResult operator()(const CompletionOptions& options) const {
        return runCommand("completion",
                          [&](const nlohmann::ordered_json&) { return runCompletion(options); });
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

/// A script that asks for JSON gets it of a command line that cannot be understood, too.
ExitStatus showFailure(const CommandError& failure, const std::vector<std::string>& arguments,
                       std::ostream& output, Messages& messages) {
    CommandResult result;
    result.failure = failure;
    const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    return show(result, json, output, messages);
}

} // namespace

ExitStatus runProgram(const std::vector<std::string>& arguments, const Environment& environment,
                      Messages& messages, Interruption& interruption) {
    try {
        const CommandLine line = parseCommandLine(arguments);
        if (line.logLevel) {
            showLibraryLog(*line.logLevel, messages);
        }
        const CommandContext context{environment, messages, interruption, line.logLevel};
        return show(std::visit(CommandRunner(context), line.command), line.json, environment.output,
                    messages);
    } catch (const CommandError& failure) {
        return showFailure(failure, arguments, environment.output, messages);
    } catch (const std::exception& failure) {
        messages.error(failure.what());
        return ExitStatus::otherFailure;
    }
}

} // namespace ridge::tool
