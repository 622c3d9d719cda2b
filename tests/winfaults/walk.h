#pragma once

#include "account.h"
#include "session.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
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
    /// How many places in the library have called.
    std::size_t places = 0;
    std::size_t refusals = 0;
    /// How often each failure was reported, by its status and text.
    std::map<std::pair<std::int32_t, std::string>, std::size_t> reported;
    std::vector<std::string> mistakes;

    void add(const std::string& where, const std::vector<std::string>& moreMistakes);
};

/// Several hosts, each on a thread and with a scanner of its own, so that the time-outs of the one
/// do not keep the others waiting.
class Walk {
public:
    Walk();
    ~Walk();

    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    /// Refuses a call from each place in the library, once and from then on, in the first scenario
    /// that calls from there.
    WalkResult throughPlaces(CallKind kind);
    /// Refuses every call, with every error, once and from then on.
    WalkResult throughCalls(const Scenario& scenario, CallKind kind);

private:
    class Lane;

    /// `next` gives trials until there are none; `onUntouched` hears of those in which the call
    /// did not happen.
    void run(const std::function<std::optional<Trial>()>& next,
             const std::function<void()>& onUntouched, WalkResult& result);
    std::vector<Trial> trialsOfPlaces(CallKind kind, WalkResult& result);

    std::vector<std::unique_ptr<Lane>> lanes;
};

} // namespace ridge::test
