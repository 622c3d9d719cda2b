#include "pendingstatus.h"

#include "importtable.h"
#include "ntfunctions.h"

#include <initializer_list>

#include <windows.h>

#include <winternl.h>

namespace ridge::simulator {

namespace {

constexpr LONG pending = 0x00000103;
// STATUS_BAD_DEVICE_TYPE: what Wine's own serial driver answers before the request goes on to ours.
constexpr LONG leftOver = static_cast<LONG>(0xC00000CB);

using DeviceIoControlFile = decltype(&NtDeviceIoControlFile);

DeviceIoControlFile original;

NTSTATUS NTAPI deviceIoControlFile(HANDLE file, HANDLE event, PIO_APC_ROUTINE routine,
                                   PVOID context, PIO_STATUS_BLOCK block, ULONG code, PVOID input,
                                   ULONG inputSize, PVOID output, ULONG outputSize) {
    const NTSTATUS status =
        original(file, event, routine, context, block, code, input, inputSize, output, outputSize);
    if (status == pending) {
        // The request may complete meanwhile; then its own status must stay.
        InterlockedCompareExchange(reinterpret_cast<volatile LONG*>(&block->Status), pending,
                                   leftOver);
    }
    return status;
}

} // namespace

void mendPendingStatus() {
    if (!isWine()) {
        return;
    }
    original = ntFunction<DeviceIoControlFile>("NtDeviceIoControlFile");
    for (const char* library : {"kernelbase.dll", "kernel32.dll"}) {
        replaceImport(GetModuleHandleA(library), "NtDeviceIoControlFile",
                      reinterpret_cast<void*>(&deviceIoControlFile));
    }
}

} // namespace ridge::simulator
