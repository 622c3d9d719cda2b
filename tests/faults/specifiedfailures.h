#pragma once

#include "host.h"

namespace ridge::test {

/// A status with a text that belongs to it, for a line on which bytes get lost or changed.
bool isSpecifiedFailure(const ReceivedFailure& failure);

/// The same for a line that dies, where the port says "unplugged".
bool isPortFailureOrTimeout(const ReceivedFailure& failure);

/// No answer came in time.
bool isTimeout(const ReceivedFailure& failure);

} // namespace ridge::test
