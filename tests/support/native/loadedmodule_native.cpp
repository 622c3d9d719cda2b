#include "loadedmodule.h"

namespace ridge {

void keepModuleLoaded() noexcept {
    // The code is part of the test program.
}

} // namespace ridge
