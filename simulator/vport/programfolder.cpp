#include "programfolder.h"

#include "systemfailure.h"

#include <string>

#include <windows.h>

namespace ridge::simulator {

std::filesystem::path programFolder() {
    constexpr std::size_t longestPath = 32767;
    std::wstring name(longestPath + 1, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
    if (length == 0) {
        throwSystemFailure("cannot find the program's own folder");
    }
    name.resize(length);
    return std::filesystem::path(name).parent_path();
}

} // namespace ridge::simulator
