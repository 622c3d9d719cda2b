#include "systemversion.h"

#include <windows.h>

namespace ridge::tool {
namespace {

template <typename Function>
Function ntFunction(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), name)));
}

} // namespace

std::string systemVersion() {
    // The documented functions tell a program the newest version that its manifest names.
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    using GetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
    const auto getVersion = ntFunction<GetVersion>("RtlGetVersion");
    if (getVersion == nullptr || getVersion(&version) != 0) {
        return "Windows";
    }
    std::string text = "Windows " + std::to_string(version.dwMajorVersion) + "." +
                       std::to_string(version.dwMinorVersion) + "." +
                       std::to_string(version.dwBuildNumber);
    using GetWineVersion = const char*(CDECL*)();
    if (const auto getWineVersion = ntFunction<GetWineVersion>("wine_get_version")) {
        text += std::string(", as Wine ") + getWineVersion() + " imitates it";
    }
    return text;
}

} // namespace ridge::tool
