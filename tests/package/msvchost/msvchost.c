/* A host for the MSVC target, without a C library: links with ridge-sdk.lib and calls the DLL. Ends
 * with 0, or with the number of the check that failed. */
#include "ridge-sdk.h"

__declspec(dllimport) void ExitProcess(unsigned int status);

static int equal(const char* left, const char* right) {
    while (*left != '\0' && *left == *right) {
        ++left;
        ++right;
    }
    return *left == *right;
}

void start(void) {
    unsigned int failed = 0;
    ridgeDeviceContext* context = ridgeCreateDeviceContext();
    ridgeDeviceInfo info;
    if (!equal(ridgeGetSdkVersion(), RIDGE_EXPECTED_VERSION))
        failed = 1;
    else if (context == 0)
        failed = 2;
    else if (ridgeGetInfo(0, &info) != RIDGE_NULL_ARGUMENT)
        failed = 3;
    else if (ridgeGetInfo(context, &info) != RIDGE_NOT_CONNECTED)
        failed = 4;
    else if (!equal(ridgeGetLastErrorDescription(context), "Not connected."))
        failed = 5;
    else if (ridgeConnectCOM("COM250", context) != RIDGE_SERIAL_PORT_ERROR)
        failed = 6;
    ridgeFreeDeviceContext(context);
    ExitProcess(failed);
}
