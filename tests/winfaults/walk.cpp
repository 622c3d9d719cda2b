#include "walk.h"

#include "consequences.h"
#include "importedcalls.h"
#include "smallpicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <span>
#include <thread>

namespace ridge::test {
namespace {

constexpr std::size_t laneCount = 8;
/// Many times what a scenario can take whose every step ends with a time-out.
constexpr std::chrono::minutes stepLimit{3};

/// Whether a call completes at once or later, and so what follows, is a matter of chance. A trial
/// is repeated until its place was reached.
constexpr int triesAtMost = 30;

/// Threads take turns in another order each time: a number may be missed that is reached again.
constexpr std::size_t missesThatEnd = 3;

/// Errors that a device gives which is in use, broken, being removed, or gone.
constexpr std::array<DWORD, 4> errors{ERROR_ACCESS_DENIED, ERROR_GEN_FAILURE,
                                      ERROR_OPERATION_ABORTED, ERROR_DEVICE_NOT_CONNECTED};

std::string describe(const Scenario& scenario, const Refusal& refusal) {
    std::string call;
    for (const CallSite& site : refusal.sites) {
        call += (call.empty() ? "" : ", then ") + describe(site);
    }
    if (call.empty()) {
        call = "call " + std::to_string(refusal.number);
    }
    return scenario.name + ", " + call + ", error " + std::to_string(refusal.error) +
           (refusal.fromThenOn ? ", from then on" : ", once");
}

/// Whether so many numbers follow one another without a gap.
bool hasRun(const std::set<std::size_t>& numbers, std::size_t length) {
    std::size_t run = 0;
    std::size_t expected = 0;
    for (const std::size_t number : numbers) {
        run = number == expected ? run + 1 : 1;
        if (run == length) {
            return true;
        }
        expected = number + 1;
    }
    return false;
}

/// Ends the process, with a word about it, when something takes for ever.
class Watchdog {
public:
    explicit Watchdog(std::string what)
        : watcher([this, text = std::move(what)] { watch(text); }) {}
    ~Watchdog() {
        {
            const std::lock_guard lock(mutex);
            ended = true;
        }
        changed.notify_all();
        watcher.join();
    }

    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    void watch(const std::string& what) {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, stepLimit, [this] { return ended; })) {
            std::cerr << "hangs: " << what << std::endl;
            std::abort();
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    bool ended = false;
    std::thread watcher;
};

} // namespace

struct Walk::Outcome {
    /// All that was to be refused was.
    bool struck = false;
    /// An answer came too late that had nothing to do with it.
    bool late = false;
    std::vector<CallSite> places;
    Aftermath aftermath;
    std::vector<std::string> received;
    std::vector<std::string> mistakes;
};

/// A scanner, and the account of the hosts that use it.
class Walk::Lane {
public:
    /// To be called on the hosts' thread.
    Outcome attempt(const Scenario& scenario, CallKind kind,
                    const std::optional<Refusal>& refusal) {
        const Watchdog watchdog(refusal ? describe(scenario, *refusal) : scenario.name);
        account.adoptThisThread();
        Outcome outcome;
        outcome.aftermath.kind = kind;
        {
            Session session(scanner);
            if (scenario.connected && !connect(session, outcome)) {
                return outcome;
            }
            account.takeSites();
            account.takeLines();
            if (refusal) {
                account.refuse(*refusal);
            }
            scenario.run(session);
            account.refuseNothing();
            outcome.places = account.takeSites()[kind];
            outcome.aftermath.failures = session.failuresSoFar();
            outcome.received = session.receivedSoFar();
            outcome.mistakes = session.mistakesSoFar();
        }
        if (!account.awaitThreads()) {
            outcome.mistakes.emplace_back("a thread does not end");
        }
        if (refusal) {
            outcome.struck = account.hasRefused();
            outcome.aftermath.error = refusal->error;
        }
        outcome.aftermath.refused = account.takeRefused();
        outcome.aftermath.lines = account.takeLines();
        outcome.late = outcome.aftermath.refused.empty() && hasTimeout(outcome.aftermath.failures);
        for (const std::string& resource : account.held()) {
            outcome.mistakes.push_back("not given back: " + resource);
        }
        expectUsable(outcome);
        return outcome;
    }

    /// Uses what the runtime makes once and keeps: for exceptions, and for exceptions without
    /// memory. It belongs to nobody.
    void warmUp() {
        for (const Scenario& scenario : scenarios()) {
            attempt(scenario, CallKind::allocation,
                    Refusal{CallKind::allocation, {}, 1, true, ERROR_SUCCESS});
        }
        account.forgetHeld();
    }

private:
    static bool hasTimeout(const std::vector<OperationFailure>& failures) {
        return std::any_of(failures.begin(), failures.end(), [](const OperationFailure& failure) {
            return failure.failure.status == RIDGE_NO_RESPONSE;
        });
    }

    bool connect(Session& session, Outcome& outcome) {
        const std::int32_t status = session.connect();
        if (status != RIDGE_SUCCESS) {
            outcome.late = status == RIDGE_NO_RESPONSE;
            outcome.mistakes.push_back("no connection to begin with: " +
                                       session.client().lastError());
        }
        return status == RIDGE_SUCCESS;
    }

    /// What was on its way when the host went must not meet the next one.
    void replug() {
        scanner.port().unplug();
        // The scanner has then done all that it was asked for before.
        scanner.command("report");
        scanner.waitForReport("ridge-scanner: no such command");
        scanner.port().replug();
    }

    void expectUsable(Outcome& outcome) {
        replug();
        Session session(scanner);
        if (session.note("ridgeConnectCOM", session.connect()) &&
            session.note("ridgeStartCapture", session.client().startCapture(anyFinger))) {
            session.awaitImages("capture", 1);
            ridgeStopCapture(session.context());
            session.noteOutcome("capture", 1);
            const ridgeDeviceSettings settings{};
            session.note("ridgeSettingsSet", ridgeSettingsSet(session.context(), &settings));
        }
        for (const std::string& mistake : session.mistakesSoFar()) {
            outcome.mistakes.push_back("afterwards: " + mistake);
        }
        for (const OperationFailure& failure : session.failuresSoFar()) {
            outcome.mistakes.push_back("afterwards: " + testing::PrintToString(failure));
        }
        outcome.late = outcome.late || hasTimeout(session.failuresSoFar());
    }

    SimulatorProcess scanner{
        {"--verbose", "--baud", "0", "--finger-delay", "0", "--image", smallPicture()}};
    Account account;
};

Walk::Walk() {
    std::generate_n(std::back_inserter(lanes), laneCount, [] { return std::make_unique<Lane>(); });
    std::thread([this] { lanes.front()->warmUp(); }).join();
}

Walk::~Walk() = default;

void WalkResult::add(const std::string& where, const std::vector<std::string>& moreMistakes) {
    for (const std::string& mistake : moreMistakes) {
        mistakes.push_back(where + ": " + mistake);
    }
}

WalkResult Walk::throughPlaces(CallKind kind) {
    WalkResult result;
    std::set<CallSite> known;
    std::vector<std::pair<CallSite, const Scenario*>> first;
    std::map<CallSite, const Scenario*> last;
    for (const Scenario& scenario : scenarios()) {
        for (const CallSite& place : untouched(scenario, kind, result).places) {
            if (known.insert(place).second) {
                first.emplace_back(place, &scenario);
            }
            last[place] = &scenario;
        }
    }
    std::vector<Trial> trials;
    for (const auto& [place, scenario] : first) {
        const DWORD error = errors[trials.size() / 2 % errors.size()];
        trials.push_back({scenario, {kind, {place}, 0, false, error}});
        trials.push_back({last[place], {kind, {place}, 0, true, error}});
    }
    runAll(std::move(trials), std::move(known), result);
    return result;
}

WalkResult Walk::throughCalls(const Scenario& scenario, CallKind kind) {
    WalkResult result;
    std::set<CallSite> seen;
    const std::vector<CallSite>& places = untouched(scenario, kind, result).places;
    seen.insert(places.begin(), places.end());
    // An allocation fails without an error code.
    const std::size_t errorCount = kind == CallKind::allocation ? 1 : errors.size();
    for (const DWORD error : std::span(errors).first(errorCount)) {
        for (const bool fromThenOn : {false, true}) {
            std::size_t number = 0;
            std::set<std::size_t> missed;
            bool ended = false;
            run(
                [&]() -> std::optional<Trial> {
                    if (ended) {
                        return std::nullopt;
                    }
                    return Trial{&scenario, {kind, {}, ++number, fromThenOn, error}};
                },
                [&](const Trial& trial, const Outcome& outcome) {
                    if (outcome.aftermath.refused.empty()) {
                        missed.insert(trial.refusal.number);
                        seen.insert(outcome.places.begin(), outcome.places.end());
                        ended = ended || hasRun(missed, missesThatEnd);
                    }
                },
                result);
        }
    }
    std::vector<Trial> trials;
    for (const CallSite& place : seen) {
        if (!result.struck.contains(place)) {
            trials.push_back({&scenario, {kind, {place}, 0, false, errors.front()}});
        }
    }
    runAll(std::move(trials), std::move(seen), result);
    return result;
}

const Walk::Untouched& Walk::untouched(const Scenario& scenario, CallKind kind,
                                       WalkResult& result) {
    Outcome outcome;
    std::thread([&] {
        outcome = attempt(*lanes.front(), {&scenario, {kind, {}, 0, false, 0}}, result);
    }).join();
    if (outcome.received.size() != scenario.receives) {
        outcome.mistakes.emplace_back("something is missing");
    }
    for (const OperationFailure& failure : outcome.aftermath.failures) {
        outcome.mistakes.push_back(testing::PrintToString(failure));
    }
    result.add(scenario.name + ", untouched", outcome.mistakes);
    return whenUntouched[scenario.name] = {outcome.places, outcome.received};
}

Walk::Outcome Walk::attempt(Lane& lane, const Trial& trial, WalkResult& result) {
    const bool byPlace = !trial.refusal.sites.empty();
    int lateAnswers = 0;
    for (int tries = 1;; ++tries) {
        Outcome outcome = lane.attempt(*trial.scenario, trial.refusal.kind, trial.refusal);
        if (outcome.late && lateAnswers < lateAnswersAtMost) {
            ++lateAnswers;
            const std::lock_guard lock(mutex);
            ++result.lateAnswers;
        } else if (!byPlace || outcome.struck || !outcome.mistakes.empty()) {
            return outcome;
        } else if (tries == triesAtMost) {
            outcome.mistakes.emplace_back("was not called again");
            return outcome;
        }
    }
}

void Walk::run(const std::function<std::optional<Trial>()>& next,
               const std::function<void(const Trial&, const Outcome&)>& onOutcome,
               WalkResult& result) {
    std::vector<std::thread> hosts;
    for (const std::unique_ptr<Lane>& lane : lanes) {
        hosts.emplace_back([&, &own = *lane] {
            const auto take = [&] {
                const std::lock_guard lock(mutex);
                return next();
            };
            while (const std::optional<Trial> trial = take()) {
                const Outcome outcome = attempt(own, *trial, result);
                const std::lock_guard lock(mutex);
                addTo(result, *trial, outcome);
                onOutcome(*trial, outcome);
            }
        });
    }
    for (std::thread& host : hosts) {
        host.join();
    }
}

void Walk::runAll(std::vector<Trial> trials, std::set<CallSite> known, WalkResult& result) {
    while (!trials.empty()) {
        std::vector<Trial> further;
        std::size_t taken = 0;
        run([&] { return taken < trials.size() ? std::optional(trials[taken++]) : std::nullopt; },
            [&](const Trial& trial, const Outcome& outcome) {
                if (trial.refusal.fromThenOn || !outcome.struck) {
                    return;
                }
                for (const CallSite& place : outcome.places) {
                    if (known.insert(place).second) {
                        further.push_back(trial);
                        further.back().refusal.sites.push_back(place);
                    }
                }
            },
            result);
        trials = std::move(further);
    }
}

void Walk::addTo(WalkResult& result, const Trial& trial, const Outcome& outcome) const {
    const std::string where = describe(*trial.scenario, trial.refusal);
    result.add(where, outcome.mistakes);
    Aftermath aftermath = outcome.aftermath;
    aftermath.complete = outcome.received == whenUntouched.at(trial.scenario->name).received;
    result.add(where, mistakesIn(aftermath));
    for (const OperationFailure& failure : aftermath.failures) {
        ++result.reported[{failure.failure.status,
                           failure.operation + ": " + failure.failure.message}];
    }
    for (const RefusedCall& call : aftermath.refused) {
        result.struck.insert(call.site);
    }
    result.refusals += outcome.struck ? 1U : 0U;
}

} // namespace ridge::test
