#pragma once

namespace ridge::bench {

/// Runs scanners until the standard input ends: each further argument is the kind of one. Prints
/// "ready" and their ports' numbers. A number on the standard input is a scanner's, counted from 0:
/// the times of its line are printed as a JSON object.
int runScanners(int argumentCount, char** arguments);

} // namespace ridge::bench
