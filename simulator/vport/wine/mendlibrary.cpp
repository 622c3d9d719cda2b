// ridge-wine-mend.dll: mends Wine in the process that loads it.

#include "openresult.h"
#include "pendingstatus.h"
#include "processend.h"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) {
        // The redirected imports point in here for the rest of the process's life.
        HMODULE pinned = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                           reinterpret_cast<LPCWSTR>(instance), &pinned);
        ridge::simulator::mendPendingStatus();
        ridge::simulator::mendOpenResult();
        ridge::simulator::mendProcessEnd();
    }
    return TRUE;
}
