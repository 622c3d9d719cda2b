/* Captures a fingerprint with the first scanner and saves it as a picture that Windows opens.
 *
 *     capture-to-picture [PICTURE.bmp [SECONDS]]
 *
 * Ends with 0 when the picture has been saved, and with 1 and a reason otherwise. */
#include "ridge-sdk.h"

#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

enum { greyLevels = 256, defaultSeconds = 10, mostSeconds = 30 };

/* What the callbacks leave for main. They run on a thread of the library: main looks at the rest
 * only after `over` is set, and so needs no lock. */
struct Capture {
    HANDLE over;
    int32_t status;
    char message[256];
    uint32_t width;
    uint32_t height;
    uint8_t* pixels;
};

static void onError(int32_t status, const char* message, void* userContext) {
    struct Capture* capture = userContext;
    capture->status = status;
    /* The text is the library's and goes when this returns. */
    snprintf(capture->message, sizeof(capture->message), "%s", message);
    SetEvent(capture->over);
}

static void onImage(const ridgeCaptureResult* image, void* userContext) {
    struct Capture* capture = userContext;
    if (image->imageSize == 0 || (uint64_t)image->width * image->height != image->imageSize) {
        onError(RIDGE_MALFORMED_DATA, "the image is not one byte per pixel", capture);
        return;
    }
    /* So are the bytes; and the scanner waits, so the slow work is left to main. */
    capture->pixels = malloc(image->imageSize);
    if (capture->pixels == NULL) {
        onError(RIDGE_UNEXPECTED_FAILURE, "no memory for the image", capture);
        return;
    }
    memcpy(capture->pixels, image->image, image->imageSize);
    capture->width = image->width;
    capture->height = image->height;
    SetEvent(capture->over);
}

static bool connectFirst(ridgeDeviceContext* scanner) {
    ridgeDeviceList* list = NULL;
    if (ridgeQueryDevices(&list) != RIDGE_SUCCESS || list->count == 0) {
        fprintf(stderr, "no scanner is attached\n");
        ridgeFreeDevices(list);
        return false;
    }
    const int32_t status = ridgeConnect(&list->devices[0], scanner);
    if (status == RIDGE_SUCCESS)
        printf("put a finger on the scanner at %s\n", list->devices[0].portName);
    else
        fprintf(stderr, "cannot connect to %s: status %d: %s\n", list->devices[0].portName,
                (int)status, ridgeGetLastErrorDescription(scanner));
    /* The session does not need the list. */
    ridgeFreeDevices(list);
    return status == RIDGE_SUCCESS;
}

static bool captureImage(ridgeDeviceContext* scanner, uint32_t seconds, struct Capture* capture) {
    const ridgeCaptureParameters parameters = {
        .fingerPosition = 1, .captureTimeout = seconds * 1000, .captureOption = 1};
    const ridgeCaptureCallbacks callbacks = {.errorCallback = onError, .captureCallback = onImage};
    const int32_t status = ridgeStartCapture(scanner, &parameters, NULL, &callbacks, capture);
    if (status != RIDGE_SUCCESS) {
        fprintf(stderr, "cannot start the capture: status %d: %s\n", (int)status,
                ridgeGetLastErrorDescription(scanner));
        return false;
    }
    /* Without a limit: a capture always ends with one of the two callbacks, with the scanner's
     * time-out or, when the scanner is silent or unplugged, with the library's. */
    WaitForSingleObject(capture->over, INFINITE);
    if (capture->pixels == NULL)
        fprintf(stderr, "no image: status %d: %s\n", (int)capture->status, capture->message);
    return capture->pixels != NULL;
}

/* Eight bits per pixel, with a palette of greys. */
static bool writeBitmap(FILE* file, const struct Capture* capture) {
    const uint8_t padding[3] = {0};
    const uint32_t paddingSize = (4 - capture->width % 4) % 4;
    const uint32_t pixelsAt = (uint32_t)(sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER) +
                                         greyLevels * sizeof(RGBQUAD));
    const uint32_t pixelsSize = (capture->width + paddingSize) * capture->height;
    const BITMAPFILEHEADER start = {
        .bfType = 0x4D42 /* BM */, .bfSize = pixelsAt + pixelsSize, .bfOffBits = pixelsAt};
    const BITMAPINFOHEADER description = {.biSize = sizeof(description),
                                          .biWidth = (LONG)capture->width,
                                          .biHeight = (LONG)capture->height,
                                          .biPlanes = 1,
                                          .biBitCount = 8,
                                          .biCompression = BI_RGB,
                                          .biSizeImage = pixelsSize,
                                          .biClrUsed = greyLevels};
    RGBQUAD palette[greyLevels];
    for (int level = 0; level < greyLevels; ++level) {
        const BYTE grey = (BYTE)level;
        palette[level] = (RGBQUAD){.rgbBlue = grey, .rgbGreen = grey, .rgbRed = grey};
    }
    if (fwrite(&start, sizeof(start), 1, file) != 1 ||
        fwrite(&description, sizeof(description), 1, file) != 1 ||
        fwrite(palette, sizeof(palette), 1, file) != 1)
        return false;
    /* The scanner's first row is the top one, a bitmap's is the bottom one. */
    for (uint32_t row = capture->height; row > 0; --row)
        if (fwrite(capture->pixels + (size_t)(row - 1) * capture->width, capture->width, 1, file) !=
                1 ||
            fwrite(padding, 1, paddingSize, file) != paddingSize)
            return false;
    return true;
}

static bool savePicture(const char* path, const struct Capture* capture) {
    FILE* file = fopen(path, "wb");
    if (file == NULL) {
        perror(path);
        return false;
    }
    const bool written = writeBitmap(file, capture);
    /* What is still buffered is written now, and can fail too. */
    if (fclose(file) != 0 || !written) {
        fprintf(stderr, "%s: cannot be written\n", path);
        remove(path);
        return false;
    }
    printf("%s: %u x %u pixels\n", path, capture->width, capture->height);
    return true;
}

int main(int argumentCount, char** arguments) {
    const char* path = argumentCount > 1 ? arguments[1] : "finger.bmp";
    const unsigned long seconds =
        argumentCount > 2 ? strtoul(arguments[2], NULL, 10) : defaultSeconds;
    if (argumentCount > 3 || seconds == 0 || seconds > mostSeconds) {
        fprintf(stderr, "usage: capture-to-picture [PICTURE.bmp [SECONDS, 1 to 30]]\n");
        return 1;
    }
    /* So that a line is seen at once through a pipe too. */
    setvbuf(stdout, NULL, _IONBF, 0);
    struct Capture capture = {.over = CreateEventA(NULL, TRUE, FALSE, NULL)};
    ridgeDeviceContext* scanner = ridgeCreateDeviceContext();
    bool saved = false;
    if (capture.over == NULL || scanner == NULL)
        fprintf(stderr, "the system has nothing left\n");
    else
        saved = connectFirst(scanner) && captureImage(scanner, (uint32_t)seconds, &capture) &&
                savePicture(path, &capture);
    /* First: it waits for the library's thread, which uses the event. */
    ridgeFreeDeviceContext(scanner);
    free(capture.pixels);
    if (capture.over != NULL)
        CloseHandle(capture.over);
    return saved ? 0 : 1;
}
