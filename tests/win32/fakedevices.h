#pragma once

#include <windows.h>

#include <cfgmgr32.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ridge::test {

/// The calls about devices that a test can make fail.
enum class DeviceCall {
    getClassDevs,
    enumDeviceInfo,
    openDevRegKey,
    queryValue,
    closeKey,
    getDeviceId,
    getDevNodeStatus,
    getParent,
    getProperty,
    destroyDeviceInfoList
};

/// Stands behind the imports of the setup interface, the configuration manager and the registry
/// while it lives: the devices of a machine, in memory, for one thread. Without one, nothing may
/// ask for devices.
///
/// A call that fails leaves its outputs as if it had not, so that a result nobody looks at shows.
class FakeDevices {
public:
    /// What the two searches find: the Ports class and the COM-port interface.
    enum class Set { ports, interfaces };

    /// A registry value or a property of a device. Each query finds the next of its contents; the
    /// last one stays.
    struct Value {
        DWORD type = REG_NONE;
        std::vector<std::string> contents;
        /// With one, the queries fail.
        DWORD error = ERROR_SUCCESS;
    };

    struct Device {
        DEVINST node = 0;
        std::map<std::string, Value> values;
        std::map<DWORD, Value> properties;
    };

    FakeDevices();
    ~FakeDevices();

    FakeDevices(const FakeDevices&) = delete;
    FakeDevices& operator=(const FakeDevices&) = delete;

    /// A node of the device tree; parent 0 is no node.
    void addNode(DEVINST node, std::string identifier, DEVINST parent = 0);
    void addDevice(Set set, Device device);

    /// Makes the call fail at this invocation. The error is what the call answers with, or the last
    /// error where it has no answer for it.
    void failOnce(DeviceCall call, DWORD error, int invocation = 1);
    /// The same for this invocation and all that follow.
    void failFrom(DeviceCall call, DWORD error, int invocation = 1);

    /// Throws std::bad_alloc out of this invocation, as if memory had run out next to it.
    void runOutOfMemory(DeviceCall call, int invocation);

    /// Every call with its arguments, in order. Sets appear as "ports" and "interfaces".
    [[nodiscard]] std::vector<std::string> calls() const;
    /// Those that failed because a test wanted it.
    [[nodiscard]] std::vector<std::string> failedCalls() const;

    [[nodiscard]] int openSets() const;
    [[nodiscard]] int openKeys() const;
    /// What no correct program does, such as closing a key twice.
    [[nodiscard]] std::vector<std::string> misuses() const;

    struct Model;

private:
    std::unique_ptr<Model> model;
};

} // namespace ridge::test
