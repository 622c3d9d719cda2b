/* A host program in C: the header is C, and the DLL's functions can be called through the import
 * library. */
#include "ridge-sdk.h"

#include <stdio.h>
#include <string.h>

static int checks = 0;
static int failures = 0;

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        ++checks;                                                                                  \
        if (!(condition)) {                                                                        \
            ++failures;                                                                            \
            printf("%s:%d: failed: %s\n", __FILE__, __LINE__, #condition);                         \
        }                                                                                          \
    } while (0)

static void onError(int32_t status, const char* message, void* userContext) {
    (void)status;
    (void)message;
    (void)userContext;
}

static void onCapture(const ridgeCaptureResult* result, void* userContext) {
    (void)result;
    (void)userContext;
}

static void onCsr(const uint8_t* request, uint32_t size, void* userContext) {
    (void)request;
    (void)size;
    (void)userContext;
}

static void onLog(int32_t level, const char* line, void* userContext) {
    (void)level;
    if (strstr(line, "Start stream") != NULL) {
        ++*(int*)userContext;
    }
}

int main(void) {
    const ridgeCaptureParameters parameters = {10, 30000, 1};
    const ridgeCaptureCallbacks callbacks = {onError, onCapture, NULL};
    const ridgeDeviceSettings settings = {3, 1};
    ridgeDeviceSettings readSettings;
    ridgeDeviceInfo info;
    ridgeDeviceList* list = NULL;
    const ridgeCsrSubjectName subject = {NULL, "DE", NULL, NULL, NULL, NULL};
    const uint8_t key[32] = {0};
    uint8_t* certificate = NULL;
    uint32_t size = 0;
    int streamLines = 0;

    CHECK(strcmp(ridgeGetSdkVersion(), RIDGE_EXPECTED_VERSION) == 0);
    CHECK(ridgeSetLogger('X', onLog, NULL) == RIDGE_INVALID_ARGUMENT);
    CHECK(ridgeSetLogger('I', onLog, &streamLines) == RIDGE_SUCCESS);

    CHECK(ridgeQueryDevices(NULL) == RIDGE_NULL_ARGUMENT);
    CHECK(ridgeQueryDevices(&list) == RIDGE_SUCCESS);
    CHECK(list != NULL);
    ridgeFreeDevices(list);

    ridgeDeviceContext* context = ridgeCreateDeviceContext();
    CHECK(context != NULL);
    CHECK(strcmp(ridgeGetLastErrorDescription(context), "") == 0);
    CHECK(ridgeIsConnected(context) == 0);
    CHECK(ridgeGetInfo(context, &info) == RIDGE_NOT_CONNECTED);
    CHECK(strcmp(ridgeGetLastErrorDescription(context), "Not connected.") == 0);
    CHECK(ridgeSettingsGet(context, &readSettings) == RIDGE_NOT_CONNECTED);
    CHECK(ridgeSettingsSet(context, &settings) == RIDGE_NOT_CONNECTED);
    CHECK(ridgeStartCapture(context, &parameters, NULL, &callbacks, NULL) == RIDGE_NOT_CONNECTED);
    CHECK(ridgeStartHostAssistedCapture(context, &parameters, NULL, &callbacks, NULL) ==
          RIDGE_NOT_CONNECTED);
    CHECK(ridgeStartStream(context, NULL, &callbacks, NULL) == RIDGE_NOT_CONNECTED);
    CHECK(streamLines == 1);
    CHECK(ridgeDeviceSecuritySetKey(context, key) == RIDGE_NOT_CONNECTED);
    CHECK(ridgeDeviceSecurityClearKey(context) == RIDGE_NOT_CONNECTED);
    CHECK(ridgeDeviceSecurityCertGet(context, &certificate, &size) == RIDGE_NOT_CONNECTED);
    CHECK(ridgeDeviceSecurityCertSet(context, key, 1) == RIDGE_NOT_CONNECTED);
    CHECK(ridgeDeviceSecurityCertClear(context) == RIDGE_NOT_CONNECTED);
    CHECK(ridgeDeviceSecurityCreateCsr(context, &subject, onCsr, onError, NULL) ==
          RIDGE_INVALID_ARGUMENT);
    CHECK(strcmp(ridgeGetLastErrorDescription(context), "common name must be specified.") == 0);
    ridgeDeviceSecurityCertFree(certificate);
    ridgeHostAssistedCaptureSetResult(context, 1);
    ridgeStopCapture(context);
    CHECK(strcmp(ridgeGetLastErrorDescription(context), "") == 0);
    CHECK(ridgeConnect(NULL, context) == RIDGE_NULL_ARGUMENT);
    CHECK(ridgeConnectCOM("", context) == RIDGE_NULL_ARGUMENT);
    ridgeDisconnect(context);
    ridgeFreeDeviceContext(context);
    ridgeFreeDeviceContext(NULL);

    if (failures != 0) {
        return 1;
    }
    /* In the words of the other test programs, for whoever counts. */
    printf("[  PASSED  ] %d checks.\n", checks);
    return 0;
}
