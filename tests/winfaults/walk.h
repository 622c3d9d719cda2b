#pragma once

#include "account.h"
#include "concurrentattempts.h"
#include "consequences.h"
#include "session.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace ridge::test {

/// A scenario, and what is refused in it.
struct Trial {
    const Scenario* scenario;
    Refusal refusal;
};

/// What came of going through scenarios again and again, with another call refused each time.
struct WalkResult {
    /// The places in the library whose calls were refused.
    std::set<CallSite> struck;
    std::size_t refusals = 0;
    /// How often each failure was reported, by its status and text.
    std::map<std::pair<std::int32_t, std::string>, std::size_t> reported;
    std::vector<std::string> mistakes;

    void add(const std::string& where, const std::vector<Mistake>& moreMistakes);
};

/// Several hosts, each on a thread and with a scanner of its own, so that the time-outs of the one
/// do not keep the others waiting.
class Walk {
public:
    Walk();
    ~Walk();

    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    /// Refuses a call from each place in the library: once in the first scenario that calls from
    /// there, from then on in the last.
    WalkResult throughPlaces(CallKind kind);
    /// Refuses every call, with every error, once and from then on; and once those that are made
    /// only because another has failed.
    WalkResult throughCalls(const Scenario& scenario, CallKind kind);

    /// How many trials were made once more because an answer came too late.
    [[nodiscard]] std::size_t repeated() const { return attempts.repeated(); }

private:
    class Lane;
    struct Outcome;

    /// What a scenario calls and receives when nothing fails.
    struct Untouched {
        std::vector<CallSite> places;
        std::vector<std::string> received;
    };

    const Untouched& untouched(const Scenario& scenario, CallKind kind, WalkResult& result);
    Outcome attemptOnce(Lane& lane, const Trial& trial) const;
    /// Until the trial has struck, if it is one of a place.
    Outcome attempt(Lane& lane, const Trial& trial);
    /// `next` gives trials until there are none.
    void run(const std::function<std::optional<Trial>()>& next,
             const std::function<void(const Trial&, const Outcome&)>& onOutcome,
             WalkResult& result);
    /// And then, behind each call that was refused once, those that were called only because of it.
    void runAll(std::vector<Trial> trials, std::set<CallSite> known, WalkResult& result);
    void addTo(WalkResult& result, const Trial& trial, const Outcome& outcome) const;

    std::vector<std::unique_ptr<Lane>> lanes;
    ConcurrentAttempts attempts;
    std::map<std::string, Untouched> whenUntouched;
    /// Guards the result and what belongs to it while trials run.
    std::mutex mutex;
};

} // namespace ridge::test
