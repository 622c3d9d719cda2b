#pragma once

#include <vector>

#include <windows.h>

namespace ridge::simulator {

// A function of another library that a loaded module calls.
struct ImportedFunction {
    const char* name;
    // Where the module keeps the function's address.
    ULONG_PTR* slot;
};

// What a loaded module imports by name.
std::vector<ImportedFunction> importedFunctions(HMODULE module);

// From now on the module calls the replacement.
void redirect(const ImportedFunction& function, void* replacement);

// Redirects a loaded module's import of a function. Without effect if the module does not import
// it.
void replaceImport(HMODULE module, const char* function, void* replacement);

} // namespace ridge::simulator
