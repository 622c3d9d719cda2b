#pragma once

#include <string>

namespace ridge::test {

/// A host that makes a mistake: it disconnects, or frees its context, while the scanner creates a
/// signing request. The process should not get to the end of this.
int releaseDuringCsr(const std::string& way, const std::string& portName);

} // namespace ridge::test
