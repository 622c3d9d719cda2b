// A host that leaves without taking leave: departing-host PORT MOMENT WAY
//   MOMENT  connected, capturing, judging (a host-assisted capture's image), streaming, requesting
//           (a signature), stopped (after some images of a stream), freed (the same) or
//           disconnected (and freed, without having started anything)
//   WAY     return (from main), exit, exit-process, free-library, or destructor (return, and free
//           the context in a static object's destructor)
// It has ended well if its last line says how it left and its exit status is 0.

#include "ridge-sdk.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

#include <windows.h>

namespace {

constexpr int imagesBefore = 2;

std::atomic<int> images{0};
std::atomic<bool> failed{false};

void onError(std::int32_t, const char* message, void*) {
    std::cout << message << std::endl;
    failed = true;
}

void onCapture(const ridgeCaptureResult*, void*) {
    ++images;
}

void onCsr(const std::uint8_t*, std::uint32_t, void*) {}

void awaitImages(int more) {
    const int enough = images + more;
    while (images < enough) {
        if (failed) {
            throw std::runtime_error("no more images come");
        }
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

void require(const Library& library, ridgeDeviceContext* context, std::int32_t status) {
    if (status != RIDGE_SUCCESS) {
        throw std::runtime_error(RIDGE_FUNCTION(ridgeGetLastErrorDescription)(context));
    }
}

void start(const Library& library, ridgeDeviceContext* context, const std::string& moment) {
    constexpr ridgeCaptureParameters anyFinger{0, 10000, 1};
    const ridgeCaptureCallbacks callbacks{onError, onCapture, nullptr};
    if (moment == "capturing") {
        require(
            library, context,
            RIDGE_FUNCTION(ridgeStartCapture)(context, &anyFinger, nullptr, &callbacks, nullptr));
    } else if (moment == "judging") {
        require(library, context,
                RIDGE_FUNCTION(ridgeStartHostAssistedCapture)(context, &anyFinger, nullptr,
                                                              &callbacks, nullptr));
        awaitImages(1);
    } else if (moment == "requesting") {
        const ridgeCsrSubjectName subject{"Ann", nullptr, nullptr, nullptr, nullptr, nullptr};
        require(library, context,
                RIDGE_FUNCTION(ridgeDeviceSecurityCreateCsr)(context, &subject, onCsr, onError,
                                                             nullptr));
    } else {
        require(library, context,
                RIDGE_FUNCTION(ridgeStartStream)(context, nullptr, &callbacks, nullptr));
        awaitImages(imagesBefore);
    }
}

/// Null when the moment is one without a context.
ridgeDeviceContext* bring(const Library& library, const std::string& port,
                          const std::string& moment) {
    ridgeDeviceContext* const context = RIDGE_FUNCTION(ridgeCreateDeviceContext)();
    require(library, context, RIDGE_FUNCTION(ridgeConnectCOM)(port.c_str(), context));
    if (moment != "connected" && moment != "disconnected") {
        start(library, context, moment);
    }
    if (moment == "stopped") {
        RIDGE_FUNCTION(ridgeStopCapture)(context);
    } else if (moment == "freed" || moment == "disconnected") {
        RIDGE_FUNCTION(ridgeFreeDeviceContext)(context);
        return nullptr;
    }
    return context;
}

/// Frees a context after the end of main.
class LateRelease {
public:
    ~LateRelease() {
        if (context != nullptr) {
            freeContext(context);
            std::cout << "released" << std::endl;
        }
    }

    void prepare(const Library& library, ridgeDeviceContext* contextToFree) {
        freeContext = RIDGE_FUNCTION(ridgeFreeDeviceContext);
        context = contextToFree;
    }

private:
    decltype(&ridgeFreeDeviceContext) freeContext = nullptr;
    ridgeDeviceContext* context = nullptr;
};

LateRelease lateRelease;

int leave(const Library& library, ridgeDeviceContext* context, const std::string& moment,
          const std::string& way) {
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
    if (way == "destructor") {
        lateRelease.prepare(library, context);
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
        ridgeDeviceContext* const context = bring(library, arguments[1], arguments[2]);
        return leave(library, context, arguments[2], arguments[3]);
    } catch (const std::exception& failure) {
        std::cout << failure.what() << std::endl;
        return 2;
    }
}
