#include "emptyfunction.h"

namespace ridge::bench {

void doNothing(char, const char*, int, const char*, ...) {}

} // namespace ridge::bench
