#include "consequences.h"

#include "importedcalls.h"
#include "operationfailures.h"
#include "systemtext.h"

#include <algorithm>
#include <regex>
#include <string_view>

namespace ridge::test {
namespace {

/// Who learns that a call has failed.
enum class Hearer {
    /// The host: the operation fails.
    host,
    /// The log, and sooner or later the host: the port is dead. What an operation needs does not
    /// come, or the next one finds out, if there is one.
    hostAndLog,
    log,
    /// The host, or nobody: the runtime can do without some of what it asks for.
    hostOrNobody,
    /// The host finds a device, or a text of it, missing.
    reader,
    nobody
};

struct Consequence {
    std::string_view function;
    /// Part of the name of the library's function that calls; empty for any.
    std::string_view caller;
    Hearer hearer = Hearer::nobody;
    std::int32_t status = RIDGE_SUCCESS;
    /// A regular expression: what stands in front of the system's own text.
    std::string_view text{};
    bool withSystemText = true;
};

const std::vector<Consequence>& consequences() {
    using enum Hearer;
    constexpr std::int32_t port = RIDGE_SERIAL_PORT_ERROR;
    static const std::vector<Consequence> all{
        {"CM_Get_DevNode_Status", "", reader},
        {"CM_Get_Device_IDA", "", reader},
        {"CM_Get_Parent", "", reader},
        {"CancelIo", "", log, 0, "Failed to cancel outstanding operation\\. "},
        {"CloseHandle", "", nobody},
        {"CreateEventA", "11createEvent", host, RIDGE_PROTOCOL_ERROR,
         "Error creating (stop|read|receive|send) event\\. "},
        // The runtime starts a thread.
        {"CreateEventA", "", hostOrNobody, RIDGE_UNEXPECTED_FAILURE,
         "Resource temporarily unavailable", false},
        {"CreateFileA", "", host, port, ""},
        {"FormatMessageA", "", nobody},
        {"GetCommState", "", host, port, "Error reading port settings\\. "},
        {"GetModuleHandleExA", "", log, 0,
         "The library could not be kept loaded while a thread of it runs\\.", false},
        // With a wait it belongs to a cancelled operation.
        {"GetOverlappedResult", "6cancel", nobody},
        {"GetOverlappedResult", "5write", host, port, "Error writing to device port\\. "},
        {"GetOverlappedResult", "", hostAndLog, port, "Failed to wait on port event\\. "},
        {"LocalFree", "", nobody},
        {"PurgeComm", "", host, port, "Error clearing port\\. "},
        {"ReadFile", "", hostAndLog, port, "Failed to read data from port\\. "},
        {"RegCloseKey", "", nobody},
        {"RegQueryValueExA", "", reader},
        {"SetCommMask", "", host, port, "Error setting port mask\\. "},
        {"SetCommState", "", host, port, "Error updating port settings\\. "},
        {"SetCommTimeouts", "", host, port, "Error updating port timeouts\\. "},
        {"SetupDiDestroyDeviceInfoList", "", nobody},
        {"SetupDiEnumDeviceInfo", "", reader},
        {"SetupDiGetClassDevsA", "", reader},
        {"SetupDiGetDeviceRegistryPropertyA", "", reader},
        {"SetupDiOpenDevRegKey", "", reader},
        {"SleepConditionVariableSRW", "", nobody},
        {"WaitCommEvent", "", hostAndLog, port, "Failed to wait for port event\\. "},
        {"WaitForMultipleObjects", "", hostAndLog, port,
         "Failed waiting for events when reading data\\. "},
        {"WaitForSingleObject", "", host, port, "Error waiting for port write to complete\\. "},
        {"WriteFile", "", host, port, "Error writing to device port\\. "},
        {"_beginthreadex", "", host, RIDGE_UNEXPECTED_FAILURE, "Resource temporarily unavailable",
         false},
        {"_localtime64", "", nobody},
        {"_time64", "", nobody},
        {"strftime", "", nobody},
    };
    return all;
}

/// Of an allocation. The last two texts are the thread library's.
Consequence ofAllocation(Purpose purpose) {
    switch (purpose) {
    case Purpose::operation:
        return {"",
                "",
                Hearer::host,
                RIDGE_UNEXPECTED_FAILURE,
                "std::bad_alloc|Cannot allocate memory|Resource temporarily unavailable",
                false};
    case Purpose::port:
        return {"", "", Hearer::hostAndLog, RIDGE_SERIAL_PORT_ERROR, "std::bad_alloc", false};
    case Purpose::none:
        break;
    }
    return {};
}

bool isPart(std::string_view part, const std::string& text) {
    return text.find(part) != std::string::npos;
}

const Consequence* find(std::string_view function, const std::string& caller) {
    const auto found = std::find_if(
        consequences().begin(), consequences().end(), [&](const Consequence& consequence) {
            return consequence.function == function && isPart(consequence.caller, caller);
        });
    return found == consequences().end() ? nullptr : &*found;
}

class Judge {
public:
    explicit Judge(const Aftermath& calls) : aftermath(calls) {
        for (const RefusedCall& call : aftermath.refused) {
            if (aftermath.kind == CallKind::allocation) {
                expected.push_back(ofAllocation(call.purpose));
            } else if (const Consequence* const consequence =
                           find(call.site.function, callerAt(call.site))) {
                expected.push_back(*consequence);
            } else {
                wrong("it is not said what comes of " + describe(call.site));
            }
        }
        reason = isRefused("FormatMessageA") ? "Error " + std::to_string(aftermath.error) + "."
                                             : systemText(aftermath.error);
    }

    std::vector<Mistake> mistakes() {
        judgeFailures();
        judgeSilence();
        if (aftermath.kind == CallKind::system) {
            judgeLog();
        }
        return found;
    }

private:
    void wrong(const std::string& text) { found.push_back({text, false}); }

    bool isRefused(std::string_view function) const {
        return std::any_of(aftermath.refused.begin(), aftermath.refused.end(),
                           [&](const RefusedCall& call) { return call.site.function == function; });
    }

    bool isExpected(Hearer hearer) const {
        return std::any_of(expected.begin(), expected.end(), [&](const Consequence& consequence) {
            return consequence.hearer == hearer;
        });
    }

    bool isText(const Consequence& consequence, const std::string& text) const {
        const std::string end = consequence.withSystemText ? reason : "";
        return text.ends_with(end) && std::regex_match(text.substr(0, text.size() - end.size()),
                                                       std::regex(std::string(consequence.text)));
    }

    /// Whether the operation says so of a port that has failed.
    bool isReport(const Consequence& consequence, const OperationFailure& failure) const {
        const std::string_view beginning = failedPortReport(failure.operation);
        const std::string& text = failure.failure.message;
        return !beginning.empty() && text.starts_with(beginning) &&
               isText(consequence, text.substr(beginning.size()));
    }

    bool leadsTo(const Consequence& consequence, const OperationFailure& failure) const {
        const auto& [status, text] = failure.failure;
        switch (consequence.hearer) {
        case Hearer::host:
        case Hearer::hostOrNobody:
            return status == consequence.status && isText(consequence, text);
        case Hearer::hostAndLog:
            return isTimeout(failure) ||
                   (status == RIDGE_SERIAL_PORT_ERROR && isReport(consequence, failure));
        default:
            return false;
        }
    }

    static bool isTimeout(const OperationFailure& failure) {
        return failure.failure.status == RIDGE_NO_RESPONSE &&
               isTimeoutOf(failure.operation, failure.failure.message);
    }

    /// An exchange that a failure has ended early can spoil the next one: its answer comes late, or
    /// the scanner waits for an acknowledgement.
    static bool isSpoiledExchange(const OperationFailure& failure) {
        const auto& [status, text] = failure.failure;
        return isTimeout(failure) ||
               (status == RIDGE_NO_RESPONSE && isPart(": Invalid response code ", text));
    }

    void judgeFailures() {
        bool isFirst = true;
        for (const OperationFailure& failure : aftermath.failures) {
            const bool caused =
                std::any_of(expected.begin(), expected.end(), [&](const Consequence& consequence) {
                    return leadsTo(consequence, failure);
                });
            if (!caused && (isFirst || !isSpoiledExchange(failure))) {
                found.push_back({"not a consequence: " + failure.operation + ": " +
                                     std::to_string(failure.failure.status) + " " +
                                     failure.failure.message,
                                 isTimeout(failure)});
            }
            isFirst = false;
        }
    }

    void judgeSilence() {
        if (!aftermath.failures.empty()) {
            return;
        }
        if (isExpected(Hearer::host)) {
            wrong("the host was not told of the failure");
        }
        if (!aftermath.complete && !isExpected(Hearer::reader)) {
            wrong("something is missing, and the host was told of no failure");
        }
    }

    void judgeLog() {
        for (const Consequence& consequence : expected) {
            if ((consequence.hearer == Hearer::log || consequence.hearer == Hearer::hostAndLog) &&
                !isLogged(consequence)) {
                wrong("not in the log: " + std::string(consequence.text));
                return;
            }
        }
    }

    bool isLogged(const Consequence& consequence) const {
        // A line ends no earlier than its text.
        std::string end = consequence.withSystemText ? reason : "";
        std::replace_if(
            end.begin(), end.end(), [](char character) { return character < ' '; }, ' ');
        const std::regex beginning(".*\\] (" + std::string(consequence.text) + ")");
        return std::any_of(
            aftermath.lines.begin(), aftermath.lines.end(), [&](const std::string& line) {
                return line.ends_with(end) &&
                       std::regex_match(line.substr(0, line.size() - end.size()), beginning);
            });
    }

    const Aftermath& aftermath;
    std::vector<Consequence> expected;
    std::string reason;
    std::vector<Mistake> found;
};

} // namespace

std::vector<Mistake> mistakesIn(const Aftermath& aftermath) {
    return Judge(aftermath).mistakes();
}

} // namespace ridge::test
