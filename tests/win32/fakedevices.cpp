#include "fakedevices.h"

#include "printfformat.h"

#include <setupapi.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <limits>
#include <new>
#include <utility>

namespace ridge::test {
namespace {

/// Stands where nobody may look.
constexpr char rubbish = '?';

struct Node {
    std::string identifier;
    DEVINST parent;
};

struct DeviceSet {
    const char* name;
    const char* classId;
    std::deque<FakeDevices::Device> devices;
};

/// Its address is the handle; it is kept until the model goes, so that no handle is given twice.
template <typename Object>
struct Opened {
    Object* object;
    bool open;
};

template <typename Object>
int countOpen(const std::deque<Opened<Object>>& all) {
    return static_cast<int>(std::count_if(
        all.begin(), all.end(), [](const Opened<Object>& opened) { return opened.open; }));
}

struct PlannedFailure {
    DeviceCall call;
    DWORD error;
    int first;
    int last;
    bool throws;
};

} // namespace

struct FakeDevices::Model {
    /// Enters the call in the journal and returns the error that it is to fail with, if any.
    DWORD enter(DeviceCall call, std::string text);
    /// The same for a call that tells success and failure apart; leaves the last error behind.
    bool succeeds(DeviceCall call, std::string text);

    /// Null, and a misuse, if the handle is not an open one.
    template <typename Object>
    Opened<Object>* find(std::deque<Opened<Object>>& all, const void* handle, const char* function);
    DeviceSet* findSet(HDEVINFO handle, const char* function);
    Device* findDevice(DeviceSet* set, const SP_DEVINFO_DATA& data, const char* function);

    std::array<DeviceSet, 2> sets{{{"ports", "{4D36E978-E325-11CE-BFC1-08002BE10318}", {}},
                                   {"interfaces", "{86E0D1E0-8089-11D0-9CE4-08003E301F73}", {}}}};
    std::map<DEVINST, Node> nodes;
    std::deque<Opened<DeviceSet>> openedSets;
    std::deque<Opened<Device>> openedKeys;
    std::map<DeviceCall, int> invocations;
    std::vector<PlannedFailure> plan;
    std::vector<std::string> calls;
    std::vector<std::string> failedCalls;
    std::vector<std::string> misuses;
};

namespace {

constinit FakeDevices::Model* installed = nullptr;

} // namespace

DWORD FakeDevices::Model::enter(DeviceCall call, std::string text) {
    const int invocation = ++invocations[call];
    const auto planned = std::find_if(plan.begin(), plan.end(), [=](const PlannedFailure& failure) {
        return failure.call == call && failure.first <= invocation && invocation <= failure.last;
    });
    calls.push_back(text);
    if (planned == plan.end()) {
        return 0;
    }
    if (planned->throws) {
        throw std::bad_alloc();
    }
    failedCalls.push_back(std::move(text));
    return planned->error;
}

bool FakeDevices::Model::succeeds(DeviceCall call, std::string text) {
    const DWORD error = enter(call, std::move(text));
    SetLastError(error);
    return error == 0;
}

template <typename Object>
Opened<Object>* FakeDevices::Model::find(std::deque<Opened<Object>>& all, const void* handle,
                                         const char* function) {
    const auto found = std::find_if(all.begin(), all.end(), [=](const Opened<Object>& opened) {
        return &opened == handle && opened.open;
    });
    if (found == all.end()) {
        misuses.push_back(formatText("%s with a handle that is not open", function));
        return nullptr;
    }
    return &*found;
}

DeviceSet* FakeDevices::Model::findSet(HDEVINFO handle, const char* function) {
    const Opened<DeviceSet>* opened = find(openedSets, handle, function);
    return opened == nullptr ? nullptr : opened->object;
}

FakeDevices::Device* FakeDevices::Model::findDevice(DeviceSet* set, const SP_DEVINFO_DATA& data,
                                                    const char* function) {
    if (set == nullptr) {
        return nullptr;
    }
    const auto found =
        std::find_if(set->devices.begin(), set->devices.end(),
                     [&](const Device& device) { return device.node == data.DevInst; });
    if (found == set->devices.end()) {
        misuses.push_back(formatText("%s with a device that is not in the set", function));
        return nullptr;
    }
    return &*found;
}

namespace {

const char* orNull(const void* pointer) {
    return pointer == nullptr ? "null" : "given";
}

const char* nameOf(const DeviceSet* set) {
    return set == nullptr ? "unknown" : set->name;
}

std::string textOf(const GUID& id) {
    return formatText("{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", id.Data1, id.Data2,
                      id.Data3, id.Data4[0], id.Data4[1], id.Data4[2], id.Data4[3], id.Data4[4],
                      id.Data4[5], id.Data4[6], id.Data4[7]);
}

/// Answers a query for a value with its content if the buffer has room for it.
DWORD answer(FakeDevices::Value& value, DWORD tooSmall, DWORD* type, BYTE* buffer, DWORD capacity,
             DWORD* size) {
    std::vector<std::string>& contents = value.contents;
    const std::string& content = contents.front();
    const bool fits = content.size() <= capacity;
    *type = value.type;
    *size = static_cast<DWORD>(content.size());
    if (fits) {
        std::copy(content.begin(), content.end(), buffer);
    } else {
        std::fill_n(buffer, capacity, static_cast<BYTE>(rubbish));
    }
    if (contents.size() > 1) {
        contents.erase(contents.begin());
    }
    if (value.error != ERROR_SUCCESS) {
        return value.error;
    }
    return fits ? ERROR_SUCCESS : tooSmall;
}

HDEVINFO WINAPI fakeSetupDiGetClassDevsA(const GUID* classId, const char* enumerator, HWND window,
                                         DWORD flags) {
    const std::string id = textOf(*classId);
    if (!installed->succeeds(DeviceCall::getClassDevs,
                             formatText("SetupDiGetClassDevsA(%s, %s, %s, 0x%lx)", id.c_str(),
                                        orNull(enumerator), orNull(window), flags))) {
        return INVALID_HANDLE_VALUE;
    }
    const auto found = std::find_if(installed->sets.begin(), installed->sets.end(),
                                    [&](const DeviceSet& set) { return id == set.classId; });
    if (found == installed->sets.end()) {
        SetLastError(ERROR_INVALID_DATA);
        return INVALID_HANDLE_VALUE;
    }
    return &installed->openedSets.emplace_back(Opened<DeviceSet>{&*found, true});
}

BOOL WINAPI fakeSetupDiDestroyDeviceInfoList(HDEVINFO handle) {
    Opened<DeviceSet>* opened =
        installed->find(installed->openedSets, handle, "SetupDiDestroyDeviceInfoList");
    const bool succeeds =
        installed->succeeds(DeviceCall::destroyDeviceInfoList,
                            formatText("SetupDiDestroyDeviceInfoList(%s)",
                                       nameOf(opened == nullptr ? nullptr : opened->object)));
    if (opened == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    opened->open = false;
    return succeeds ? TRUE : FALSE;
}

BOOL WINAPI fakeSetupDiEnumDeviceInfo(HDEVINFO handle, DWORD index, SP_DEVINFO_DATA* data) {
    const DeviceSet* set = installed->findSet(handle, "SetupDiEnumDeviceInfo");
    const bool succeeds = installed->succeeds(
        DeviceCall::enumDeviceInfo,
        formatText("SetupDiEnumDeviceInfo(%s, %lu, size %lu)", nameOf(set), index, data->cbSize));
    if (set == nullptr || index >= set->devices.size()) {
        SetLastError(set == nullptr ? ERROR_INVALID_HANDLE : ERROR_NO_MORE_ITEMS);
        return FALSE;
    }
    data->DevInst = set->devices[index].node;
    return succeeds ? TRUE : FALSE;
}

HKEY WINAPI fakeSetupDiOpenDevRegKey(HDEVINFO handle, SP_DEVINFO_DATA* data, DWORD scope,
                                     DWORD profile, DWORD keyType, REGSAM access) {
    DeviceSet* set = installed->findSet(handle, "SetupDiOpenDevRegKey");
    FakeDevices::Device* device = installed->findDevice(set, *data, "SetupDiOpenDevRegKey");
    const bool succeeds = installed->succeeds(
        DeviceCall::openDevRegKey,
        formatText("SetupDiOpenDevRegKey(%s, node %lu, scope %lu, profile %lu, type %lu, 0x%lx)",
                   nameOf(set), data->DevInst, scope, profile, keyType, access));
    if (!succeeds || device == nullptr) {
        return static_cast<HKEY>(INVALID_HANDLE_VALUE);
    }
    auto& opened = installed->openedKeys.emplace_back(Opened<FakeDevices::Device>{device, true});
    return reinterpret_cast<HKEY>(&opened);
}

LSTATUS WINAPI fakeRegCloseKey(HKEY key) {
    auto* opened = installed->find(installed->openedKeys, key, "RegCloseKey");
    const DEVINST node = opened == nullptr ? 0 : opened->object->node;
    const DWORD error =
        installed->enter(DeviceCall::closeKey, formatText("RegCloseKey(key of node %lu)", node));
    if (opened == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    opened->open = false;
    return static_cast<LSTATUS>(error);
}

LSTATUS WINAPI fakeRegQueryValueExA(HKEY key, const char* name, DWORD* reserved, DWORD* type,
                                    BYTE* buffer, DWORD* size) {
    const auto* opened = installed->find(installed->openedKeys, key, "RegQueryValueExA");
    const DEVINST node = opened == nullptr ? 0 : opened->object->node;
    const DWORD error = installed->enter(
        DeviceCall::queryValue, formatText("RegQueryValueExA(key of node %lu, %s, %s, %lu)", node,
                                           name, orNull(reserved), *size));
    if (opened == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    const auto value = opened->object->values.find(name);
    if (value == opened->object->values.end()) {
        return ERROR_FILE_NOT_FOUND;
    }
    const DWORD result = answer(value->second, ERROR_MORE_DATA, type, buffer, *size, size);
    return static_cast<LSTATUS>(error == ERROR_SUCCESS ? result : error);
}

BOOL WINAPI fakeSetupDiGetDeviceRegistryPropertyA(HDEVINFO handle, SP_DEVINFO_DATA* data,
                                                  DWORD property, DWORD* type, BYTE* buffer,
                                                  DWORD capacity, DWORD* required) {
    const char* const function = "SetupDiGetDeviceRegistryPropertyA";
    DeviceSet* set = installed->findSet(handle, function);
    FakeDevices::Device* device = installed->findDevice(set, *data, function);
    const DWORD error = installed->enter(
        DeviceCall::getProperty, formatText("%s(%s, node %lu, %lu, %lu)", function, nameOf(set),
                                            data->DevInst, property, capacity));
    if (device == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    const auto value = device->properties.find(property);
    if (value == device->properties.end()) {
        SetLastError(ERROR_INVALID_DATA);
        return FALSE;
    }
    const DWORD result =
        answer(value->second, ERROR_INSUFFICIENT_BUFFER, type, buffer, capacity, required);
    SetLastError(error == ERROR_SUCCESS ? result : error);
    return GetLastError() == ERROR_SUCCESS ? TRUE : FALSE;
}

CONFIGRET WINAPI fakeGetDeviceIdA(DEVINST node, char* buffer, ULONG capacity, ULONG flags) {
    const DWORD error = installed->enter(
        DeviceCall::getDeviceId,
        formatText("CM_Get_Device_IDA(node %lu, %lu, %lu)", node, capacity, flags));
    const auto found = installed->nodes.find(node);
    if (found == installed->nodes.end()) {
        return CR_NO_SUCH_DEVNODE;
    }
    const std::string& identifier = found->second.identifier;
    const std::size_t length = std::min<std::size_t>(identifier.size(), capacity);
    std::fill_n(buffer, capacity, rubbish);
    std::copy_n(identifier.begin(), length, buffer);
    if (length < capacity) {
        buffer[length] = '\0';
    }
    return error;
}

CONFIGRET WINAPI fakeGetDevNodeStatus(ULONG* status, ULONG* problem, DEVINST node, ULONG flags) {
    const DWORD error =
        installed->enter(DeviceCall::getDevNodeStatus,
                         formatText("CM_Get_DevNode_Status(node %lu, %lu)", node, flags));
    *status = DN_STARTED;
    *problem = 0;
    return installed->nodes.contains(node) ? error : CR_NO_SUCH_DEVNODE;
}

CONFIGRET WINAPI fakeGetParent(DEVINST* parent, DEVINST node, ULONG flags) {
    const DWORD error = installed->enter(DeviceCall::getParent,
                                         formatText("CM_Get_Parent(node %lu, %lu)", node, flags));
    const auto found = installed->nodes.find(node);
    if (found == installed->nodes.end()) {
        return CR_NO_SUCH_DEVNODE;
    }
    *parent = found->second.parent;
    return error;
}

} // namespace

FakeDevices::FakeDevices() : model(std::make_unique<Model>()) {
    installed = model.get();
}

FakeDevices::~FakeDevices() {
    installed = nullptr;
}

void FakeDevices::addNode(DEVINST node, std::string identifier, DEVINST parent) {
    model->nodes[node] = {std::move(identifier), parent};
}

void FakeDevices::addDevice(Set set, Device device) {
    model->sets[static_cast<std::size_t>(set)].devices.push_back(std::move(device));
}

void FakeDevices::failOnce(DeviceCall call, DWORD error, int invocation) {
    model->plan.push_back({call, error, invocation, invocation, false});
}

void FakeDevices::failFrom(DeviceCall call, DWORD error, int invocation) {
    model->plan.push_back({call, error, invocation, std::numeric_limits<int>::max(), false});
}

void FakeDevices::runOutOfMemory(DeviceCall call, int invocation) {
    model->plan.push_back({call, 0, invocation, invocation, true});
}

std::vector<std::string> FakeDevices::calls() const {
    return model->calls;
}

std::vector<std::string> FakeDevices::failedCalls() const {
    return model->failedCalls;
}

int FakeDevices::openSets() const {
    return countOpen(model->openedSets);
}

int FakeDevices::openKeys() const {
    return countOpen(model->openedKeys);
}

std::vector<std::string> FakeDevices::misuses() const {
    return model->misuses;
}

} // namespace ridge::test

// As in the other stand-in: every call goes through these pointers.
extern "C" {
decltype(&ridge::test::fakeSetupDiGetClassDevsA) __imp_SetupDiGetClassDevsA =
    &ridge::test::fakeSetupDiGetClassDevsA;
decltype(&ridge::test::fakeSetupDiDestroyDeviceInfoList) __imp_SetupDiDestroyDeviceInfoList =
    &ridge::test::fakeSetupDiDestroyDeviceInfoList;
decltype(&ridge::test::fakeSetupDiEnumDeviceInfo) __imp_SetupDiEnumDeviceInfo =
    &ridge::test::fakeSetupDiEnumDeviceInfo;
decltype(&ridge::test::fakeSetupDiOpenDevRegKey) __imp_SetupDiOpenDevRegKey =
    &ridge::test::fakeSetupDiOpenDevRegKey;
decltype(&ridge::test::fakeSetupDiGetDeviceRegistryPropertyA)
    __imp_SetupDiGetDeviceRegistryPropertyA = &ridge::test::fakeSetupDiGetDeviceRegistryPropertyA;
decltype(&ridge::test::fakeRegQueryValueExA) __imp_RegQueryValueExA =
    &ridge::test::fakeRegQueryValueExA;
decltype(&ridge::test::fakeRegCloseKey) __imp_RegCloseKey = &ridge::test::fakeRegCloseKey;
decltype(&ridge::test::fakeGetDeviceIdA) __imp_CM_Get_Device_IDA = &ridge::test::fakeGetDeviceIdA;
decltype(&ridge::test::fakeGetDevNodeStatus) __imp_CM_Get_DevNode_Status =
    &ridge::test::fakeGetDevNodeStatus;
decltype(&ridge::test::fakeGetParent) __imp_CM_Get_Parent = &ridge::test::fakeGetParent;
}
