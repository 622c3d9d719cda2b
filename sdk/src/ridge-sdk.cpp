#include "ridge-sdk.h"

#include "argumentchecks.h"
#include "commandpayloads.h"
#include "csrname.h"
#include "defaultfactory.h"
#include "devicecontext.h"
#include "deviceenumeration.h"
#include "devicelist.h"
#include "errorboundary.h"
#include "logger.h"
#include "scanneridentifiers.h"
#include "statuscode.h"
#include "version.h"
#include "wipe.h"

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <vector>

using namespace ridge;

static_assert(status::success == RIDGE_SUCCESS);
static_assert(status::invalidArgument == RIDGE_INVALID_ARGUMENT);
static_assert(status::nullArgument == RIDGE_NULL_ARGUMENT);
static_assert(status::unexpected == RIDGE_UNEXPECTED_FAILURE);
static_assert(status::serialPort == RIDGE_SERIAL_PORT_ERROR);
static_assert(status::protocol == RIDGE_PROTOCOL_ERROR);
static_assert(status::timeout == RIDGE_TIMEOUT);
static_assert(status::contextInUse == RIDGE_CONTEXT_IN_USE);
static_assert(status::noResponse == RIDGE_NO_RESPONSE);
static_assert(status::malformedData == RIDGE_MALFORMED_DATA);
static_assert(status::notConnected == RIDGE_NOT_CONNECTED);
static_assert(status::captureActive == RIDGE_CAPTURE_ACTIVE);
static_assert(status::deviceFailure == RIDGE_DEVICE_FAILURE);
static_assert(status::unexpectedResponse == RIDGE_UNEXPECTED_RESPONSE);

namespace {

constexpr unsigned firstFeatureBit = 16;
constexpr std::uint32_t featureMask = 0x1F;

bool isScanner(std::uint16_t vendorId, std::uint16_t productId) {
    return vendorId == scannerVendorId && productId == scannerProductId;
}

/// The last step of every connect.
std::int32_t openSession(ridgeDeviceContext& context, const std::string& portName) {
    context.lastError.clear();
    DefaultFactory<std::string> factory;
    context.device = std::make_unique<RidgeDevice>(portName, factory);
    return RIDGE_SUCCESS;
}

/// The session can run an operation, as far as can be told from here.
std::int32_t checkSessionIdle(ridgeDeviceContext& context) {
    return firstFailure([&] { return checkSerialPortError(context); },
                        [&] { return checkConnected(context); },
                        [&] { return checkCaptureInactive(context); });
}

std::int32_t checkCaptureStart(ridgeDeviceContext& context,
                               const ridgeCaptureParameters* parameters,
                               const ridgeCaptureCallbacks* callbacks) {
    return firstFailure([&] { return checkCaptureParameters(context, parameters); },
                        [&] { return checkCaptureCallbacks(context, callbacks); },
                        [&] { return checkSessionIdle(context); });
}

/// The functions that manage keys and certificates leave all other checks to the session.
std::int32_t checkSession(ridgeDeviceContext& context) {
    return context.device ? RIDGE_SUCCESS : fail(context, RIDGE_NOT_CONNECTED, "Not connected.");
}

/// Runs an operation of the session, or reports that there is none.
template <typename Operation>
std::int32_t runOnSession(ridgeDeviceContext& context, const Operation& operation) {
    return withinBoundary(context, [&]() -> std::int32_t {
        const std::int32_t code = checkSession(context);
        if (code != RIDGE_SUCCESS) {
            return code;
        }
        operation(*context.device);
        return RIDGE_SUCCESS;
    });
}

/// Makes the listener of a new operation; the one before goes.
DefaultCaptureListener& replaceCaptureListener(ridgeDeviceContext& context,
                                               const ridgeCaptureCallbacks& callbacks,
                                               void* userContext) {
    context.captureListener = std::make_unique<DefaultCaptureListener>(callbacks, userContext);
    return *context.captureListener;
}

} // namespace

const char* ridgeGetSdkVersion(void) {
    return sdkVersion;
}

std::int32_t ridgeSetLogger(std::int32_t level, ridgeLogCallback callback, void* userContext) {
    if (callback == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    if (!isLogLevel(level)) {
        return RIDGE_INVALID_ARGUMENT;
    }
    try {
        removeLogger();
        installLogger(std::make_unique<UserLogger>(callback, userContext), level);
    } catch (...) {
        return RIDGE_UNEXPECTED_FAILURE;
    }
    return RIDGE_SUCCESS;
}

ridgeDeviceContext* ridgeCreateDeviceContext(void) {
    return new (std::nothrow) ridgeDeviceContext();
}

void ridgeFreeDeviceContext(ridgeDeviceContext* context) {
    delete context;
}

const char* ridgeGetLastErrorDescription(const ridgeDeviceContext* context) {
    return context == nullptr ? "" : context->lastError.c_str();
}

std::int32_t ridgeQueryDevices(ridgeDeviceList** list) {
    if (list == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    *list = makeDeviceList(enumerateDevices(isScanner)).release();
    return RIDGE_SUCCESS;
}

void ridgeFreeDevices(ridgeDeviceList* list) {
    const DeviceListOwner owner(list);
}

std::int32_t ridgeConnect(const ridgeDeviceEntry* device, ridgeDeviceContext* context) {
    if (context == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return withinBoundary(*context, [&]() -> std::int32_t {
        if (context->device) {
            return fail(*context, RIDGE_CONTEXT_IN_USE, "Context in use.");
        }
        if (device == nullptr) {
            return fail(*context, RIDGE_NULL_ARGUMENT, "'dev' cannot be NULL.");
        }
        const DeviceRecord* const record = deviceBehind(*device);
        if (record == nullptr) {
            return fail(*context, RIDGE_NULL_ARGUMENT, "Invalid state.");
        }
        return openSession(*context, record->devicePath);
    });
}

std::int32_t ridgeConnectCOM(const char* comPort, ridgeDeviceContext* context) {
    if (context == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return withinBoundary(*context, [&]() -> std::int32_t {
        if (context->device) {
            return fail(*context, RIDGE_CONTEXT_IN_USE, "Context in use.");
        }
        if (comPort == nullptr || *comPort == '\0') {
            return fail(*context, RIDGE_NULL_ARGUMENT, "'comPort' cannot be NULL or empty.");
        }
        return openSession(*context, comPort);
    });
}

std::uint8_t ridgeIsConnected(const ridgeDeviceContext* context) {
    return context != nullptr && context->device && context->device->isConnected() ? 1 : 0;
}

void ridgeDisconnect(ridgeDeviceContext* context) {
    if (context == nullptr) {
        return;
    }
    context->lastError.clear();
    if (context->device) {
        // A callback that still runs finds the session in its place.
        context->device->close();
        context->device.reset();
    }
}

std::int32_t ridgeGetInfo(ridgeDeviceContext* context, ridgeDeviceInfo* info) {
    if (context == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return withinBoundary(*context, [&]() -> std::int32_t {
        if (info == nullptr) {
            return fail(*context, RIDGE_NULL_ARGUMENT, "'info' cannot be NULL.");
        }
        const std::int32_t code = firstFailure([&] { return checkSerialPortError(*context); },
                                               [&] { return checkConnected(*context); });
        if (code != RIDGE_SUCCESS) {
            return code;
        }
        const DeviceInfo& cached = context->device->getDeviceInfo();
        info->text1 = cached.text1.c_str();
        info->text2 = cached.text2.c_str();
        info->text3 = cached.text3.c_str();
        info->text6 = cached.text6.c_str();
        info->text5 = cached.text5.c_str();
        info->text4 = cached.text4.c_str();
        info->text7 = cached.text7.c_str();
        info->value1 = cached.value1;
        info->value2 = cached.value2;
        info->features = (cached.flags >> firstFeatureBit) & featureMask;
        return RIDGE_SUCCESS;
    });
}

std::int32_t ridgeSettingsGet(ridgeDeviceContext* context, ridgeDeviceSettings* settings) {
    if (context == nullptr || settings == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return withinBoundary(*context, [&]() -> std::int32_t {
        const std::int32_t code = checkConnected(*context);
        if (code != RIDGE_SUCCESS) {
            return code;
        }
        const DeviceSettings& cached = context->device->getSettings();
        *settings = {};
        settings->rotation = cached.rotation;
        settings->option = (cached.flags & DeviceSettings::optionFlag) != 0 ? 1 : 0;
        return RIDGE_SUCCESS;
    });
}

std::int32_t ridgeSettingsSet(ridgeDeviceContext* context, const ridgeDeviceSettings* settings) {
    if (context == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return withinBoundary(*context, [&]() -> std::int32_t {
        const std::int32_t code = firstFailure([&] { return checkSettings(*context, settings); },
                                               [&] { return checkSessionIdle(*context); });
        if (code != RIDGE_SUCCESS) {
            return code;
        }
        context->device->setSettings(settings->rotation, settings->option != 0);
        return RIDGE_SUCCESS;
    });
}

std::int32_t ridgeStartCapture(ridgeDeviceContext* context,
                               const ridgeCaptureParameters* parameters, const std::uint8_t* block,
                               const ridgeCaptureCallbacks* callbacks, void* userContext) {
    if (context == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return withinBoundary(*context, [&]() -> std::int32_t {
        const std::int32_t code = checkCaptureStart(*context, parameters, callbacks);
        if (code != RIDGE_SUCCESS) {
            return code;
        }
        context->device->startCapture(parameters->fingerPosition, parameters->captureTimeout,
                                      parameters->captureOption, block,
                                      replaceCaptureListener(*context, *callbacks, userContext));
        return RIDGE_SUCCESS;
    });
}

std::int32_t ridgeStartHostAssistedCapture(ridgeDeviceContext* context,
                                           const ridgeCaptureParameters* parameters,
                                           const std::uint8_t* block,
                                           const ridgeCaptureCallbacks* callbacks,
                                           void* userContext) {
    if (context == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return withinBoundary(*context, [&]() -> std::int32_t {
        const std::int32_t code = checkCaptureStart(*context, parameters, callbacks);
        if (code != RIDGE_SUCCESS) {
            return code;
        }
        context->device->startHostAssistedCapture(
            parameters->fingerPosition, parameters->captureOption, block,
            replaceCaptureListener(*context, *callbacks, userContext));
        return RIDGE_SUCCESS;
    });
}

void ridgeHostAssistedCaptureSetResult(ridgeDeviceContext* context, std::uint8_t result) {
    if (context != nullptr && context->device) {
        context->device->setHostAssistedCaptureResult(result);
    }
}

std::int32_t ridgeStartStream(ridgeDeviceContext* context, const std::uint8_t* block,
                              const ridgeCaptureCallbacks* callbacks, void* userContext) {
    RIDGE_LOG(logInformation, "Start stream");
    if (context == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return withinBoundary(*context, [&]() -> std::int32_t {
        const std::int32_t code =
            firstFailure([&] { return checkCaptureCallbacks(*context, callbacks); },
                         [&] { return checkSessionIdle(*context); });
        if (code != RIDGE_SUCCESS) {
            return code;
        }
        context->device->startStream(block,
                                     replaceCaptureListener(*context, *callbacks, userContext));
        return RIDGE_SUCCESS;
    });
}

void ridgeStopCapture(ridgeDeviceContext* context) {
    if (context == nullptr) {
        return;
    }
    if (context->device) {
        context->device->stopCapture();
    }
    context->captureListener.reset();
    context->lastError.clear();
}

std::int32_t ridgeDeviceSecuritySetKey(ridgeDeviceContext* context, const std::uint8_t* key) {
    if (context == nullptr || key == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return runOnSession(*context, [&](RidgeDevice& device) {
        std::vector<std::uint8_t> copy(key, key + deviceKeySize);
        const WipedAtEnd wiped(copy);
        device.setKey(copy.data());
    });
}

std::int32_t ridgeDeviceSecurityClearKey(ridgeDeviceContext* context) {
    if (context == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return runOnSession(*context, [](RidgeDevice& device) { device.clearKey(); });
}

std::int32_t ridgeDeviceSecurityCertGet(ridgeDeviceContext* context, std::uint8_t** certificate,
                                        std::uint32_t* size) {
    if (context == nullptr || certificate == nullptr || size == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return runOnSession(*context, [&](RidgeDevice& device) {
        const std::vector<std::uint8_t> bytes = device.getCertificate();
        std::uint8_t* copy = nullptr;
        if (!bytes.empty()) {
            copy = new std::uint8_t[bytes.size()];
            std::copy(bytes.begin(), bytes.end(), copy);
        }
        *certificate = copy;
        *size = static_cast<std::uint32_t>(bytes.size());
    });
}

void ridgeDeviceSecurityCertFree(std::uint8_t* certificate) {
    delete[] certificate;
}

std::int32_t ridgeDeviceSecurityCertSet(ridgeDeviceContext* context,
                                        const std::uint8_t* certificate, std::uint32_t size) {
    if (context == nullptr || certificate == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return runOnSession(*context, [&](RidgeDevice& device) {
        device.setCertificate(certificate, static_cast<std::int32_t>(size));
    });
}

std::int32_t ridgeDeviceSecurityCertClear(ridgeDeviceContext* context) {
    if (context == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return runOnSession(*context, [](RidgeDevice& device) { device.clearCertificate(); });
}

std::int32_t ridgeDeviceSecurityCreateCsr(ridgeDeviceContext* context,
                                          const ridgeCsrSubjectName* subjectName,
                                          ridgeCsrCallback csrCallback,
                                          ridgeErrorCallback csrErrorCallback, void* userContext) {
    if (context == nullptr || subjectName == nullptr || csrCallback == nullptr ||
        csrErrorCallback == nullptr) {
        return RIDGE_NULL_ARGUMENT;
    }
    return withinBoundary(*context, [&]() -> std::int32_t {
        const CsrName name(*subjectName);
        context->csrListener =
            std::make_shared<DefaultCreateCsrListener>(csrCallback, csrErrorCallback, userContext);
        const std::int32_t code = checkSession(*context);
        if (code != RIDGE_SUCCESS) {
            return code;
        }
        context->device->createCsr(name, context->csrListener);
        return RIDGE_SUCCESS;
    });
}
