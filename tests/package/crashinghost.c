/* Makes the DLL crash by a pointer that is none, and prints where: the offset in the DLL. */
#include "ridge-sdk.h"

#include <stdio.h>
#include <stdlib.h>

#include <windows.h>

static LONG CALLBACK onCrash(EXCEPTION_POINTERS* crash) {
    const char* address = crash->ExceptionRecord->ExceptionAddress;
    const char* dll = (const char*)GetModuleHandleA("ridge-sdk.dll");
    printf("0x%llx\n", (unsigned long long)(address - dll));
    fflush(stdout);
    ExitProcess(EXIT_SUCCESS);
}

int main(void) {
    SetUnhandledExceptionFilter(onCrash);
    puts(ridgeGetLastErrorDescription((const ridgeDeviceContext*)8));
    return EXIT_FAILURE;
}
