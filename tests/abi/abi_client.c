/* A host program in C: the header is C, the records have the layout that other languages rely on,
 * and the DLL's functions can be called through the import library. */
#include "ridge-sdk.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

#define FIELD(record, field, offset)                                                               \
    _Static_assert(offsetof(record, field) == (offset), #record "." #field)
#define SIZE(record, size) _Static_assert(sizeof(record) == (size), #record)

#define FIELD_SIZE(record, field, size)                                                            \
    _Static_assert(sizeof(((record*)0)->field) == (size), #record "." #field)

FIELD(ridgeDeviceList, devices, 0);
FIELD(ridgeDeviceList, count, 8);
FIELD_SIZE(ridgeDeviceList, count, 4);
FIELD(ridgeDeviceList, internal, 16);
SIZE(ridgeDeviceList, 24);

FIELD(ridgeDeviceEntry, portName, 0);
FIELD(ridgeDeviceEntry, serialNumber, 8);
FIELD(ridgeDeviceEntry, description, 16);
FIELD(ridgeDeviceEntry, manufacturer, 24);
FIELD(ridgeDeviceEntry, internal, 32);
SIZE(ridgeDeviceEntry, 40);

FIELD(ridgeDeviceInfo, text1, 0);
FIELD(ridgeDeviceInfo, text2, 8);
FIELD(ridgeDeviceInfo, text3, 16);
FIELD(ridgeDeviceInfo, text6, 24);
FIELD(ridgeDeviceInfo, text5, 32);
FIELD(ridgeDeviceInfo, text4, 40);
FIELD(ridgeDeviceInfo, text7, 48);
FIELD(ridgeDeviceInfo, value1, 56);
FIELD(ridgeDeviceInfo, value2, 58);
FIELD(ridgeDeviceInfo, features, 60);
SIZE(ridgeDeviceInfo, 64);

FIELD(ridgeDeviceSettings, rotation, 0);
FIELD(ridgeDeviceSettings, option, 1);
SIZE(ridgeDeviceSettings, 2);

FIELD(ridgeCaptureParameters, fingerPosition, 0);
FIELD(ridgeCaptureParameters, captureTimeout, 4);
FIELD(ridgeCaptureParameters, captureOption, 8);
SIZE(ridgeCaptureParameters, 12);

FIELD(ridgeCaptureCallbacks, errorCallback, 0);
FIELD(ridgeCaptureCallbacks, captureCallback, 8);
FIELD(ridgeCaptureCallbacks, eventCallback, 16);
SIZE(ridgeCaptureCallbacks, 24);

FIELD(ridgeCsrSubjectName, commonName, 0);
FIELD(ridgeCsrSubjectName, country, 8);
FIELD(ridgeCsrSubjectName, locality, 16);
FIELD(ridgeCsrSubjectName, organization, 24);
FIELD(ridgeCsrSubjectName, organizationalUnit, 32);
FIELD(ridgeCsrSubjectName, stateOrProvince, 40);
SIZE(ridgeCsrSubjectName, 48);

FIELD(ridgeCaptureResult, width, 0);
FIELD(ridgeCaptureResult, height, 4);
FIELD(ridgeCaptureResult, image, 8);
FIELD(ridgeCaptureResult, imageSize, 16);
FIELD(ridgeCaptureResult, extraValue, 20);
FIELD(ridgeCaptureResult, trailerSize, 24);
FIELD(ridgeCaptureResult, trailer, 32);
FIELD(ridgeCaptureResult, flagA, 40);
FIELD(ridgeCaptureResult, flagB, 41);
FIELD(ridgeCaptureResult, flagC, 42);
SIZE(ridgeCaptureResult, 48);

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
