#include "performanceclock.h"

#include <windows.h>

namespace ridge::bench {
namespace {

std::int64_t counterFrequency() {
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

} // namespace

Time performanceTime() {
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    return performanceTime(counter.QuadPart);
}

Time performanceTime(std::int64_t counter) {
    static const std::int64_t frequency = counterFrequency();
    // Split at the second: the product of a counter and a second would overflow.
    return std::chrono::seconds(counter / frequency) +
           Time(counter % frequency * Time::period::den / frequency);
}

double microseconds(Time time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

} // namespace ridge::bench
