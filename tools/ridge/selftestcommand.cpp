#include "commands.h"
#include "librarylog.h"
#include "outputfile.h"
#include "selftest.h"
#include "utf8path.h"

#include <ridge-sdk.h>

#include <chrono>
#include <ctime>
#include <iomanip>
#include <sstream>

namespace ridge::tool {
namespace {

/// "2024-01-31 14:25:01 UTC"
std::string currentTime() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::ostringstream text;
    text << std::put_time(std::gmtime(&now), "%Y-%m-%d %H:%M:%S UTC");
    return text.str();
}

} // namespace

CommandResult runSelfTest(const SelfTestOptions& options, const CommandContext& context) {
    const std::unique_ptr<AtomicFile> file = openOutput(options.report);
    SelfTestReport report;
    report.facts = {{"Started", currentTime()},
                    {"ridge", RIDGE_PROGRAM_VERSION},
                    {"ridge-sdk", ridgeGetSdkVersion()},
                    {"System", context.environment.system}};
    bool interrupted = false;
    {
        const LibraryLogRecorder log(context.logLevel, context.messages);
        SelfTest test(options, context);
        test.run();
        interrupted = test.wasInterrupted();
        report.facts.insert(report.facts.end(), test.scannerFacts().begin(),
                            test.scannerFacts().end());
        report.checks = test.results();
        report.log = log.lines();
    }
    const std::string markdown = toMarkdown(report);
    file->commit({markdown.begin(), markdown.end()});

    CommandResult result;
    result.text = checkTable(report) + tally(report) + "\n" + utf8FromPath(file->path()) + "\n";
    result.json = toJson(report);
    result.json["report"] = utf8FromPath(file->path());
    if (interrupted) {
        result.failure = Interrupted();
    } else if (report.count(CheckStatus::failed) != 0) {
        result.failure = CommandError(ExitStatus::libraryError, tally(report));
    }
    return result;
}

} // namespace ridge::tool
