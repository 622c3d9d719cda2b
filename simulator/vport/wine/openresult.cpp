#include "openresult.h"

#include "../ridgevport_ioctl.h"
#include "../scopedhandle.h"
#include "importtable.h"
#include "ntfunctions.h"

#include <cwchar>
#include <string_view>

#include <windows.h>

#include <winternl.h>

namespace ridge::simulator {

namespace {

constexpr NTSTATUS success = 0;
constexpr NTSTATUS pending = 0x00000103;

using CreateFileFunction = decltype(&NtCreateFile);

CreateFileFunction original;

bool startsWith(std::wstring_view text, std::wstring_view prefix) {
    return text.size() > prefix.size() && _wcsnicmp(text.data(), prefix.data(), prefix.size()) == 0;
}

bool mayBePortEnd(const OBJECT_ATTRIBUTES* attributes) {
    const UNICODE_STRING* name = attributes->ObjectName;
    if (name == nullptr) {
        return false;
    }
    const std::wstring_view text(name->Buffer, name->Length / sizeof(WCHAR));
    return startsWith(text, L"\\??\\COM") || startsWith(text, L"\\??\\RidgeLine");
}

// How the driver answered the opening of this handle; success for handles of other drivers.
NTSTATUS openResult(HANDLE handle) {
    const ScopedHandle ended(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    RidgeVportOpenResult result{};
    IO_STATUS_BLOCK block{};
    NTSTATUS status =
        NtDeviceIoControlFile(handle, ended.get(), nullptr, nullptr, &block,
                              RIDGE_VPORT_GET_OPEN_RESULT, nullptr, 0, &result, sizeof(result));
    if (status == pending) {
        WaitForSingleObject(ended.get(), INFINITE);
        status = block.Status;
    }
    return NT_SUCCESS(status) && result.signature == RIDGE_VPORT_SIGNATURE
               ? static_cast<NTSTATUS>(result.status)
               : success;
}

NTSTATUS NTAPI createFile(PHANDLE handle, ACCESS_MASK access, POBJECT_ATTRIBUTES attributes,
                          PIO_STATUS_BLOCK block, PLARGE_INTEGER size, ULONG fileAttributes,
                          ULONG sharing, ULONG disposition, ULONG options, PVOID extended,
                          ULONG extendedSize) {
    const NTSTATUS status = original(handle, access, attributes, block, size, fileAttributes,
                                     sharing, disposition, options, extended, extendedSize);
    if (!NT_SUCCESS(status) || !mayBePortEnd(attributes)) {
        return status;
    }
    const NTSTATUS result = openResult(*handle);
    if (!NT_SUCCESS(result)) {
        NtClose(*handle);
        *handle = nullptr;
        block->Status = result;
        return result;
    }
    return status;
}

} // namespace

void mendOpenResult() {
    if (!isWine()) {
        return;
    }
    original = ntFunction<CreateFileFunction>("NtCreateFile");
    replaceImport(GetModuleHandleA("kernelbase.dll"), "NtCreateFile",
                  reinterpret_cast<void*>(&createFile));
}

} // namespace ridge::simulator
