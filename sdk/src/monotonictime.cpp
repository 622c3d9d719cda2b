#include "monotonictime.h"

namespace ridge {

std::chrono::nanoseconds monotonicTime() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

} // namespace ridge
