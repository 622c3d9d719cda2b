#pragma once

#include "defaultcapturelistener.h"
#include "defaultcreatecsrlistener.h"
#include "ridge-sdk.h"
#include "ridgedevice.h"

#include <memory>
#include <string>

/// What the caller's handle stands for. It takes no lock: one caller's thread at a time.
struct ridgeDeviceContext {
    ridgeDeviceContext() = default;
    ridgeDeviceContext(const ridgeDeviceContext&) = delete;
    ridgeDeviceContext& operator=(const ridgeDeviceContext&) = delete;

    /// The session may use the listener until it has been disconnected.
    ~ridgeDeviceContext() {
        if (device) {
            device->close();
        }
    }

    std::unique_ptr<ridge::RidgeDevice> device;
    /// Carries the callbacks of the operation that was started last.
    std::unique_ptr<ridge::DefaultCaptureListener> captureListener;
    /// Carries the callbacks of the signing request that was asked for last. Shared with the worker
    /// that uses it.
    std::shared_ptr<ridge::DefaultCreateCsrListener> csrListener;
    std::string lastError;
};
