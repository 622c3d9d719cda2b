#include "ridge-sdk.h"
#include <stdio.h>
#include <windows.h>

static void onError(int32_t status, const char* message, void* done) {
    printf("failed with status %d: %s\n", (int)status, message);
    SetEvent(done);
}

static void onImage(const ridgeCaptureResult* image, void* done) {
    printf("%u x %u pixels, %u bytes\n", image->width, image->height, image->imageSize);
    SetEvent(done);
}

int main(void) {
    const ridgeCaptureParameters parameters = {1, 10000, 1};
    const ridgeCaptureCallbacks callbacks = {onError, onImage, NULL};
    HANDLE done = CreateEventA(NULL, TRUE, FALSE, NULL);
    ridgeDeviceContext* scanner = ridgeCreateDeviceContext();
    ridgeDeviceList* list = NULL;
    ridgeQueryDevices(&list);
    if (list->count == 0)
        printf("no scanner is attached\n");
    else if (ridgeConnect(&list->devices[0], scanner) == RIDGE_SUCCESS &&
             ridgeStartCapture(scanner, &parameters, NULL, &callbacks, done) == RIDGE_SUCCESS)
        WaitForSingleObject(done, INFINITE);
    else
        printf("%s\n", ridgeGetLastErrorDescription(scanner));
    ridgeFreeDevices(list);
    ridgeFreeDeviceContext(scanner);
    CloseHandle(done);
    return 0;
}
