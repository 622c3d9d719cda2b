/* The records have the layout that other languages and compilers rely on. */
#include "ridge-sdk.h"

#include <stddef.h>

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
