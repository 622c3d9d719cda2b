#include "deviceenumeration.h"

#include "deviceidentifier.h"
#include "printfformat.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace ridge {
namespace {

/// The buffer that most texts fit into; it grows for the others.
constexpr std::size_t usualTextSize = 260;

using Buffer = std::vector<char>;

/// Texts need not end with a NUL.
std::string textIn(std::span<const char> bytes) {
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0')};
}

class DeviceSet {
public:
    DeviceSet(const GUID& classId, DWORD flags)
        : handle(SetupDiGetClassDevsA(&classId, nullptr, nullptr, flags)) {}
    ~DeviceSet() {
        if (valid()) {
            SetupDiDestroyDeviceInfoList(handle);
        }
    }

    DeviceSet(const DeviceSet&) = delete;
    DeviceSet& operator=(const DeviceSet&) = delete;

    [[nodiscard]] HDEVINFO get() const { return handle; }
    [[nodiscard]] bool valid() const { return handle != INVALID_HANDLE_VALUE; }

private:
    HDEVINFO handle;
};

/// The key in which a device's driver keeps what belongs to the device.
class DeviceKey {
public:
    DeviceKey(const DeviceSet& set, SP_DEVINFO_DATA& device)
        : handle(
              SetupDiOpenDevRegKey(set.get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ)) {}
    ~DeviceKey() {
        if (valid()) {
            RegCloseKey(handle);
        }
    }

    DeviceKey(const DeviceKey&) = delete;
    DeviceKey& operator=(const DeviceKey&) = delete;

    [[nodiscard]] HKEY get() const { return handle; }
    [[nodiscard]] bool valid() const { return handle != INVALID_HANDLE_VALUE; }

private:
    HKEY handle;
};

/// Empty when the value is missing, or neither a text nor a number.
std::string portNameIn(const DeviceKey& key, const char* valueName) {
    Buffer buffer(usualTextSize);
    DWORD type = REG_NONE;
    auto size = static_cast<DWORD>(buffer.size());
    const auto query = [&] {
        return RegQueryValueExA(key.get(), valueName, nullptr, &type,
                                reinterpret_cast<BYTE*>(buffer.data()), &size);
    };
    LSTATUS result = query();
    while (result == ERROR_MORE_DATA) {
        buffer.resize(std::size_t{size} + 1);
        size = static_cast<DWORD>(buffer.size());
        result = query();
    }
    if (result != ERROR_SUCCESS) {
        return {};
    }
    if (type == REG_SZ) {
        return textIn(std::span(buffer).first(size));
    }
    std::int32_t number = 0;
    if (type == REG_DWORD && size == sizeof(number)) {
        std::memcpy(&number, buffer.data(), sizeof(number));
        return formatText("COM%d", number);
    }
    return {};
}

std::string portNameOf(const DeviceSet& set, SP_DEVINFO_DATA& device) {
    const DeviceKey key(set, device);
    if (!key.valid()) {
        return {};
    }
    for (const char* valueName : {"PortName", "PortNumber"}) {
        std::string name = portNameIn(key, valueName);
        if (!name.empty()) {
            return name;
        }
    }
    return {};
}

std::string instanceIdentifier(DEVINST node) {
    std::array<char, MAX_DEVICE_ID_LEN> identifier{};
    if (CM_Get_Device_IDA(node, identifier.data(), static_cast<ULONG>(identifier.size()), 0) !=
        CR_SUCCESS) {
        return {};
    }
    return textIn(identifier);
}

std::optional<DEVINST> parentOf(DEVINST node) {
    ULONG nodeStatus = 0;
    ULONG problem = 0;
    DEVINST parent = 0;
    if (CM_Get_DevNode_Status(&nodeStatus, &problem, node, 0) != CR_SUCCESS ||
        CM_Get_Parent(&parent, node, 0) != CR_SUCCESS || parent == 0) {
        return std::nullopt;
    }
    return parent;
}

/// An interface of a composite device has a generated name; the serial number is the parent's.
std::string findSerialNumber(std::string identifier, DEVINST node) {
    std::string serialNumber = serialNumberIn(identifier);
    while (serialNumber.empty()) {
        const std::optional<DEVINST> parent = parentOf(node);
        if (!parent) {
            break;
        }
        identifier = instanceIdentifier(*parent);
        if (identifier.empty()) {
            break;
        }
        serialNumber = serialNumberIn(identifier);
        node = *parent;
    }
    return serialNumber;
}

std::string propertyText(const DeviceSet& set, SP_DEVINFO_DATA& device, DWORD property) {
    Buffer buffer(usualTextSize);
    while (true) {
        DWORD type = REG_NONE;
        DWORD required = 0;
        if (SetupDiGetDeviceRegistryPropertyA(
                set.get(), &device, property, &type, reinterpret_cast<BYTE*>(buffer.data()),
                static_cast<DWORD>(buffer.size()), &required) != FALSE) {
            return textIn(buffer);
        }
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER ||
            (type != REG_SZ && type != REG_EXPAND_SZ)) {
            return {};
        }
        buffer.assign(std::size_t{required} + 1, '\0');
    }
}

std::string devicePathOf(const std::string& portName) {
    return portName.starts_with("COM") ? R"(\\.\)" + portName : portName;
}

bool isPrinterPort(std::string_view portName) {
    return portName.find("LPT") != std::string_view::npos;
}

bool contains(const std::vector<DeviceRecord>& records, const std::string& portName) {
    return std::any_of(records.begin(), records.end(),
                       [&](const DeviceRecord& record) { return record.portName == portName; });
}

std::optional<std::uint16_t> firstNumber(std::string_view identifier, std::string_view usbPrefix,
                                         std::string_view pciPrefix) {
    const std::optional<std::uint16_t> number = hexadecimalAfter(identifier, usbPrefix);
    return number ? number : hexadecimalAfter(identifier, pciPrefix);
}

void addDevice(const DeviceSet& set, SP_DEVINFO_DATA& device, DeviceFilter wanted,
               std::vector<DeviceRecord>& records) {
    DeviceRecord record;
    record.portName = portNameOf(set, device);
    if (record.portName.empty() || isPrinterPort(record.portName) ||
        contains(records, record.portName)) {
        return;
    }
    const std::string identifier = instanceIdentifier(device.DevInst);
    const std::optional<std::uint16_t> vendorId = firstNumber(identifier, "VID_", "VEN_");
    const std::optional<std::uint16_t> productId = firstNumber(identifier, "PID_", "DEV_");
    if (!vendorId || !productId || !wanted(*vendorId, *productId)) {
        return;
    }
    record.serialNumber = findSerialNumber(identifier, device.DevInst);
    record.description = propertyText(set, device, SPDRP_DEVICEDESC);
    record.manufacturer = propertyText(set, device, SPDRP_MFG);
    record.devicePath = devicePathOf(record.portName);
    record.vendorId = *vendorId;
    record.productId = *productId;
    records.push_back(std::move(record));
}

struct SearchPass {
    GUID classId;
    DWORD flags;
};

/// Drivers register a port under its device class, as a COM-port interface, or as both.
constexpr std::array searchTable{
    SearchPass{{0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}},
               DIGCF_PRESENT},
    SearchPass{{0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}},
               DIGCF_PRESENT | DIGCF_DEVICEINTERFACE}};

} // namespace

std::vector<DeviceRecord> enumerateDevices(DeviceFilter wanted) {
    std::vector<DeviceRecord> records;
    for (const SearchPass& pass : searchTable) {
        const DeviceSet set(pass.classId, pass.flags);
        if (!set.valid()) {
            continue;
        }
        SP_DEVINFO_DATA device{};
        device.cbSize = sizeof(device);
        for (DWORD index = 0; SetupDiEnumDeviceInfo(set.get(), index, &device) != FALSE; ++index) {
            addDevice(set, device, wanted, records);
        }
    }
    return records;
}

} // namespace ridge
