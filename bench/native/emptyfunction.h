#pragma once

namespace ridge::bench {

/// What any function with the arguments of a log line costs. It stands in a source of its own, so
/// that no compiler makes another one of it for its caller.
void doNothing(char level, const char* sourceFile, int line, const char* format, ...);

} // namespace ridge::bench
