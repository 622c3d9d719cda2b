#include "walk.h"

#include "importedcalls.h"
#include "smallpicture.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <set>
#include <span>
#include <thread>

namespace ridge::test {
namespace {

constexpr std::size_t laneCount = 8;
/// Many times what a scenario can take whose every step ends with a time-out.
constexpr std::chrono::minutes patience{3};

/// A scanner's answer to an earlier host may come late, and on a busy machine any answer too late.
constexpr int triesAtMost = 3;

/// Errors that a device gives which is in use, broken, being removed, or gone.
constexpr std::array<DWORD, 4> errors{ERROR_ACCESS_DENIED, ERROR_GEN_FAILURE,
                                      ERROR_OPERATION_ABORTED, ERROR_DEVICE_NOT_CONNECTED};

std::string describe(const Scenario& scenario, const Refusal& refusal) {
    const std::string call =
        refusal.site ? describe(*refusal.site) : "call " + std::to_string(refusal.number);
    return scenario.name + ", " + call + ", error " + std::to_string(refusal.error) +
           (refusal.fromThenOn ? ", from then on" : ", once");
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
        if (!changed.wait_for(lock, patience, [this] { return ended; })) {
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

/// A scanner, and the account of the hosts that use it.
class Walk::Lane {
public:
    struct Outcome {
        bool refused = false;
        std::map<CallKind, std::vector<CallSite>> places;
        std::vector<ReceivedFailure> failures;
        std::vector<std::string> mistakes;
    };

    /// To be called on the hosts' thread.
    Outcome attempt(const Scenario& scenario, const std::optional<Refusal>& refusal) {
        const Watchdog watchdog(refusal ? describe(scenario, *refusal) : scenario.name);
        account.adoptThisThread();
        Outcome outcome;
        {
            Session session(scanner);
            if (scenario.connected && !connect(session)) {
                session.wrong("no connection to begin with: " + session.client().lastError());
            }
            account.takeSites();
            if (refusal) {
                account.refuse(*refusal);
            }
            scenario.run(session);
            account.refuseNothing();
            outcome.places = account.takeSites();
            outcome.refused = refusal && account.hasRefused();
            outcome.failures = session.failuresSoFar();
            outcome.mistakes = session.mistakesSoFar();
        }
        if (!account.awaitThreads()) {
            outcome.mistakes.emplace_back("a thread does not end");
        }
        for (const std::string& resource : account.held()) {
            outcome.mistakes.push_back("not given back: " + resource);
        }
        expectUsable(outcome.mistakes);
        return outcome;
    }

    /// Uses what the runtime makes once and keeps: for exceptions, and for exceptions without
    /// memory. It belongs to nobody.
    void warmUp() {
        for (const Scenario& scenario : scenarios()) {
            attempt(scenario, Refusal{CallKind::allocation, std::nullopt, 1, true, ERROR_SUCCESS});
        }
        account.forgetHeld();
    }

private:
    static bool connect(Session& session) {
        bool connected = session.connect();
        for (int tries = 1; !connected && tries < triesAtMost; ++tries) {
            connected = session.connect();
        }
        return connected;
    }

    /// What was on its way when the host went must not meet the next one.
    void replug() {
        scanner.port().unplug();
        // The scanner has then done all that it was asked for before.
        scanner.command("report");
        scanner.waitForReport("ridge-scanner: no such command");
        scanner.port().replug();
    }

    void expectUsable(std::vector<std::string>& mistakes) {
        std::vector<std::string> last = mistakesInUse();
        for (int tries = 1; !last.empty() && tries < triesAtMost; ++tries) {
            last = mistakesInUse();
        }
        for (const std::string& mistake : last) {
            mistakes.push_back("afterwards: " + mistake);
        }
    }

    std::vector<std::string> mistakesInUse() {
        replug();
        Session session(scanner);
        if (session.connect() &&
            session.note("ridgeStartCapture", session.client().startCapture(anyFinger))) {
            session.awaitEnd("capture", 1);
            ridgeStopCapture(session.context());
            const ridgeDeviceSettings settings{};
            session.note("ridgeSettingsSet", ridgeSettingsSet(session.context(), &settings));
        }
        std::vector<std::string> mistakes = session.mistakesSoFar();
        for (const ReceivedFailure& failure : session.failuresSoFar()) {
            mistakes.push_back(failure.message);
        }
        return mistakes;
    }

    SimulatorProcess scanner{{"--baud", "0", "--finger-delay", "0", "--image", smallPicture()}};
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
    std::vector<Trial> trials;
    std::thread([&] { trials = trialsOfPlaces(kind, result); }).join();
    std::atomic<std::size_t> taken{0};
    run(
        [&] {
            const std::size_t index = taken++;
            return index < trials.size() ? std::optional(trials[index]) : std::nullopt;
        },
        // Whether a call completes at once or later, and so what follows, is a matter of chance.
        [] {}, result);
    return result;
}

WalkResult Walk::throughCalls(const Scenario& scenario, CallKind kind) {
    WalkResult result;
    // An allocation fails without an error code.
    const std::size_t errorCount = kind == CallKind::allocation ? 1 : errors.size();
    for (const DWORD error : std::span(errors).first(errorCount)) {
        for (const bool fromThenOn : {false, true}) {
            std::atomic<std::size_t> number{0};
            std::atomic<bool> ended{false};
            run(
                [&]() -> std::optional<Trial> {
                    if (ended) {
                        return std::nullopt;
                    }
                    return Trial{&scenario, {kind, std::nullopt, ++number, fromThenOn, error}};
                },
                [&] { ended = true; }, result);
        }
    }
    return result;
}

std::vector<Trial> Walk::trialsOfPlaces(CallKind kind, WalkResult& result) {
    std::vector<Trial> trials;
    std::set<CallSite> places;
    for (const Scenario& scenario : scenarios()) {
        const Lane::Outcome untouched = lanes.front()->attempt(scenario, std::nullopt);
        result.add(scenario.name + ", untouched", untouched.mistakes);
        for (const ReceivedFailure& failure : untouched.failures) {
            result.mistakes.push_back("untouched: " + failure.message);
        }
        for (const CallSite& place : untouched.places.at(kind)) {
            if (places.insert(place).second) {
                const DWORD error = errors[places.size() % errors.size()];
                trials.push_back({&scenario, {kind, place, 0, false, error}});
                trials.push_back({&scenario, {kind, place, 0, true, error}});
            }
        }
    }
    result.places = places.size();
    return trials;
}

void Walk::run(const std::function<std::optional<Trial>()>& next,
               const std::function<void()>& onUntouched, WalkResult& result) {
    std::mutex mutex;
    std::vector<std::thread> hosts;
    for (const std::unique_ptr<Lane>& lane : lanes) {
        hosts.emplace_back([&, &own = *lane] {
            while (const std::optional<Trial> trial = next()) {
                const Lane::Outcome outcome = own.attempt(*trial->scenario, trial->refusal);
                const std::lock_guard lock(mutex);
                result.add(describe(*trial->scenario, trial->refusal), outcome.mistakes);
                for (const ReceivedFailure& failure : outcome.failures) {
                    ++result.reported[{failure.status, failure.message}];
                }
                if (outcome.refused) {
                    ++result.refusals;
                } else {
                    onUntouched();
                }
            }
        });
    }
    for (std::thread& host : hosts) {
        host.join();
    }
}

} // namespace ridge::test
