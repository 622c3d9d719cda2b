#pragma once

#include <string>

namespace ridge::test {

/// A host that makes a mistake: a callback destroys its own scanner. The process should not get to
/// the end of this.
int destroyInsideCallback(const std::string& portName);

} // namespace ridge::test
