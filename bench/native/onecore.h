#pragma once

#include <sched.h>

namespace ridge::bench {

/// Keeps the calling thread, and all that it starts, on the core on which it runs: what threads
/// cost each other does then not depend on where the system puts them.
class OneCore {
public:
    /// Throws std::system_error.
    OneCore();
    ~OneCore();

    OneCore(const OneCore&) = delete;
    OneCore& operator=(const OneCore&) = delete;

private:
    cpu_set_t before{};
};

} // namespace ridge::bench
