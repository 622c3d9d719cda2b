#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <windows.h>

namespace ridge::test {

/// The names of a loaded module's functions, from the symbols that the linker left in its file.
class SymbolTable {
public:
    explicit SymbolTable(HMODULE module);

    /// The function that an address lies in, as the linker calls it; empty outside the module.
    [[nodiscard]] std::string functionAt(const void* address) const;

private:
    std::uintptr_t base;
    std::uintptr_t size;
    /// By their distance from the module's beginning.
    std::map<std::uintptr_t, std::string> functions;
};

} // namespace ridge::test
