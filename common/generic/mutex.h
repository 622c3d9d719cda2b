#pragma once

#ifdef _WIN32
#include "slimlock.h"
#else
#include <condition_variable>
#include <mutex>
#endif

namespace ridge {

/// What the library's threads lock and wait with. It must need no memory once it is there: a thread
/// that cannot lock has nobody to tell.
#ifdef _WIN32
using Mutex = SlimMutex;
using Condition = SlimCondition;
#else
using Mutex = std::mutex;
using Condition = std::condition_variable;
#endif

} // namespace ridge
