#pragma once

#include <windows.h>

namespace ridge::simulator {

// Redirects a loaded module's import of a function. Without effect if the module does not import
// it.
void replaceImport(HMODULE module, const char* function, void* replacement);

} // namespace ridge::simulator
