#include "currentthread.h"

#include <functional>
#include <thread>

namespace ridge {

std::uint32_t currentThreadId() {
    return static_cast<std::uint32_t>(std::hash<std::thread::id>{}(std::this_thread::get_id()));
}

} // namespace ridge
