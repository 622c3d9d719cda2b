#include "driverservice.h"

#include "controldevice.h"
#include "programfolder.h"
#include "ridgevport_ioctl.h"
#include "scopedhandle.h"
#include "systemfailure.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>

#include <windows.h>

namespace ridge::simulator {

namespace {

constexpr const wchar_t* serviceName = L"RidgeVport";
constexpr std::chrono::seconds startLimit{60};
constexpr std::chrono::milliseconds pollInterval{20};

struct ServiceCloser {
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceCloser>;

// One process at a time looks whether the driver runs and starts it.
class StartLock {
public:
    StartLock() : mutex(CreateMutexW(nullptr, FALSE, L"RidgeVportDriverStart")) {
        if (!mutex) {
            throwSystemFailure("cannot create the driver start mutex");
        }
        // An abandoned mutex is as good: what it guards is looked at anew.
        if (WaitForSingleObject(mutex.get(), INFINITE) == WAIT_FAILED) {
            throwSystemFailure("cannot wait for the driver start mutex");
        }
    }
    ~StartLock() { ReleaseMutex(mutex.get()); }
    StartLock(const StartLock&) = delete;
    StartLock& operator=(const StartLock&) = delete;

private:
    ScopedHandle mutex;
};

ServiceHandle openOrCreateService(SC_HANDLE manager, const std::filesystem::path& driverFile) {
    // The native form: an image path is not looked up in the current process's drives.
    const std::wstring imagePath = L"\\??\\" + std::filesystem::absolute(driverFile).wstring();
    constexpr DWORD access =
        SERVICE_START | SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG | SERVICE_CHANGE_CONFIG;

    ServiceHandle service(CreateServiceW(
        manager, serviceName, serviceName, access, SERVICE_KERNEL_DRIVER, SERVICE_DEMAND_START,
        SERVICE_ERROR_NORMAL, imagePath.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    if (service) {
        return service;
    }
    if (GetLastError() != ERROR_SERVICE_EXISTS) {
        throwSystemFailure("cannot create the virtual port driver's service");
    }
    service.reset(OpenServiceW(manager, serviceName, access));
    if (!service) {
        throwSystemFailure("cannot open the virtual port driver's service");
    }
    // The file may have moved since the service was created.
    if (ChangeServiceConfigW(service.get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                             imagePath.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr) == 0) {
        throwSystemFailure("cannot update the virtual port driver's service");
    }
    return service;
}

void awaitRunning(SC_HANDLE service) {
    const auto deadline = std::chrono::steady_clock::now() + startLimit;
    SERVICE_STATUS status{};
    do {
        if (QueryServiceStatus(service, &status) == 0) {
            throwSystemFailure("cannot query the virtual port driver's service");
        }
        if (status.dwCurrentState == SERVICE_RUNNING) {
            return;
        }
        if (status.dwCurrentState == SERVICE_STOPPED) {
            throwSystemFailure("the virtual port driver has stopped", status.dwWin32ExitCode);
        }
        std::this_thread::sleep_for(pollInterval);
    } while (std::chrono::steady_clock::now() < deadline);
    throw std::runtime_error("the virtual port driver does not start");
}

// The manager may still be starting, as in a prefix that is just being used for the first time.
ServiceHandle openManager() {
    const auto deadline = std::chrono::steady_clock::now() + startLimit;
    while (true) {
        ServiceHandle manager(
            OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE));
        if (manager) {
            return manager;
        }
        if (GetLastError() != RPC_S_SERVER_UNAVAILABLE ||
            std::chrono::steady_clock::now() >= deadline) {
            throwSystemFailure("cannot open the service manager");
        }
        std::this_thread::sleep_for(pollInterval);
    }
}

// While the manager starts the system's own services it refuses to start others.
void requestStart(SC_HANDLE service, const std::filesystem::path& driverFile) {
    const auto deadline = std::chrono::steady_clock::now() + startLimit;
    while (StartServiceW(service, 0, nullptr) == 0) {
        const DWORD error = GetLastError();
        if (error == ERROR_SERVICE_ALREADY_RUNNING) {
            return;
        }
        if (error != ERROR_SERVICE_DATABASE_LOCKED ||
            std::chrono::steady_clock::now() >= deadline) {
            throwSystemFailure("cannot start the virtual port driver " + driverFile.string(),
                               error);
        }
        std::this_thread::sleep_for(pollInterval);
    }
}

void startService(const std::filesystem::path& driverFile) {
    if (!std::filesystem::exists(driverFile)) {
        throw std::runtime_error("there is no virtual port driver at " + driverFile.string());
    }
    const ServiceHandle manager = openManager();
    const ServiceHandle service = openOrCreateService(manager.get(), driverFile);
    requestStart(service.get(), driverFile);
    awaitRunning(service.get());
}

void checkVersion(const ControlDevice& device) {
    const auto version = device.request<std::uint32_t>(RIDGE_VPORT_GET_VERSION);
    if (version != RIDGE_VPORT_VERSION) {
        throw std::runtime_error("the running virtual port driver has interface version " +
                                 std::to_string(version) + ", this program needs " +
                                 std::to_string(RIDGE_VPORT_VERSION));
    }
}

} // namespace

std::filesystem::path driverFileBesideProgram() {
    return programFolder() / "ridgevport.sys";
}

void startDriver(const std::filesystem::path& driverFile) {
    const StartLock startLock;
    if (!ControlDevice::exists()) {
        startService(driverFile);
    }
    checkVersion(ControlDevice());
}

} // namespace ridge::simulator
