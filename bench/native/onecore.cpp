#include "onecore.h"

#include <cerrno>
#include <system_error>

namespace ridge::bench {
namespace {

void require(bool done) {
    if (!done) {
        throw std::system_error(errno, std::generic_category(), "cannot choose a core");
    }
}

} // namespace

OneCore::OneCore() {
    require(sched_getaffinity(0, sizeof(before), &before) == 0);
    const int core = sched_getcpu();
    require(core >= 0);
    cpu_set_t one{};
    CPU_SET(static_cast<unsigned>(core), &one);
    require(sched_setaffinity(0, sizeof(one), &one) == 0);
}

OneCore::~OneCore() {
    sched_setaffinity(0, sizeof(before), &before);
}

} // namespace ridge::bench
