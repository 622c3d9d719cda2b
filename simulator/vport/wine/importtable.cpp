#include "importtable.h"

#include <cstdint>
#include <cstring>

namespace ridge::simulator {

namespace {

template <typename Record>
Record* at(HMODULE module, std::uint64_t offset) {
    return reinterpret_cast<Record*>(reinterpret_cast<std::uintptr_t>(module) + offset);
}

} // namespace

std::vector<ImportedFunction> importedFunctions(HMODULE module) {
    std::vector<ImportedFunction> functions;
    const auto* dosHeader = at<IMAGE_DOS_HEADER>(module, 0);
    const auto* headers =
        at<IMAGE_NT_HEADERS>(module, static_cast<std::uint32_t>(dosHeader->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0) {
        return functions;
    }
    const auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* name = at<IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
        auto* slot = at<IMAGE_THUNK_DATA>(module, library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
                const auto* imported = at<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData);
                functions.push_back({static_cast<const char*>(imported->Name), &slot->u1.Function});
            }
        }
    }
    return functions;
}

void redirect(const ImportedFunction& function, void* replacement) {
    DWORD protection = 0;
    if (VirtualProtect(function.slot, sizeof(*function.slot), PAGE_READWRITE, &protection) != 0) {
        InterlockedExchangePointer(reinterpret_cast<void**>(function.slot), replacement);
        VirtualProtect(function.slot, sizeof(*function.slot), protection, &protection);
    }
}

void replaceImport(HMODULE module, const char* function, void* replacement) {
    for (const ImportedFunction& imported : importedFunctions(module)) {
        if (std::strcmp(imported.name, function) == 0) {
            redirect(imported, replacement);
        }
    }
}

} // namespace ridge::simulator
