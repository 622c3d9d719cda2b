// A host that leaves without taking leave: departing-host PORT MOMENT WAY
//   MOMENT  connected, streaming, stopped (after some images), freed (the same) or disconnected
//           (and freed, without a stream)
//   WAY     return (from main), exit, exit-process or free-library
// It has ended well if its last line says how it left and its exit status is 0.

#include "ridge-sdk.h"

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

#include <windows.h>

namespace {

constexpr int imagesBefore = 2;

std::atomic<int> images{0};

void onError(std::int32_t, const char* message, void*) {
    std::cout << message << std::endl;
}

void onCapture(const ridgeCaptureResult*, void*) {
    ++images;
}

void awaitImages(int more) {
    const int enough = images + more;
    while (images < enough) {
        std::this_thread::yield();
    }
}

/// The library as a host finds it that was not linked with it.
class Library {
public:
    Library() : module(LoadLibraryA("ridge-sdk.dll")) {
        if (module == nullptr) {
            throw std::runtime_error("ridge-sdk.dll does not load");
        }
    }

    template <typename Function>
    [[nodiscard]] Function* function(const char* name) const {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    }

    void free() const { FreeLibrary(module); }
    static bool loaded() { return GetModuleHandleA("ridge-sdk.dll") != nullptr; }

private:
    HMODULE module;
};

#define RIDGE_FUNCTION(name) library.function<decltype(name)>(#name)

void bring(const Library& library, const std::string& port, const std::string& moment) {
    ridgeDeviceContext* const context = RIDGE_FUNCTION(ridgeCreateDeviceContext)();
    if (RIDGE_FUNCTION(ridgeConnectCOM)(port.c_str(), context) != RIDGE_SUCCESS) {
        throw std::runtime_error(RIDGE_FUNCTION(ridgeGetLastErrorDescription)(context));
    }
    if (moment != "connected" && moment != "disconnected") {
        const ridgeCaptureCallbacks callbacks{onError, onCapture, nullptr};
        if (RIDGE_FUNCTION(ridgeStartStream)(context, nullptr, &callbacks, nullptr) !=
            RIDGE_SUCCESS) {
            throw std::runtime_error(RIDGE_FUNCTION(ridgeGetLastErrorDescription)(context));
        }
        awaitImages(imagesBefore);
    }
    if (moment == "stopped") {
        RIDGE_FUNCTION(ridgeStopCapture)(context);
    } else if (moment == "freed" || moment == "disconnected") {
        RIDGE_FUNCTION(ridgeFreeDeviceContext)(context);
    }
}

int leave(const Library& library, const std::string& moment, const std::string& way) {
    if (way == "exit") {
        std::cout << "leaving by exit" << std::endl;
        std::exit(0);
    }
    if (way == "exit-process") {
        std::cout << "leaving by exit-process" << std::endl;
        ExitProcess(0);
    }
    if (way == "free-library") {
        library.free();
        if (moment == "streaming") {
            awaitImages(imagesBefore);
        }
        std::cout << "leaving, " << (Library::loaded() ? "loaded" : "unloaded") << std::endl;
        return 0;
    }
    std::cout << "leaving by return" << std::endl;
    return 0;
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 4) {
        std::cout << "departing-host PORT MOMENT WAY" << std::endl;
        return 2;
    }
    try {
        const Library library;
        bring(library, arguments[1], arguments[2]);
        return leave(library, arguments[2], arguments[3]);
    } catch (const std::exception& failure) {
        std::cout << failure.what() << std::endl;
        return 2;
    }
}
