#include "currentthread.h"

#include <windows.h>

namespace ridge {

std::uint32_t currentThreadId() {
    return GetCurrentThreadId();
}

} // namespace ridge
