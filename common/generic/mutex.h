#pragma once

#ifdef _WIN32
#include "slimlock.h"
#else
#include <condition_variable>
#include <mutex>
#endif

namespace ridge {

#ifdef _WIN32
using Mutex = SlimMutex;
using Condition = SlimCondition;
#else
using Mutex = std::mutex;
using Condition = std::condition_variable;
#endif

} // namespace ridge
