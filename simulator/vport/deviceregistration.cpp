#include "deviceregistration.h"

#include "portcontrol.h"
#include "systemfailure.h"

#include <optional>

#include <windows.h>

#include <setupapi.h>

namespace ridge::simulator {

namespace {

constexpr GUID portsClass{
    0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr GUID comPortInterface{
    0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};

// Tells our devices from others.
constexpr const char* virtualPortValue = "RidgeVirtualPort";

class DeviceSet {
public:
    explicit DeviceSet(HDEVINFO ownedHandle) : handle(ownedHandle) {
        if (handle == INVALID_HANDLE_VALUE) {
            throwSystemFailure("cannot open the device database");
        }
    }
    ~DeviceSet() { SetupDiDestroyDeviceInfoList(handle); }
    DeviceSet(const DeviceSet&) = delete;
    DeviceSet& operator=(const DeviceSet&) = delete;

    HDEVINFO get() const { return handle; }

private:
    HDEVINFO handle;
};

class DeviceKey {
public:
    explicit DeviceKey(HKEY ownedHandle) : handle(ownedHandle) {}
    ~DeviceKey() {
        if (valid()) {
            RegCloseKey(handle);
        }
    }
    DeviceKey(const DeviceKey&) = delete;
    DeviceKey& operator=(const DeviceKey&) = delete;

    HKEY get() const { return handle; }
    bool valid() const { return handle != INVALID_HANDLE_VALUE; }

private:
    HKEY handle;
};

SP_DEVINFO_DATA emptyDevice() {
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof(device);
    return device;
}

const BYTE* bytesOf(const std::string& text) {
    return reinterpret_cast<const BYTE*>(text.c_str());
}

DWORD sizeWithNul(const std::string& text) {
    return static_cast<DWORD>(text.size() + 1);
}

void setProperty(const DeviceSet& set, SP_DEVINFO_DATA& device, DWORD property,
                 const std::string& text) {
    if (SetupDiSetDeviceRegistryPropertyA(set.get(), &device, property, bytesOf(text),
                                          sizeWithNul(text)) == FALSE) {
        throwSystemFailure("cannot describe the device");
    }
}

void setValue(const DeviceSet& set, SP_DEVINFO_DATA& device, const char* name, DWORD type,
              const BYTE* bytes, DWORD size) {
    const DeviceKey key(SetupDiCreateDevRegKeyA(set.get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV,
                                                nullptr, nullptr));
    if (!key.valid()) {
        throwSystemFailure("cannot create the device's registry key");
    }
    const LSTATUS result = RegSetValueExA(key.get(), name, 0, type, bytes, size);
    if (result != ERROR_SUCCESS) {
        throwSystemFailure("cannot store the device's port", static_cast<DWORD>(result));
    }
}

void storeMark(const DeviceSet& set, SP_DEVINFO_DATA& device, std::uint32_t portNumber) {
    const DWORD number = portNumber;
    setValue(set, device, virtualPortValue, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
             sizeof(number));
}

void storePortName(const DeviceSet& set, SP_DEVINFO_DATA& device, std::uint32_t portNumber) {
    const std::string name = "COM" + std::to_string(portNumber);
    setValue(set, device, "PortName", REG_SZ, bytesOf(name), sizeWithNul(name));
}

std::optional<std::uint32_t> storedPort(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    const DeviceKey key(
        SetupDiOpenDevRegKey(set.get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ));
    DWORD type = REG_NONE;
    DWORD number = 0;
    DWORD size = sizeof(number);
    if (!key.valid() ||
        RegQueryValueExA(key.get(), virtualPortValue, nullptr, &type,
                         reinterpret_cast<BYTE*>(&number), &size) != ERROR_SUCCESS ||
        type != REG_DWORD) {
        return std::nullopt;
    }
    return number;
}

bool isForsaken(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    const std::optional<std::uint32_t> port = storedPort(set, device);
    return port && !PortControl(*port).state().has(PortFlag::present);
}

bool hasPortName(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    const DeviceKey key(
        SetupDiOpenDevRegKey(set.get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ));
    return key.valid() && RegQueryValueExA(key.get(), "PortName", nullptr, nullptr, nullptr,
                                           nullptr) == ERROR_SUCCESS;
}

// Wine leaves a key without a device, or a device without some or all of what belongs to it, when
// somebody looks at one just when it is removed.
bool isRemains(const DeviceSet& set, SP_DEVINFO_DATA& device, const ListedDevice& listed) {
    return !hasPortName(set, device) || isForsaken(set, device) ||
           storedPort(set, device) == listed.portNumber;
}

bool removeRemains(const ListedDevice& listed) {
    // A set of its own: a device stays in the one that it is opened in.
    const DeviceSet set(SetupDiCreateDeviceInfoList(&portsClass, nullptr));
    SP_DEVINFO_DATA device = emptyDevice();
    const bool isDevice = SetupDiOpenDeviceInfoA(set.get(), listed.instanceIdentifier.c_str(),
                                                 nullptr, 0, &device) != FALSE;
    if (isDevice && !isRemains(set, device, listed)) {
        return false;
    }
    const std::string key = R"(System\CurrentControlSet\Enum\)" + listed.instanceIdentifier;
    return RegDeleteTreeA(HKEY_LOCAL_MACHINE, key.c_str()) == ERROR_SUCCESS;
}

bool tryCreate(const DeviceSet& set, const ListedDevice& listed, SP_DEVINFO_DATA& device) {
    return SetupDiCreateDeviceInfoA(set.get(), listed.instanceIdentifier.c_str(), &portsClass,
                                    listed.description.c_str(), nullptr, 0, &device) != FALSE;
}

void create(const DeviceSet& set, const ListedDevice& listed, SP_DEVINFO_DATA& device) {
    if (!tryCreate(set, listed, device)) {
        const DWORD error = GetLastError();
        if (error != ERROR_DEVINST_ALREADY_EXISTS || !removeRemains(listed) ||
            !tryCreate(set, listed, device)) {
            throwSystemFailure("cannot list the device " + listed.instanceIdentifier, error);
        }
    }
    if (SetupDiRegisterDeviceInfo(set.get(), &device, 0, nullptr, nullptr, nullptr) == FALSE) {
        throwSystemFailure("cannot register the device");
    }
}

} // namespace

struct DeviceRegistration::Private {
    explicit Private(const ListedDevice& listed) { create(set, listed, device); }
    ~Private() { SetupDiRemoveDevice(set.get(), &device); }
    Private(const Private&) = delete;
    Private& operator=(const Private&) = delete;

    DeviceSet set{SetupDiCreateDeviceInfoList(&portsClass, nullptr)};
    SP_DEVINFO_DATA device = emptyDevice();
};

DeviceRegistration::DeviceRegistration(const ListedDevice& listed)
    : impl(std::make_unique<Private>(listed)) {
    // First: it marks the device as ours should this process be killed.
    storeMark(impl->set, impl->device, listed.portNumber);
    setProperty(impl->set, impl->device, SPDRP_MFG, listed.manufacturer);
    SP_DEVICE_INTERFACE_DATA portInterface{};
    portInterface.cbSize = sizeof(portInterface);
    if (SetupDiCreateDeviceInterfaceA(impl->set.get(), &impl->device, &comPortInterface, nullptr, 0,
                                      &portInterface) == FALSE) {
        throwSystemFailure("cannot register the COM-port interface");
    }
    // Last: without a port's name the device is not found half made.
    storePortName(impl->set, impl->device, listed.portNumber);
}

DeviceRegistration::~DeviceRegistration() = default;

void removeForsakenDevices() {
    const DeviceSet set(SetupDiGetClassDevsA(&portsClass, nullptr, nullptr, 0));
    SP_DEVINFO_DATA device = emptyDevice();
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set.get(), index, &device) != FALSE; ++index) {
        if (isForsaken(set, device)) {
            SetupDiRemoveDevice(set.get(), &device);
        }
    }
}

} // namespace ridge::simulator
