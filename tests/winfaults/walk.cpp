#include "walk.h"

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
    std::string call = "call " + std::to_string(refusal.number);
    std::string separator = " of ";
    for (const CallSite& site : refusal.sites) {
        call += separator + describe(site);
        separator = ", then ";
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

/// How to refuse a call from each place once: right away, or, where it is made only then, behind
/// another one that fails.
class WaysToPlaces {
public:
    explicit WaysToPlaces(CallKind callKind) : kind(callKind) {}

    /// When nothing failed, these have called.
    void noteUndisturbed(const std::vector<CallSite>& places) {
        for (const CallSite& place : places) {
            ways.insert_or_assign(place, Refusal{kind, {place}, 1});
        }
    }

    /// When the one call failed, these have called.
    void noteBehind(const RefusedCall& refused, const std::vector<CallSite>& places) {
        refusedOnce.insert(refused.site);
        for (const CallSite& place : places) {
            ways.try_emplace(place, Refusal{kind, {refused.site, place}, refused.number});
        }
    }

    [[nodiscard]] std::set<CallSite> places() const {
        std::set<CallSite> all;
        for (const auto& [place, way] : ways) {
            all.insert(place);
        }
        return all;
    }

    /// To those places that were not refused so far.
    [[nodiscard]] std::vector<Refusal> open() const {
        std::vector<Refusal> all;
        for (const auto& [place, way] : ways) {
            if (!refusedOnce.contains(place)) {
                all.push_back(way);
            }
        }
        return all;
    }

private:
    CallKind kind;
    std::map<CallSite, Refusal> ways;
    std::set<CallSite> refusedOnce;
};

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
    std::vector<CallSite> places;
    Aftermath aftermath;
    std::vector<std::string> received;
    std::vector<Mistake> mistakes;

    void wrong(const std::string& text) { mistakes.push_back({text, false}); }

    /// Nothing is wrong but that answers came too late.
    [[nodiscard]] bool isLate() const {
        return !mistakes.empty() &&
               std::all_of(mistakes.begin(), mistakes.end(),
                           [](const Mistake& mistake) { return mistake.isLateAnswer; });
    }
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
            if (!scenario.connected || session.note("ridgeConnectCOM", session.connect())) {
                account.takeSites();
                account.takeLines();
                if (refusal) {
                    account.refuse(*refusal);
                }
                scenario.run(session);
                account.refuseNothing();
                outcome.struck = refusal && account.hasRefused();
                outcome.places = account.takeSites()[kind];
            }
            outcome.aftermath.failures = session.failuresSoFar();
            outcome.received = session.receivedSoFar();
            for (const std::string& mistake : session.mistakesSoFar()) {
                outcome.wrong(mistake);
            }
        }
        if (!account.awaitThreads()) {
            outcome.wrong("a thread does not end");
        }
        outcome.aftermath.error = refusal ? refusal->error : ERROR_SUCCESS;
        outcome.aftermath.refused = account.takeRefused();
        outcome.aftermath.lines = account.takeLines();
        for (const std::string& resource : account.held()) {
            outcome.wrong("not given back: " + resource);
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
            outcome.wrong("afterwards: " + mistake);
        }
        Aftermath undisturbed;
        undisturbed.failures = session.failuresSoFar();
        undisturbed.complete = true;
        for (const Mistake& mistake : mistakesIn(undisturbed)) {
            outcome.mistakes.push_back({"afterwards: " + mistake.text, mistake.isLateAnswer});
        }
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

void WalkResult::add(const std::string& where, const std::vector<Mistake>& moreMistakes) {
    for (const Mistake& mistake : moreMistakes) {
        mistakes.push_back(where + ": " + mistake.text);
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
        trials.push_back({scenario, {kind, {place}, 1, false, error}});
        trials.push_back({last[place], {kind, {place}, 1, true, error}});
    }
    runAll(std::move(trials), std::move(known), result);
    return result;
}

WalkResult Walk::throughCalls(const Scenario& scenario, CallKind kind) {
    WalkResult result;
    WaysToPlaces ways(kind);
    ways.noteUndisturbed(untouched(scenario, kind, result).places);
    // An allocation fails without an error code.
    const std::size_t errorCount = kind == CallKind::allocation ? 1 : errors.size();
    const auto wantedErrors = std::span(errors).first(errorCount);
    for (const DWORD error : wantedErrors) {
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
                        ended = ended || hasRun(missed, missesThatEnd);
                        ways.noteUndisturbed(outcome.places);
                    } else if (!fromThenOn) {
                        ways.noteBehind(outcome.aftermath.refused.front(), outcome.places);
                    }
                },
                result);
        }
    }
    std::vector<Trial> trials;
    for (Refusal& refusal : ways.open()) {
        for (const DWORD error : wantedErrors) {
            refusal.error = error;
            trials.push_back({&scenario, refusal});
        }
    }
    runAll(std::move(trials), ways.places(), result);
    return result;
}

const Walk::Untouched& Walk::untouched(const Scenario& scenario, CallKind kind,
                                       WalkResult& result) {
    Outcome outcome;
    std::thread([&] {
        outcome = attempt(*lanes.front(), {&scenario, {kind, {}, 0, false, ERROR_SUCCESS}});
    }).join();
    if (outcome.received.size() != scenario.receives) {
        outcome.wrong("something is missing");
    }
    result.add(scenario.name + ", untouched", outcome.mistakes);
    return whenUntouched[scenario.name] = {outcome.places, outcome.received};
}

Walk::Outcome Walk::attemptOnce(Lane& lane, const Trial& trial) const {
    Outcome outcome = lane.attempt(*trial.scenario, trial.refusal.kind, trial.refusal);
    const auto wanted = whenUntouched.find(trial.scenario->name);
    outcome.aftermath.complete =
        wanted == whenUntouched.end() || outcome.received == wanted->second.received;
    for (Mistake& mistake : mistakesIn(outcome.aftermath)) {
        outcome.mistakes.push_back(std::move(mistake));
    }
    return outcome;
}

Walk::Outcome Walk::attempt(Lane& lane, const Trial& trial) {
    const bool byPlace = !trial.refusal.sites.empty();
    for (int tries = 1;; ++tries) {
        Outcome outcome = attempts.make([&] { return attemptOnce(lane, trial); });
        if (!byPlace || outcome.struck || !outcome.mistakes.empty()) {
            return outcome;
        }
        if (tries == triesAtMost) {
            outcome.wrong("was not called again");
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
                const Outcome outcome = attempt(own, *trial);
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
    for (const OperationFailure& failure : outcome.aftermath.failures) {
        ++result.reported[{failure.failure.status,
                           failure.operation + ": " + failure.failure.message}];
    }
    for (const RefusedCall& call : outcome.aftermath.refused) {
        result.struck.insert(call.site);
    }
    result.refusals += outcome.struck ? 1U : 0U;
}

} // namespace ridge::test
