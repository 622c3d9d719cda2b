#pragma once

#include "comparisons.h"

/// What is measured, by subject.
namespace ridge::bench {

void addDataLink(Comparisons& comparisons);
void addChecksums(Comparisons& comparisons);
void addLogLines(Comparisons& comparisons);
void addConnections(Comparisons& comparisons);
void addCommands(Comparisons& comparisons);
void addCaptureGrowth(Comparisons& comparisons);

} // namespace ridge::bench
