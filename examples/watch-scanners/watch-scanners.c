/* Tells which scanners come and go, and stays connected to the first of them.
 *
 *     watch-scanners [CONNECTIONS]
 *
 * Ends with Ctrl-C, or when it has connected as often as the argument says. */
#include "ridge-sdk.h"

#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

enum { interval = 500 /* milliseconds from one look to the next */ };

struct Watch {
    ridgeDeviceContext* context;
    /* What the last look has found; NULL before the first. */
    ridgeDeviceList* attached;
    /* The entry of `attached` that there is a session with, or NULL. */
    const ridgeDeviceEntry* connected;
    unsigned long connections;
    /* The present refusal has been reported. */
    bool refused;
};

static HANDLE interrupted;

/* Called by the system on a thread of its own, which must leave the context alone. */
static BOOL WINAPI onConsoleEvent(DWORD event) {
    (void)event;
    SetEvent(interrupted);
    return TRUE;
}

static void say(const char* what, const ridgeDeviceEntry* scanner) {
    printf("%s: %s %s\n", what, scanner->portName, scanner->serialNumber);
}

/* A scanner is told by its serial number. A changed port makes it another entry here, as the
 * session is with the port. */
static const ridgeDeviceEntry* find(const ridgeDeviceList* list, const ridgeDeviceEntry* scanner) {
    for (uint32_t index = 0; list != NULL && index < list->count; ++index)
        if (strcmp(list->devices[index].serialNumber, scanner->serialNumber) == 0 &&
            strcmp(list->devices[index].portName, scanner->portName) == 0)
            return &list->devices[index];
    return NULL;
}

/* Reports the scanners of a list that are missing in the other; true when there are any. */
static bool sayMissing(const char* what, const ridgeDeviceList* list,
                       const ridgeDeviceList* other) {
    bool any = false;
    for (uint32_t index = 0; list != NULL && index < list->count; ++index)
        if (find(other, &list->devices[index]) == NULL) {
            say(what, &list->devices[index]);
            any = true;
        }
    return any;
}

static void connectFirst(struct Watch* watch) {
    const ridgeDeviceEntry* first = &watch->attached->devices[0];
    const int32_t status = ridgeConnect(first, watch->context);
    if (status == RIDGE_SUCCESS) {
        watch->connected = first;
        watch->refused = false;
        ++watch->connections;
        say("connected", first);
    } else if (!watch->refused) {
        /* It may not be ready yet, or another program has it: every look tries again. */
        fprintf(stderr, "cannot connect to %s: status %d: %s\n", first->portName, (int)status,
                ridgeGetLastErrorDescription(watch->context));
        watch->refused = true;
    }
}

/* All calls with the context are made by this one thread. */
static bool look(struct Watch* watch) {
    const bool wasConnected = watch->connected != NULL;
    /* The list alone does not do: a scanner that was unplugged and plugged in again between two
     * looks is still in it, but the session is dead. ridgeGetInfo() sends nothing and reports a
     * port that has failed; ridgeIsConnected() does not tell while nothing runs. */
    ridgeDeviceInfo info;
    const bool alive = wasConnected && ridgeGetInfo(watch->context, &info) == RIDGE_SUCCESS;

    ridgeDeviceList* now = NULL;
    const int32_t status = ridgeQueryDevices(&now);
    if (status != RIDGE_SUCCESS) {
        fprintf(stderr, "cannot look for scanners: status %d\n", (int)status);
        return false;
    }
    if (watch->attached == NULL && now->count == 0)
        printf("no scanner is attached\n");
    if (wasConnected) {
        const ridgeDeviceEntry* still = find(now, watch->connected);
        if (!alive || still == NULL) {
            say("lost", watch->connected);
            /* Without this the context stays occupied. */
            ridgeDisconnect(watch->context);
            still = NULL;
        }
        watch->connected = still;
    }
    const bool gone = sayMissing("detached", watch->attached, now);
    const bool come = sayMissing("attached", now, watch->attached);
    if (gone || come)
        watch->refused = false;
    ridgeFreeDevices(watch->attached);
    watch->attached = now;
    /* After a loss the system gets until the next look to find out what is still there. */
    if (!wasConnected && now->count > 0)
        connectFirst(watch);
    return true;
}

int main(int argumentCount, char** arguments) {
    const unsigned long wanted = argumentCount > 1 ? strtoul(arguments[1], NULL, 10) : 0;
    if (argumentCount > 2 || (argumentCount > 1 && wanted == 0)) {
        fprintf(stderr, "usage: watch-scanners [CONNECTIONS]\n");
        return 1;
    }
    /* So that a line is seen at once through a pipe too. */
    setvbuf(stdout, NULL, _IONBF, 0);
    interrupted = CreateEventA(NULL, TRUE, FALSE, NULL);
    struct Watch watch = {.context = ridgeCreateDeviceContext()};
    bool well = interrupted != NULL && watch.context != NULL;
    if (!well)
        fprintf(stderr, "the system has nothing left\n");
    else if (!SetConsoleCtrlHandler(onConsoleEvent, TRUE))
        fprintf(stderr, "Ctrl-C will end the program at once\n");
    DWORD waited = WAIT_TIMEOUT;
    while (well && waited == WAIT_TIMEOUT) {
        well = look(&watch);
        if (wanted != 0 && watch.connections == wanted)
            break;
        waited = WaitForSingleObject(interrupted, interval);
    }
    if (waited == WAIT_OBJECT_0)
        printf("interrupted\n");
    SetConsoleCtrlHandler(onConsoleEvent, FALSE);
    ridgeFreeDeviceContext(watch.context);
    ridgeFreeDevices(watch.attached);
    if (interrupted != NULL)
        CloseHandle(interrupted);
    return well ? 0 : 1;
}
