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

/// Something that should have been otherwise.
struct Mistake {
    std::string text;
    /// An answer came too late that nothing was seen to keep back.
    bool isLateAnswer = false;
};

/// A failure that nobody was told of, one that none of the calls can have led to, something missing
/// without a word.
std::vector<Mistake> mistakesIn(const Aftermath& aftermath);

} // namespace ridge::test
