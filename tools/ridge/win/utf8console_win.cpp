#include "utf8console.h"

#include <windows.h>

namespace ridge::tool {

Utf8Console::Utf8Console() : codePage(GetConsoleOutputCP()) {
    SetConsoleOutputCP(CP_UTF8);
}

Utf8Console::~Utf8Console() {
    SetConsoleOutputCP(codePage);
}

} // namespace ridge::tool
