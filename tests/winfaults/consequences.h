#pragma once

#include "account.h"
#include "session.h"

#include <string>
#include <vector>

namespace ridge::test {

/// What has come of calls that were made to fail with one error.
struct Aftermath {
    CallKind kind = CallKind::system;
    DWORD error = ERROR_SUCCESS;
    std::vector<RefusedCall> refused;
    std::vector<OperationFailure> failures;
    /// Whether the host was given all that it is given when nothing fails.
    bool complete = false;
    /// Of the library's log.
    std::vector<std::string> lines;
};

/// What should have been otherwise: a failure that nobody was told of, one that none of the calls
/// can have led to, something missing without a word.
std::vector<std::string> mistakesIn(const Aftermath& aftermath);

} // namespace ridge::test
