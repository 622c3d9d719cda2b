#include "loadedmodule.h"

#include "logmessage.h"

#include <windows.h>

namespace ridge {

void keepModuleLoaded() noexcept {
    HMODULE module = nullptr;
    if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCSTR>(&keepModuleLoaded), &module) == 0) {
        RIDGE_LOG(logWarning, "The library could not be kept loaded while a thread of it runs.");
    }
}

} // namespace ridge
