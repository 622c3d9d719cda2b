#include "importtable.h"

#include <cstdint>
#include <cstring>

namespace ridge::simulator {

namespace {

template <typename Record>
Record* at(HMODULE module, std::uint64_t offset) {
    return reinterpret_cast<Record*>(reinterpret_cast<std::uintptr_t>(module) + offset);
}

void store(ULONG_PTR& slot, void* value) {
    DWORD protection = 0;
    if (VirtualProtect(&slot, sizeof(slot), PAGE_READWRITE, &protection) != 0) {
        InterlockedExchangePointer(reinterpret_cast<void**>(&slot), value);
        VirtualProtect(&slot, sizeof(slot), protection, &protection);
    }
}

} // namespace

void replaceImport(HMODULE module, const char* function, void* replacement) {
    const auto* dosHeader = at<IMAGE_DOS_HEADER>(module, 0);
    const auto* headers =
        at<IMAGE_NT_HEADERS>(module, static_cast<std::uint32_t>(dosHeader->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (directory.VirtualAddress == 0) {
        return;
    }
    const auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* name = at<IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
        auto* slot = at<IMAGE_THUNK_DATA>(module, library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) &&
                std::strcmp(at<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData)->Name,
                            function) == 0) {
                store(slot->u1.Function, replacement);
            }
        }
    }
}

} // namespace ridge::simulator
