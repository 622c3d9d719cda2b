/* Lets the scanner show images and accepts the first that is good enough.
 *
 *     judge-images [REJECTIONS [SECONDS]]
 *
 * Ends with 0 when an image has been captured, and with 1 and a reason otherwise. */
#include "ridge-sdk.h"

#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

enum { defaultRejections = 20, defaultSeconds = 60, mostSeconds = 3600 };

/* A square of this side is wide enough for a ridge and the valley beside it; it counts as covered
 * by the finger when they differ by this many of the 256 grey levels. */
enum { squareSide = 8, ridgeDifference = 64 };
/* What an image must have to be accepted. */
enum { goodCoverage = 40, goodContrast = 100 };

struct Quality {
    /* How many of the squares show ridges, in percent. */
    unsigned coverage;
    /* How many grey levels these have between their darkest and brightest pixel, on average. */
    unsigned contrast;
};

enum Stage { JUDGING, ACCEPTED, CAPTURED, GIVEN_UP, FAILED };

/* Used by the callbacks, which the library calls one at a time. main looks at `stage` only when
 * the capture has ended, and so needs no lock. */
struct Judge {
    ridgeDeviceContext* scanner;
    HANDLE over;
    unsigned long mayReject;
    unsigned long rejected;
    enum Stage stage;
};

static unsigned differenceInSquare(const uint8_t* corner, uint32_t width) {
    uint8_t darkest = UINT8_MAX;
    uint8_t brightest = 0;
    for (uint32_t y = 0; y < squareSide; ++y)
        for (uint32_t x = 0; x < squareSide; ++x) {
            const uint8_t pixel = corner[y * width + x];
            if (pixel < darkest)
                darkest = pixel;
            if (pixel > brightest)
                brightest = pixel;
        }
    return (unsigned)(brightest - darkest);
}

static struct Quality measure(const ridgeCaptureResult* image) {
    struct Quality quality = {0, 0};
    if ((uint64_t)image->width * image->height != image->imageSize)
        return quality;
    unsigned squares = 0;
    unsigned covered = 0;
    unsigned sum = 0;
    for (uint32_t y = 0; y + squareSide <= image->height; y += squareSide)
        for (uint32_t x = 0; x + squareSide <= image->width; x += squareSide) {
            const unsigned difference =
                differenceInSquare(image->image + y * image->width + x, image->width);
            ++squares;
            if (difference >= ridgeDifference) {
                ++covered;
                sum += difference;
            }
        }
    if (covered > 0) {
        quality.coverage = covered * 100 / squares;
        quality.contrast = sum / covered;
    }
    return quality;
}

static void end(struct Judge* judge, enum Stage stage) {
    judge->stage = stage;
    SetEvent(judge->over);
}

/* A callback must not stop the capture, which would wait for the callback. The last rejection
 * leaves the verdict open instead: the scanner waits while main stops it. */
static void reject(struct Judge* judge) {
    if (++judge->rejected == judge->mayReject)
        end(judge, GIVEN_UP);
    else
        ridgeHostAssistedCaptureSetResult(judge->scanner, 0);
}

static void onImage(const ridgeCaptureResult* image, void* userContext) {
    struct Judge* judge = userContext;
    if (judge->stage == ACCEPTED) {
        /* After the accepted image comes the capture itself, in full size. */
        printf("captured: %u x %u pixels, extra value %u\n", image->width, image->height,
               image->extraValue);
        end(judge, CAPTURED);
    } else if (judge->stage == JUDGING) {
        const struct Quality quality = measure(image);
        const bool good = quality.coverage >= goodCoverage && quality.contrast >= goodContrast;
        printf("%s: %u x %u pixels, coverage %u %%, contrast %u\n", good ? "accepted" : "rejected",
               image->width, image->height, quality.coverage, quality.contrast);
        if (good) {
            judge->stage = ACCEPTED;
            ridgeHostAssistedCaptureSetResult(judge->scanner, 1);
        } else {
            reject(judge);
        }
    }
}

static void onError(int32_t status, const char* message, void* userContext) {
    struct Judge* judge = userContext;
    if (judge->stage == JUDGING && status == RIDGE_MALFORMED_DATA &&
        strcmp(message, "Invalid capture data") == 0) {
        /* The one failure that does not end the capture: an image that makes no sense. It is told
         * by its text, as other malformed data do end it. */
        printf("rejected: %s\n", message);
        reject(judge);
    } else if (judge->stage == JUDGING || judge->stage == ACCEPTED) {
        fprintf(stderr, "the capture has failed: status %d: %s\n", (int)status, message);
        end(judge, FAILED);
    }
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
    ridgeFreeDevices(list);
    return status == RIDGE_SUCCESS;
}

static bool captureJudged(struct Judge* judge, unsigned long seconds) {
    /* The option must not be 0; the time-out is not used. */
    const ridgeCaptureParameters parameters = {.fingerPosition = 1, .captureOption = 1};
    const ridgeCaptureCallbacks callbacks = {.errorCallback = onError, .captureCallback = onImage};
    const int32_t status =
        ridgeStartHostAssistedCapture(judge->scanner, &parameters, NULL, &callbacks, judge);
    if (status != RIDGE_SUCCESS) {
        fprintf(stderr, "cannot start the capture: status %d: %s\n", (int)status,
                ridgeGetLastErrorDescription(judge->scanner));
        return false;
    }
    /* The library sets no limit: without a finger the scanner shows nothing, for ever. */
    WaitForSingleObject(judge->over, (DWORD)seconds * 1000);
    /* Waits for the end of the last callback too. */
    ridgeStopCapture(judge->scanner);
    if (judge->stage == GIVEN_UP)
        fprintf(stderr, "no image was good enough\n");
    else if (judge->stage == JUDGING || judge->stage == ACCEPTED)
        fprintf(stderr, "no image within %lu s\n", seconds);
    return judge->stage == CAPTURED;
}

int main(int argumentCount, char** arguments) {
    const unsigned long rejections =
        argumentCount > 1 ? strtoul(arguments[1], NULL, 10) : defaultRejections;
    const unsigned long seconds =
        argumentCount > 2 ? strtoul(arguments[2], NULL, 10) : defaultSeconds;
    if (argumentCount > 3 || rejections == 0 || seconds == 0 || seconds > mostSeconds) {
        fprintf(stderr, "usage: judge-images [REJECTIONS [SECONDS, 1 to 3600]]\n");
        return 1;
    }
    /* So that a line is seen at once through a pipe too. */
    setvbuf(stdout, NULL, _IONBF, 0);
    struct Judge judge = {.scanner = ridgeCreateDeviceContext(),
                          .over = CreateEventA(NULL, TRUE, FALSE, NULL),
                          .mayReject = rejections};
    bool captured = false;
    if (judge.over == NULL || judge.scanner == NULL)
        fprintf(stderr, "the system has nothing left\n");
    else
        captured = connectFirst(judge.scanner) && captureJudged(&judge, seconds);
    ridgeFreeDeviceContext(judge.scanner);
    if (judge.over != NULL)
        CloseHandle(judge.over);
    return captured ? 0 : 1;
}
