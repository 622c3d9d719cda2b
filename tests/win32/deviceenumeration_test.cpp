#include "deviceenumeration.h"

#include "fakedevices.h"
#include "logrecorder.h"
#include "printfformat.h"

#include <windows.h>

#include <cfgmgr32.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace ridge::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Set = FakeDevices::Set;
using Value = FakeDevices::Value;

constexpr DWORD descriptionProperty = 0;
constexpr DWORD manufacturerProperty = 11;
/// Where a value of more bytes needs a second query.
constexpr std::size_t firstBuffer = 260;

/// The numbers that a filter was asked about.
using Identifiers = std::pair<std::uint16_t, std::uint16_t>;
std::vector<Identifiers> asked;

bool acceptAll(std::uint16_t vendorId, std::uint16_t productId) {
    asked.emplace_back(vendorId, productId);
    return true;
}

bool refuseAll(std::uint16_t vendorId, std::uint16_t productId) {
    asked.emplace_back(vendorId, productId);
    return false;
}

bool acceptProduct2(std::uint16_t /*vendorId*/, std::uint16_t productId) {
    return productId == 2;
}

bool runOutOfMemoryAtProduct2(std::uint16_t /*vendorId*/, std::uint16_t productId) {
    if (productId == 2) {
        throw std::bad_alloc();
    }
    return true;
}

/// A text without a NUL at its end.
Value bareText(std::string text) {
    return {REG_SZ, {std::move(text)}};
}

Value text(const std::string& text) {
    return bareText(text + '\0');
}

Value number(std::uint32_t number) {
    std::string bytes(sizeof(number), '\0');
    std::memcpy(bytes.data(), &number, sizeof(number));
    return {REG_DWORD, {bytes}};
}

/// A text that goes on growing while it is read.
Value growingText(DWORD type, const std::vector<std::size_t>& sizes) {
    Value value{type, {}};
    for (const std::size_t size : sizes) {
        value.contents.emplace_back(size, 'x');
    }
    return value;
}

Value failing(Value value, DWORD error) {
    value.error = error;
    return value;
}

std::string textOf(const DeviceRecord& record) {
    return formatText("%s, %s, %s, %s, %s, %04x:%04x", record.portName.c_str(),
                      record.serialNumber.c_str(), record.description.c_str(),
                      record.manufacturer.c_str(), record.devicePath.c_str(),
                      unsigned{record.vendorId}, unsigned{record.productId});
}

std::vector<std::string> textsOf(const std::vector<DeviceRecord>& records) {
    std::vector<std::string> texts;
    for (const DeviceRecord& record : records) {
        texts.push_back(textOf(record));
    }
    return texts;
}

std::vector<std::string> portNamesOf(const std::vector<DeviceRecord>& records) {
    std::vector<std::string> names;
    for (const DeviceRecord& record : records) {
        names.push_back(record.portName);
    }
    return names;
}

/// However a test ends, nothing may be left open.
class DeviceEnumeration : public testing::Test {
protected:
    static constexpr const char* usualIdentifier = R"(USB\VID_1209&PID_0001\A1B2C3)";
    static constexpr const char* compositeInterface =
        R"(USB\VID_1209&PID_0001&MI_00\6&2AB3&0&0000)";

    DeviceEnumeration() { asked.clear(); }

    ~DeviceEnumeration() override {
        EXPECT_EQ(system.openSets(), 0);
        EXPECT_EQ(system.openKeys(), 0);
        EXPECT_THAT(system.misuses(), IsEmpty());
    }

    void attach(DEVINST node, const std::string& portName,
                const std::string& identifier = usualIdentifier, Set set = Set::ports) {
        system.addNode(node, identifier);
        system.addDevice(set, {node, {{"PortName", text(portName)}}, {}});
    }

    /// The port name of a device with these registry values; empty if it is not listed.
    std::string portNameOf(std::map<std::string, Value> values) {
        system.addNode(1, usualIdentifier);
        system.addDevice(Set::ports, {1, std::move(values), {}});
        const std::vector<DeviceRecord> records = enumerateDevices(acceptAll);
        return records.empty() ? std::string() : records.at(0).portName;
    }

    std::string descriptionOf(Value property) {
        system.addNode(1, usualIdentifier);
        system.addDevice(
            Set::ports,
            {1, {{"PortName", text("COM3")}}, {{descriptionProperty, std::move(property)}}});
        return enumerateDevices(acceptAll).at(0).description;
    }

    DeviceRecord recordOf(const std::string& identifier) {
        attach(1, "COM3", identifier);
        return enumerateDevices(acceptAll).at(0);
    }

    /// The numbers that the filter is asked about for a device with this identifier.
    std::vector<Identifiers> askedFor(const std::string& identifier) {
        attach(1, "COM3", identifier);
        const std::vector<DeviceRecord> records = enumerateDevices(acceptAll);
        EXPECT_EQ(records.size(), asked.size());
        return asked;
    }

    /// Of node 1, whose ancestors are nodes 2, 3 and so on.
    std::string serialNumberOf(const std::vector<std::string>& identifiers) {
        DEVINST node = 0;
        for (const std::string& identifier : identifiers) {
            ++node;
            system.addNode(node, identifier, node < identifiers.size() ? node + 1 : 0);
        }
        system.addDevice(Set::ports, {1, {{"PortName", text("COM3")}}, {}});
        return enumerateDevices(acceptAll).at(0).serialNumber;
    }

    /// Those that begin like this.
    [[nodiscard]] std::vector<std::string> calls(std::string_view beginning = "") const {
        std::vector<std::string> found = system.calls();
        std::erase_if(found, [=](const std::string& call) { return !call.starts_with(beginning); });
        return found;
    }

    FakeDevices system;
};

TEST_F(DeviceEnumeration, OneDevice_IsFoundWithTheseCalls) {
    attach(7, "COM3");
    EXPECT_EQ(enumerateDevices(acceptAll).size(), 1U);
    EXPECT_THAT(
        calls(),
        ElementsAre(
            "SetupDiGetClassDevsA({4D36E978-E325-11CE-BFC1-08002BE10318}, null, null, 0x2)",
            "SetupDiEnumDeviceInfo(ports, 0, size 32)",
            "SetupDiOpenDevRegKey(ports, node 7, scope 1, profile 0, type 1, 0x20019)",
            "RegQueryValueExA(key of node 7, PortName, null, 260)", "RegCloseKey(key of node 7)",
            "CM_Get_Device_IDA(node 7, 200, 0)",
            "SetupDiGetDeviceRegistryPropertyA(ports, node 7, 0, 260)",
            "SetupDiGetDeviceRegistryPropertyA(ports, node 7, 11, 260)",
            "SetupDiEnumDeviceInfo(ports, 1, size 32)", "SetupDiDestroyDeviceInfoList(ports)",
            "SetupDiGetClassDevsA({86E0D1E0-8089-11D0-9CE4-08003E301F73}, null, null, 0x12)",
            "SetupDiEnumDeviceInfo(interfaces, 0, size 32)",
            "SetupDiDestroyDeviceInfoList(interfaces)"));
}

TEST_F(DeviceEnumeration, Record_HoldsAllThatWasFound) {
    system.addNode(1, usualIdentifier);
    system.addDevice(Set::ports, {1,
                                  {{"PortName", text("COM3")}},
                                  {{descriptionProperty, text("Scanner")},
                                   {manufacturerProperty, text("Ridge")}}});
    EXPECT_THAT(textsOf(enumerateDevices(acceptAll)),
                ElementsAre(R"(COM3, A1B2C3, Scanner, Ridge, \\.\COM3, 1209:0001)"));
}

TEST_F(DeviceEnumeration, NoDevice_GivesNothing) {
    EXPECT_THAT(enumerateDevices(acceptAll), IsEmpty());
}

TEST_F(DeviceEnumeration, Devices_ComeInTheOrderOfThePassesAndOfTheirSets) {
    attach(1, "COM6", usualIdentifier, Set::interfaces);
    attach(2, "COM1", usualIdentifier, Set::interfaces);
    attach(3, "COM9");
    attach(4, "COM10");
    attach(5, "COM2");
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)),
                ElementsAre("COM9", "COM10", "COM2", "COM6", "COM1"));
}

TEST_F(DeviceEnumeration, EachCall_AsksTheSystemAgain) {
    attach(1, "COM3");
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)), ElementsAre("COM3"));
    attach(2, "COM4");
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)), ElementsAre("COM3", "COM4"));
}

TEST_F(DeviceEnumeration, InvalidFirstSet_LeavesTheSecond) {
    attach(1, "COM3");
    attach(2, "COM4", usualIdentifier, Set::interfaces);
    system.failOnce(DeviceCall::getClassDevs, ERROR_INVALID_DATA);
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)), ElementsAre("COM4"));
    EXPECT_THAT(calls("SetupDiEnum"), ElementsAre("SetupDiEnumDeviceInfo(interfaces, 0, size 32)",
                                                  "SetupDiEnumDeviceInfo(interfaces, 1, size 32)"));
    EXPECT_THAT(calls("SetupDiDestroy"), ElementsAre("SetupDiDestroyDeviceInfoList(interfaces)"));
}

TEST_F(DeviceEnumeration, InvalidSecondSet_LeavesTheFirst) {
    attach(1, "COM3");
    attach(2, "COM4", usualIdentifier, Set::interfaces);
    system.failOnce(DeviceCall::getClassDevs, ERROR_INVALID_DATA, 2);
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)), ElementsAre("COM3"));
    EXPECT_THAT(calls("SetupDiDestroy"), ElementsAre("SetupDiDestroyDeviceInfoList(ports)"));
}

TEST_F(DeviceEnumeration, InvalidSets_GiveNothingAndAreNotDestroyed) {
    attach(1, "COM3");
    system.failFrom(DeviceCall::getClassDevs, ERROR_INVALID_DATA);
    EXPECT_THAT(enumerateDevices(acceptAll), IsEmpty());
    EXPECT_EQ(calls().size(), 2U);
    EXPECT_THAT(calls(), Each(StartsWith("SetupDiGetClassDevsA")));
}

TEST_F(DeviceEnumeration, Set_IsAskedForDevicesUntilThatFails) {
    attach(1, "COM3");
    attach(2, "COM4");
    attach(3, "COM5");
    attach(4, "COM6", usualIdentifier, Set::interfaces);
    system.failOnce(DeviceCall::enumDeviceInfo, ERROR_GEN_FAILURE, 2);
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)), ElementsAre("COM3", "COM6"));
    EXPECT_THAT(calls("SetupDiEnumDeviceInfo(ports"),
                ElementsAre("SetupDiEnumDeviceInfo(ports, 0, size 32)",
                            "SetupDiEnumDeviceInfo(ports, 1, size 32)"));
}

TEST_F(DeviceEnumeration, KeyThatCannotBeOpened_SkipsTheDevice) {
    attach(1, "COM3");
    attach(2, "COM4");
    system.failOnce(DeviceCall::openDevRegKey, ERROR_ACCESS_DENIED);
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)), ElementsAre("COM4"));
    EXPECT_THAT(calls("Reg"), ElementsAre("RegQueryValueExA(key of node 2, PortName, null, 260)",
                                          "RegCloseKey(key of node 2)"));
}

TEST_F(DeviceEnumeration, PortName_IsPreferredToPortNumber) {
    EXPECT_EQ(portNameOf({{"PortName", text("COM3")}, {"PortNumber", number(5)}}), "COM3");
    EXPECT_THAT(calls("RegQuery"),
                ElementsAre("RegQueryValueExA(key of node 1, PortName, null, 260)"));
}

TEST_F(DeviceEnumeration, MissingPortName_IsReplacedByPortNumber) {
    system.addNode(1, usualIdentifier);
    system.addDevice(Set::ports, {1, {{"PortNumber", number(5)}}, {}});
    EXPECT_THAT(textsOf(enumerateDevices(acceptAll)),
                ElementsAre(R"(COM5, A1B2C3, , , \\.\COM5, 1209:0001)"));
    EXPECT_THAT(calls("Reg"), ElementsAre("RegQueryValueExA(key of node 1, PortName, null, 260)",
                                          "RegQueryValueExA(key of node 1, PortNumber, null, 260)",
                                          "RegCloseKey(key of node 1)"));
}

TEST_F(DeviceEnumeration, NumberAsPortName_IsTaken) {
    EXPECT_EQ(portNameOf({{"PortName", number(12)}}), "COM12");
}

TEST_F(DeviceEnumeration, TextAsPortNumber_IsTaken) {
    EXPECT_EQ(portNameOf({{"PortNumber", text("CNCA0")}}), "CNCA0");
}

TEST_F(DeviceEnumeration, DeviceWithoutPortName_IsSkippedWithoutFurtherQuestions) {
    EXPECT_EQ(portNameOf({{"PortLabel", text("COM3")}}), "");
    EXPECT_THAT(calls("CM_"), IsEmpty());
    EXPECT_THAT(calls("SetupDiGetDeviceRegistryPropertyA"), IsEmpty());
}

TEST_F(DeviceEnumeration, TextOfAValue_EndsAtItsFirstNul) {
    EXPECT_EQ(portNameOf({{"PortName", bareText(std::string("COM3\0COM4\0", 10))}}), "COM3");
}

TEST_F(DeviceEnumeration, TextOfAValueWithoutNul_EndsWithTheValue) {
    EXPECT_EQ(portNameOf({{"PortName", bareText("COM3")}}), "COM3");
}

TEST_F(DeviceEnumeration, ShrinkingTextOfAValue_EndsWithTheValue) {
    EXPECT_EQ(portNameOf({{"PortName", {REG_SZ, {std::string(400, 'x'), "COM3"}}}}), "COM3");
}

TEST_F(DeviceEnumeration, EmptyPortName_IsReplacedByPortNumber) {
    EXPECT_EQ(portNameOf({{"PortName", text("")}, {"PortNumber", number(5)}}), "COM5");
}

TEST_F(DeviceEnumeration, PortNameOfNoBytes_IsReplacedByPortNumber) {
    EXPECT_EQ(portNameOf({{"PortName", bareText("")}, {"PortNumber", number(5)}}), "COM5");
}

TEST_F(DeviceEnumeration, PortNameThatCannotBeRead_IsReplacedByPortNumber) {
    EXPECT_EQ(portNameOf({{"PortName", failing(text("COM3"), ERROR_ACCESS_DENIED)},
                          {"PortNumber", number(5)}}),
              "COM5");
}

TEST_F(DeviceEnumeration, PortNameThatBeginsWithNul_IsReplacedByPortNumber) {
    EXPECT_EQ(
        portNameOf({{"PortName", bareText(std::string("\0COM3", 5))}, {"PortNumber", number(5)}}),
        "COM5");
}

TEST_F(DeviceEnumeration, PortNumber_IsSigned) {
    EXPECT_EQ(portNameOf({{"PortNumber", number(0xFFFFFFFFU)}}), "COM-1");
}

TEST_F(DeviceEnumeration, LargestPortNumber_IsDecimal) {
    EXPECT_EQ(portNameOf({{"PortNumber", number(0x7FFFFFFFU)}}), "COM2147483647");
}

TEST_F(DeviceEnumeration, PortNumber0_IsAName) {
    EXPECT_EQ(portNameOf({{"PortName", number(0)}, {"PortNumber", number(5)}}), "COM0");
}

struct UselessValue {
    const char* name;
    DWORD type;
    std::size_t size;
};

class DeviceEnumerationUselessValue : public DeviceEnumeration,
                                      public testing::WithParamInterface<UselessValue> {
protected:
    static Value value() {
        return {GetParam().type, {std::string("COM3\0\0\0\0\0", 9).substr(0, GetParam().size)}};
    }
};

TEST_P(DeviceEnumerationUselessValue, AsPortName_IsReplacedByPortNumber) {
    EXPECT_EQ(portNameOf({{"PortName", value()}, {"PortNumber", number(5)}}), "COM5");
}

TEST_P(DeviceEnumerationUselessValue, AsPortNumber_SkipsTheDevice) {
    EXPECT_EQ(portNameOf({{"PortNumber", value()}}), "");
    EXPECT_THAT(calls("RegCloseKey"), ElementsAre("RegCloseKey(key of node 1)"));
}

INSTANTIATE_TEST_SUITE_P(Each, DeviceEnumerationUselessValue,
                         testing::Values(UselessValue{"NumberOf0Bytes", REG_DWORD, 0},
                                         UselessValue{"NumberOf3Bytes", REG_DWORD, 3},
                                         UselessValue{"NumberOf5Bytes", REG_DWORD, 5},
                                         UselessValue{"NumberOf8Bytes", REG_DWORD, 8},
                                         UselessValue{"Untyped", REG_NONE, 5},
                                         UselessValue{"Binary", REG_BINARY, 4},
                                         UselessValue{"BigEndianNumber", REG_DWORD_BIG_ENDIAN, 4},
                                         UselessValue{"LongNumber", REG_QWORD, 8},
                                         UselessValue{"ExpandableText", REG_EXPAND_SZ, 5},
                                         UselessValue{"ListOfTexts", REG_MULTI_SZ, 6}),
                         [](const auto& instance) { return std::string(instance.param.name); });

class DeviceEnumerationValueSize : public DeviceEnumeration,
                                   public testing::WithParamInterface<std::size_t> {};

TEST_P(DeviceEnumerationValueSize, PortNameWithoutNul_IsReadWhole) {
    const std::string name(GetParam(), 'x');
    EXPECT_EQ(portNameOf({{"PortName", bareText(name)}}), name);
    EXPECT_EQ(calls("RegQuery").size(), GetParam() > firstBuffer ? 2U : 1U);
}

TEST_P(DeviceEnumerationValueSize, PortNameWithNul_IsReadWhole) {
    const std::string name(GetParam() - 1, 'x');
    EXPECT_EQ(portNameOf({{"PortName", text(name)}}), name);
    EXPECT_EQ(calls("RegQuery").size(), GetParam() > firstBuffer ? 2U : 1U);
}

TEST_P(DeviceEnumerationValueSize, DescriptionWithoutNul_IsReadWhole) {
    const std::string description(GetParam(), 'x');
    EXPECT_EQ(descriptionOf(bareText(description)), description);
    EXPECT_EQ(calls("SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0,").size(),
              GetParam() > firstBuffer ? 2U : 1U);
}

INSTANTIATE_TEST_SUITE_P(Around260, DeviceEnumerationValueSize,
                         testing::Values(259, 260, 261, 262, 5000),
                         testing::PrintToStringParamName());

TEST_F(DeviceEnumeration, GrowingPortName_IsReadAgainWithTheReportedSizePlusOne) {
    EXPECT_EQ(portNameOf({{"PortName", growingText(REG_SZ, {261, 263, 700, 701})}}),
              std::string(701, 'x'));
    EXPECT_THAT(calls("RegQuery"),
                ElementsAre("RegQueryValueExA(key of node 1, PortName, null, 260)",
                            "RegQueryValueExA(key of node 1, PortName, null, 262)",
                            "RegQueryValueExA(key of node 1, PortName, null, 264)",
                            "RegQueryValueExA(key of node 1, PortName, null, 701)"));
}

TEST_F(DeviceEnumeration, LargeValueOfAnyType_IsReadAgain) {
    EXPECT_EQ(portNameOf({{"PortName", growingText(REG_BINARY, {300})}}), "");
    EXPECT_THAT(calls("RegQuery"),
                ElementsAre("RegQueryValueExA(key of node 1, PortName, null, 260)",
                            "RegQueryValueExA(key of node 1, PortName, null, 301)",
                            "RegQueryValueExA(key of node 1, PortNumber, null, 260)"));
}

TEST_F(DeviceEnumeration, PortNumber_IsReadIntoTheUsualBufferAfterALargePortName) {
    EXPECT_EQ(
        portNameOf({{"PortName", bareText(std::string(300, '\0'))}, {"PortNumber", number(5)}}),
        "COM5");
    EXPECT_THAT(calls("RegQueryValueExA(key of node 1, PortNumber"),
                ElementsAre("RegQueryValueExA(key of node 1, PortNumber, null, 260)"));
}

TEST_F(DeviceEnumeration, OtherErrorOfALargeValue_IsNotTriedAgain) {
    EXPECT_EQ(
        portNameOf({{"PortName", failing(growingText(REG_SZ, {300}), ERROR_INSUFFICIENT_BUFFER)}}),
        "");
    EXPECT_THAT(calls("RegQuery"),
                ElementsAre("RegQueryValueExA(key of node 1, PortName, null, 260)",
                            "RegQueryValueExA(key of node 1, PortNumber, null, 260)"));
}

TEST_F(DeviceEnumeration, ErrorAtTheSecondQueryOfAValue_GivesNoPortName) {
    system.failOnce(DeviceCall::queryValue, ERROR_KEY_DELETED, 2);
    EXPECT_EQ(portNameOf({{"PortName", growingText(REG_SZ, {300})}}), "");
    EXPECT_THAT(calls("RegCloseKey"), ElementsAre("RegCloseKey(key of node 1)"));
}

TEST_F(DeviceEnumeration, PrinterPorts_AreSkipped) {
    attach(1, "LPT1");
    attach(2, "COM3");
    attach(3, "XLPT");
    attach(4, "COM LPT 4");
    attach(5, "lpt1");
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)), ElementsAre("COM3", "lpt1"));
    EXPECT_THAT(calls("CM_Get_Device_IDA"), ElementsAre("CM_Get_Device_IDA(node 2, 200, 0)",
                                                        "CM_Get_Device_IDA(node 5, 200, 0)"));
}

TEST_F(DeviceEnumeration, PortOfBothPasses_IsListedAsTheFirstFoundIt) {
    attach(1, "COM3", R"(USB\VID_1209&PID_0001\FIRST)");
    attach(2, "COM3", R"(USB\VID_1209&PID_0002\SECOND)", Set::interfaces);
    attach(3, "COM4", R"(USB\VID_1209&PID_0003\THIRD)", Set::interfaces);
    EXPECT_THAT(textsOf(enumerateDevices(acceptAll)),
                ElementsAre(R"(COM3, FIRST, , , \\.\COM3, 1209:0001)",
                            R"(COM4, THIRD, , , \\.\COM4, 1209:0003)"));
    EXPECT_THAT(calls(), Not(Contains("CM_Get_Device_IDA(node 2, 200, 0)")));
}

TEST_F(DeviceEnumeration, PortTwiceInOnePass_IsListedAsTheFirstFoundIt) {
    attach(1, "COM3", R"(USB\VID_1209&PID_0001\FIRST)");
    attach(2, "COM4", R"(USB\VID_1209&PID_0002\SECOND)");
    attach(3, "COM3", R"(USB\VID_1209&PID_0003\THIRD)");
    EXPECT_THAT(textsOf(enumerateDevices(acceptAll)),
                ElementsAre(R"(COM3, FIRST, , , \\.\COM3, 1209:0001)",
                            R"(COM4, SECOND, , , \\.\COM4, 1209:0002)"));
}

TEST_F(DeviceEnumeration, PortsThatDifferInCaseOrLength_AreTwo) {
    attach(1, "COM3");
    attach(2, "com3");
    attach(3, "COM33");
    attach(4, "COM");
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)),
                ElementsAre("COM3", "com3", "COM33", "COM"));
}

TEST_F(DeviceEnumeration, PortThatWasRefusedOrSkipped_CanBeFoundAgain) {
    attach(1, "COM3", R"(USB\VID_1209&PID_0001\FIRST)");
    attach(2, "COM4", "ROOT");
    attach(3, "COM3", R"(USB\VID_1209&PID_0002\SECOND)", Set::interfaces);
    attach(4, "COM4", R"(USB\VID_1209&PID_0002\THIRD)", Set::interfaces);
    EXPECT_THAT(textsOf(enumerateDevices(acceptProduct2)),
                ElementsAre(R"(COM3, SECOND, , , \\.\COM3, 1209:0002)",
                            R"(COM4, THIRD, , , \\.\COM4, 1209:0002)"));
}

TEST_F(DeviceEnumeration, UsbNumbers_AreGivenToTheFilter) {
    EXPECT_THAT(askedFor(R"(USB\VID_12AB&PID_cd34\X)"), ElementsAre(Identifiers{0x12AB, 0xCD34}));
}

TEST_F(DeviceEnumeration, PciNumbers_AreGivenToTheFilter) {
    EXPECT_THAT(askedFor(R"(PCI\VEN_12AB&DEV_CD34&SUBSYS_00000000\3)"),
                ElementsAre(Identifiers{0x12AB, 0xCD34}));
}

TEST_F(DeviceEnumeration, UsbVendorWithPciProduct_IsGivenToTheFilter) {
    EXPECT_THAT(askedFor(R"(MIX\VID_0001&DEV_0002\3)"), ElementsAre(Identifiers{1, 2}));
}

TEST_F(DeviceEnumeration, PciVendorWithUsbProduct_IsGivenToTheFilter) {
    EXPECT_THAT(askedFor(R"(MIX\VEN_0001&PID_0002\3)"), ElementsAre(Identifiers{1, 2}));
}

TEST_F(DeviceEnumeration, UsbNumbers_ArePreferredToPciNumbers) {
    EXPECT_THAT(askedFor(R"(MIX\VEN_0001&DEV_0002&PID_0003&VID_0004)"),
                ElementsAre(Identifiers{4, 3}));
}

TEST_F(DeviceEnumeration, UsbNumbersThatAreNone_AreReplacedByPciNumbers) {
    EXPECT_THAT(askedFor(R"(MIX\VID_XY&PID_&VEN_0005&DEV_0006)"), ElementsAre(Identifiers{5, 6}));
}

TEST_F(DeviceEnumeration, NumbersOf0_AreGivenToTheFilter) {
    EXPECT_THAT(askedFor(R"(USB\VID_0000&PID_0000\X)"), ElementsAre(Identifiers{0, 0}));
}

TEST_F(DeviceEnumeration, RepeatedNumbers_CountOnce) {
    EXPECT_THAT(askedFor(R"(USB\VID_0001&PID_0002&VID_0003&PID_0004\X)"),
                ElementsAre(Identifiers{1, 2}));
}

TEST_F(DeviceEnumeration, ShortNumbers_EndAtWhatIsNoDigit) {
    EXPECT_THAT(askedFor(R"(USB\VID_1&PID_23\X)"), ElementsAre(Identifiers{0x1, 0x23}));
}

TEST_F(DeviceEnumeration, LongNumbers_AreCutToFourDigits) {
    EXPECT_THAT(askedFor(R"(USB\VID_12345&PID_6789A\X)"), ElementsAre(Identifiers{0x1234, 0x6789}));
}

TEST_F(DeviceEnumeration, NumbersWithPrefixOrSign_AreReadAsTheStandardLibraryDoes) {
    EXPECT_THAT(askedFor(R"(USB\VID_0x1F&PID_-002\X)"), ElementsAre(Identifiers{0x1F, 0xFFFE}));
}

TEST_F(DeviceEnumeration, DeviceWithoutVendor_IsSkippedWithoutAskingTheFilter) {
    EXPECT_THAT(askedFor(R"(USB\PID_0002\X)"), IsEmpty());
    EXPECT_THAT(calls("SetupDiGetDeviceRegistryPropertyA"), IsEmpty());
}

TEST_F(DeviceEnumeration, DeviceWithoutProduct_IsSkippedWithoutAskingTheFilter) {
    EXPECT_THAT(askedFor(R"(USB\VID_0002\X)"), IsEmpty());
}

TEST_F(DeviceEnumeration, NumbersInLowerCasePrefixes_AreNotFound) {
    EXPECT_THAT(askedFor(R"(USB\vid_0001&pid_0002\X)"), IsEmpty());
}

TEST_F(DeviceEnumeration, RefusedDevice_IsSkippedWithoutFurtherQuestions) {
    attach(1, "COM3", compositeInterface);
    EXPECT_THAT(enumerateDevices(refuseAll), IsEmpty());
    EXPECT_THAT(asked, ElementsAre(Identifiers{0x1209, 0x0001}));
    EXPECT_THAT(calls("CM_"), ElementsAre("CM_Get_Device_IDA(node 1, 200, 0)"));
    EXPECT_THAT(calls("SetupDiGetDeviceRegistryPropertyA"), IsEmpty());
}

TEST_F(DeviceEnumeration, Filter_IsAskedForEachDeviceInOrder) {
    attach(1, "COM3", R"(USB\VID_1209&PID_0001\X)");
    attach(2, "COM4", R"(USB\VID_1209&PID_0002\X)");
    attach(3, "COM5", R"(USB\VID_1209&PID_0003\X)", Set::interfaces);
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptProduct2)), ElementsAre("COM4"));
    EXPECT_EQ(enumerateDevices(acceptAll).size(), 3U);
    EXPECT_THAT(
        asked, ElementsAre(Identifiers{0x1209, 1}, Identifiers{0x1209, 2}, Identifiers{0x1209, 3}));
}

TEST_F(DeviceEnumeration, DeviceWithoutInstanceIdentifier_IsSkipped) {
    attach(1, "COM3");
    attach(2, "COM4");
    system.failOnce(DeviceCall::getDeviceId, CR_INVALID_DEVNODE);
    EXPECT_THAT(portNamesOf(enumerateDevices(acceptAll)), ElementsAre("COM4"));
    EXPECT_EQ(asked.size(), 1U);
}

TEST_F(DeviceEnumeration, IdentifierOf199Characters_IsReadWhole) {
    const std::string beginning = R"(USB\VID_1209&PID_0001\)";
    const std::string serialNumber(199 - beginning.size(), 'S');
    EXPECT_EQ(recordOf(beginning + serialNumber).serialNumber, serialNumber);
}

TEST_F(DeviceEnumeration, IdentifierThatFillsItsBuffer_IsReadWhole) {
    const std::string beginning = R"(USB\VID_1209&PID_0001\)";
    const std::string serialNumber(200 - beginning.size(), 'S');
    EXPECT_EQ(recordOf(beginning + serialNumber).serialNumber, serialNumber);
}

TEST_F(DeviceEnumeration, OwnSerialNumber_NeedsNoParent) {
    EXPECT_EQ(serialNumberOf({usualIdentifier, R"(USB\VID_1209&PID_0002\PARENT)"}), "A1B2C3");
    EXPECT_THAT(calls("CM_"), ElementsAre("CM_Get_Device_IDA(node 1, 200, 0)"));
}

TEST_F(DeviceEnumeration, FtdiPort_HasItsThirdPartAsSerialNumber) {
    EXPECT_EQ(serialNumberOf({R"(FTDIBUS\VID_1209+PID_0001+A1B2C3A\0000)"}), "A1B2C3A");
    EXPECT_THAT(calls("CM_"), ElementsAre("CM_Get_Device_IDA(node 1, 200, 0)"));
}

TEST_F(DeviceEnumeration, SuffixOfASerialNumber_IsCutOff) {
    EXPECT_EQ(serialNumberOf({R"(USB\VID_1209&PID_0001\A1B2C3_00)"}), "A1B2C3");
}

TEST_F(DeviceEnumeration, SerialNumberWithAnEarlierUnderscore_IsKeptWhole) {
    EXPECT_EQ(serialNumberOf({R"(USB\VID_1209&PID_0001\A1_B2_00)"}), "A1_B2_00");
}

TEST_F(DeviceEnumeration, AmpersandInTheSuffix_IsCutOffToo) {
    EXPECT_EQ(serialNumberOf({R"(USB\VID_1209&PID_0001\A1B2C3_&0)"}), "A1B2C3");
}

TEST_F(DeviceEnumeration, FtdiPortWithoutItsThirdPart_HasTheSerialNumberOfItsParent) {
    EXPECT_EQ(serialNumberOf({R"(FTDIBUS\VID_1209&PID_0001\0000)",
                              R"(FTDIBUS\VID_1209+PID_0001+A1B2C3A)", usualIdentifier}),
              "A1B2C3");
}

TEST_F(DeviceEnumeration, CompositeDevice_HasTheSerialNumberOfItsParent) {
    EXPECT_EQ(serialNumberOf({compositeInterface, R"(USB\VID_1209&PID_0001\A1B2C3)"}), "A1B2C3");
    EXPECT_THAT(calls("CM_"),
                ElementsAre("CM_Get_Device_IDA(node 1, 200, 0)", "CM_Get_DevNode_Status(node 1, 0)",
                            "CM_Get_Parent(node 1, 0)", "CM_Get_Device_IDA(node 2, 200, 0)"));
}

TEST_F(DeviceEnumeration, SerialNumber_IsSearchedThroughAllAncestors) {
    EXPECT_EQ(serialNumberOf({compositeInterface, R"(ROOT\HUB\1)", R"(USB\ROOT_HUB30\4&1&0&0)",
                              R"(FTDIBUS\VID_1209+PID_0001+DEEP\0000)",
                              R"(USB\VID_1209&PID_0001\TOO_DEEP)"}),
              "DEEP");
    EXPECT_THAT(calls("CM_"),
                ElementsAre("CM_Get_Device_IDA(node 1, 200, 0)", "CM_Get_DevNode_Status(node 1, 0)",
                            "CM_Get_Parent(node 1, 0)", "CM_Get_Device_IDA(node 2, 200, 0)",
                            "CM_Get_DevNode_Status(node 2, 0)", "CM_Get_Parent(node 2, 0)",
                            "CM_Get_Device_IDA(node 3, 200, 0)", "CM_Get_DevNode_Status(node 3, 0)",
                            "CM_Get_Parent(node 3, 0)", "CM_Get_Device_IDA(node 4, 200, 0)"));
}

TEST_F(DeviceEnumeration, PciPort_HasNoSerialNumber) {
    EXPECT_EQ(serialNumberOf({R"(PCI\VEN_1209&DEV_0001\3&11583659&0&B0)", R"(ACPI\PNP0A08\0)",
                              R"(ACPI_HAL\PNP0C08\0)", R"(HTREE\ROOT\0)"}),
              "");
    EXPECT_EQ(calls("CM_").size(), 12U);
    EXPECT_EQ(calls("CM_").back(), "CM_Get_Parent(node 4, 0)");
}

TEST_F(DeviceEnumeration, FailingNodeStatus_EndsTheSearchForASerialNumber) {
    system.failOnce(DeviceCall::getDevNodeStatus, CR_NO_SUCH_DEVNODE);
    EXPECT_EQ(serialNumberOf({compositeInterface, usualIdentifier}), "");
    EXPECT_THAT(calls("CM_"), ElementsAre("CM_Get_Device_IDA(node 1, 200, 0)",
                                          "CM_Get_DevNode_Status(node 1, 0)"));
}

TEST_F(DeviceEnumeration, FailingNodeStatusOfAParent_EndsTheSearchForASerialNumber) {
    system.failOnce(DeviceCall::getDevNodeStatus, CR_NO_SUCH_DEVNODE, 2);
    EXPECT_EQ(serialNumberOf({compositeInterface, compositeInterface, usualIdentifier}), "");
    EXPECT_EQ(calls("CM_").back(), "CM_Get_DevNode_Status(node 2, 0)");
}

TEST_F(DeviceEnumeration, FailingParent_EndsTheSearchForASerialNumber) {
    system.failOnce(DeviceCall::getParent, CR_NO_SUCH_DEVNODE);
    EXPECT_EQ(serialNumberOf({compositeInterface, usualIdentifier}), "");
    EXPECT_EQ(calls("CM_").back(), "CM_Get_Parent(node 1, 0)");
}

TEST_F(DeviceEnumeration, ParentThatIsNoNode_EndsTheSearchForASerialNumber) {
    system.addNode(0, usualIdentifier);
    EXPECT_EQ(serialNumberOf({compositeInterface}), "");
    EXPECT_EQ(calls("CM_").back(), "CM_Get_Parent(node 1, 0)");
}

TEST_F(DeviceEnumeration, ParentWithEmptyIdentifier_EndsTheSearchForASerialNumber) {
    EXPECT_EQ(serialNumberOf({compositeInterface, "", usualIdentifier}), "");
    EXPECT_EQ(calls("CM_").back(), "CM_Get_Device_IDA(node 2, 200, 0)");
}

TEST_F(DeviceEnumeration, ParentWithoutIdentifier_EndsTheSearchForASerialNumber) {
    system.failOnce(DeviceCall::getDeviceId, CR_NO_SUCH_DEVNODE, 2);
    EXPECT_EQ(serialNumberOf({compositeInterface, usualIdentifier}), "");
    EXPECT_EQ(calls("CM_").back(), "CM_Get_Device_IDA(node 2, 200, 0)");
}

TEST_F(DeviceEnumeration, Parent_LendsOnlyItsSerialNumber) {
    system.addNode(1, compositeInterface, 2);
    system.addNode(2, R"(USB\VID_1209&PID_0002\PARENT)");
    system.addDevice(Set::ports, {1, {{"PortName", text("COM3")}}, {}});
    EXPECT_THAT(textsOf(enumerateDevices(acceptAll)),
                ElementsAre(R"(COM3, PARENT, , , \\.\COM3, 1209:0001)"));
}

TEST_F(DeviceEnumeration, MissingProperties_LeaveTheirTextsEmpty) {
    const DeviceRecord record = recordOf(usualIdentifier);
    EXPECT_EQ(record.description, "");
    EXPECT_EQ(record.manufacturer, "");
}

TEST_F(DeviceEnumeration, TextOfAProperty_EndsAtItsFirstNul) {
    EXPECT_EQ(descriptionOf(bareText(std::string("Scanner\0of", 10))), "Scanner");
}

TEST_F(DeviceEnumeration, TextOfAPropertyWithoutNul_IsReadWhole) {
    EXPECT_EQ(descriptionOf(bareText("Scanner")), "Scanner");
}

TEST_F(DeviceEnumeration, PropertyOfNoBytes_IsEmpty) {
    EXPECT_EQ(descriptionOf(bareText("")), "");
}

TEST_F(DeviceEnumeration, PropertyOfAnotherType_IsTextToo) {
    EXPECT_EQ(descriptionOf({REG_BINARY, {std::string("Scanner\0of", 10)}}), "Scanner");
}

class DeviceEnumerationTextType : public DeviceEnumeration,
                                  public testing::WithParamInterface<DWORD> {};

TEST_P(DeviceEnumerationTextType, GrowingProperty_IsReadAgainWithTheRequiredSizePlusOne) {
    EXPECT_EQ(descriptionOf(growingText(GetParam(), {261, 263, 700, 701})), std::string(701, 'x'));
    EXPECT_THAT(calls("SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0,"),
                ElementsAre("SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0, 260)",
                            "SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0, 262)",
                            "SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0, 264)",
                            "SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0, 701)"));
}

TEST_P(DeviceEnumerationTextType, OtherErrorOfALargeProperty_IsNotTriedAgain) {
    EXPECT_EQ(descriptionOf(failing(growingText(GetParam(), {300}), ERROR_MORE_DATA)), "");
    EXPECT_THAT(calls("SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0,"),
                ElementsAre("SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0, 260)"));
}

TEST_P(DeviceEnumerationTextType, ErrorOfASmallProperty_LeavesTheTextEmpty) {
    EXPECT_EQ(descriptionOf(failing({GetParam(), {"Scanner"}}, ERROR_INVALID_DATA)), "");
}

INSTANTIATE_TEST_SUITE_P(Each, DeviceEnumerationTextType, testing::Values(REG_SZ, REG_EXPAND_SZ),
                         [](const auto& instance) {
                             return std::string(instance.param == REG_SZ ? "Text"
                                                                         : "ExpandableText");
                         });

class DeviceEnumerationOtherType : public DeviceEnumeration,
                                   public testing::WithParamInterface<DWORD> {};

TEST_P(DeviceEnumerationOtherType, LargeProperty_LeavesTheTextEmpty) {
    EXPECT_EQ(descriptionOf(growingText(GetParam(), {300})), "");
    EXPECT_THAT(calls("SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0,"),
                ElementsAre("SetupDiGetDeviceRegistryPropertyA(ports, node 1, 0, 260)"));
}

INSTANTIATE_TEST_SUITE_P(Each, DeviceEnumerationOtherType,
                         testing::Values(REG_NONE, REG_BINARY, REG_DWORD, REG_MULTI_SZ, REG_QWORD),
                         testing::PrintToStringParamName());

TEST_F(DeviceEnumeration, ErrorAtTheSecondQueryOfAProperty_LeavesTheTextEmpty) {
    system.failOnce(DeviceCall::getProperty, ERROR_INVALID_DATA, 2);
    EXPECT_EQ(descriptionOf(growingText(REG_SZ, {300})), "");
}

TEST_F(DeviceEnumeration, FailingDescription_LeavesTheManufacturer) {
    system.addNode(1, usualIdentifier);
    system.addDevice(Set::ports, {1,
                                  {{"PortName", text("COM3")}},
                                  {{descriptionProperty, failing(text("Scanner"), ERROR_NOT_FOUND)},
                                   {manufacturerProperty, text("Ridge")}}});
    EXPECT_THAT(textsOf(enumerateDevices(acceptAll)),
                ElementsAre(R"(COM3, A1B2C3, , Ridge, \\.\COM3, 1209:0001)"));
}

TEST_F(DeviceEnumeration, DevicePath_IsThePortNameUnlessItBeginsWithCom) {
    const std::vector<std::pair<std::string, std::string>> expected{{"COM3", R"(\\.\COM3)"},
                                                                    {"COM", R"(\\.\COM)"},
                                                                    {"COMPORT", R"(\\.\COMPORT)"},
                                                                    {"CNCA0", "CNCA0"},
                                                                    {"XCOM3", "XCOM3"},
                                                                    {"com3", "com3"},
                                                                    {R"(\\.\COM9)", R"(\\.\COM9)"},
                                                                    {"C", "C"}};
    DEVINST node = 0;
    for (const auto& [portName, path] : expected) {
        attach(++node, portName);
    }
    std::vector<std::pair<std::string, std::string>> found;
    for (const DeviceRecord& record : enumerateDevices(acceptAll)) {
        found.emplace_back(record.portName, record.devicePath);
    }
    EXPECT_EQ(found, expected);
}

TEST_F(DeviceEnumeration, MemoryThatRunsOutBetweenDevices_LeavesNothingOpen) {
    attach(1, "COM3", R"(USB\VID_1209&PID_0001\X)");
    attach(2, "COM4", R"(USB\VID_1209&PID_0002\X)");
    attach(3, "COM5", R"(USB\VID_1209&PID_0003\X)", Set::interfaces);
    EXPECT_THROW((void)enumerateDevices(runOutOfMemoryAtProduct2), std::bad_alloc);
    EXPECT_EQ(calls().back(), "SetupDiDestroyDeviceInfoList(ports)");
}

TEST_F(DeviceEnumeration, MemoryThatRunsOutInTheSecondPass_LeavesNothingOpen) {
    attach(1, "COM3", R"(USB\VID_1209&PID_0001\X)");
    attach(2, "COM4", R"(USB\VID_1209&PID_0002\X)", Set::interfaces);
    EXPECT_THROW((void)enumerateDevices(runOutOfMemoryAtProduct2), std::bad_alloc);
    EXPECT_EQ(calls().back(), "SetupDiDestroyDeviceInfoList(interfaces)");
}

struct FailingCall {
    DeviceCall call;
    const char* name;
    DWORD error;
    /// How often the undisturbed enumeration makes the call.
    int invocations;
};

/// A machine with several devices, on which every single call is made to fail.
class DeviceEnumerationFailure : public testing::TestWithParam<FailingCall> {
protected:
    struct AttachedDevice {
        Set set;
        std::size_t index;
        DEVINST node;
        const char* valueName;
        std::string portName;
        std::vector<std::string> identifiers;
        std::string serialNumber;
        std::string description;
    };

    static std::vector<AttachedDevice> machine() {
        const std::string usb = R"(USB\VID_1209&PID_0001\)";
        const std::string composite = R"(USB\VID_1209&PID_0001&MI_00\6&2AB3&0&0000)";
        const std::string ftdi = R"(FTDIBUS\VID_1209+PID_0001+C3A\0000)";
        const std::string hub = R"(USB\ROOT_HUB\4&1)";
        const std::string longName(300, 'n');
        return {
            {Set::ports, 0, 10, "PortName", "COM3", {usb + "A1"}, "A1", "One"},
            {Set::ports, 1, 20, "PortNumber", "COM4", {composite, hub, usb + "B2"}, "B2", longName},
            {Set::ports, 2, 30, "PortName", longName, {ftdi}, "C3A", "Three"},
            {Set::interfaces, 0, 40, "PortName", "COM3", {usb + "D4"}, "D4", "One again"},
            {Set::interfaces, 1, 50, "PortName", "COM6", {composite, usb + "E5"}, "E5", "Five"}};
    }

    static void attach(FakeDevices& system, const AttachedDevice& device) {
        DEVINST node = device.node;
        for (const std::string& identifier : device.identifiers) {
            system.addNode(node, identifier, node + 1);
            ++node;
        }
        const Value name = device.portName == "COM4" ? number(4) : text(device.portName);
        system.addDevice(device.set, {device.node,
                                      {{device.valueName, name}},
                                      {{descriptionProperty, text(device.description)},
                                       {manufacturerProperty, text("Ridge")}}});
    }

    /// Whether one of the failed calls is this one, whatever its further arguments are.
    static bool failed(const std::vector<std::string>& failedCalls, const std::string& beginning) {
        return std::any_of(failedCalls.begin(), failedCalls.end(),
                           [&](const std::string& call) { return call.starts_with(beginning); });
    }

    /// What is left of a device after these failures: nothing, or its record.
    static std::optional<DeviceRecord> remains(const AttachedDevice& device,
                                               const std::vector<std::string>& failedCalls) {
        const bool inPorts = device.set == Set::ports;
        const char* set = inPorts ? "ports" : "interfaces";
        const DEVINST node = device.node;
        bool skipped =
            failed(failedCalls,
                   inPorts ? "SetupDiGetClassDevsA({4D36E978" : "SetupDiGetClassDevsA({86E0D1E0") ||
            failed(failedCalls, formatText("SetupDiOpenDevRegKey(%s, node %lu,", set, node)) ||
            failed(failedCalls,
                   formatText("RegQueryValueExA(key of node %lu, %s,", node, device.valueName)) ||
            failed(failedCalls, formatText("CM_Get_Device_IDA(node %lu,", node));
        for (std::size_t index = 0; index <= device.index; ++index) {
            skipped = skipped ||
                      failed(failedCalls, formatText("SetupDiEnumDeviceInfo(%s, %zu,", set, index));
        }
        if (skipped) {
            return std::nullopt;
        }
        DeviceRecord record{device.portName,
                            device.serialNumber,
                            device.description,
                            "Ridge",
                            device.portName.starts_with("COM") ? R"(\\.\)" + device.portName
                                                               : device.portName,
                            0x1209,
                            0x0001};
        for (DEVINST step = node; step < node + device.identifiers.size(); ++step) {
            if (failed(failedCalls, formatText("CM_Get_DevNode_Status(node %lu,", step)) ||
                failed(failedCalls, formatText("CM_Get_Parent(node %lu,", step)) ||
                failed(failedCalls, formatText("CM_Get_Device_IDA(node %lu,", step))) {
                record.serialNumber.clear();
            }
        }
        const std::string asksProperty =
            formatText("SetupDiGetDeviceRegistryPropertyA(%s, node %lu, ", set, node);
        if (failed(failedCalls, asksProperty + "0,")) {
            record.description.clear();
        }
        if (failed(failedCalls, asksProperty + "11,")) {
            record.manufacturer.clear();
        }
        return record;
    }

    static std::vector<std::string> expectedAfter(const std::vector<std::string>& failedCalls) {
        std::vector<DeviceRecord> records;
        for (const AttachedDevice& device : machine()) {
            const std::optional<DeviceRecord> record = remains(device, failedCalls);
            const std::vector<std::string> names = portNamesOf(records);
            if (record && std::find(names.begin(), names.end(), record->portName) == names.end()) {
                records.push_back(*record);
            }
        }
        return textsOf(records);
    }

    static void attachMachine(FakeDevices& system) {
        for (const AttachedDevice& device : machine()) {
            attach(system, device);
        }
    }

    static void expectAllClosed(const FakeDevices& system) {
        EXPECT_EQ(system.openSets(), 0);
        EXPECT_EQ(system.openKeys(), 0);
        EXPECT_THAT(system.misuses(), IsEmpty());
    }

    /// Enumerates with this failure and tells whether it happened.
    static bool happens(const std::function<void(FakeDevices&)>& failure) {
        const LogRecorder log;
        FakeDevices system;
        attachMachine(system);
        failure(system);
        const std::vector<std::string> found = textsOf(enumerateDevices(acceptAll));
        EXPECT_EQ(found, expectedAfter(system.failedCalls()));
        expectAllClosed(system);
        EXPECT_THAT(log.lines(), IsEmpty());
        return !system.failedCalls().empty();
    }
};

TEST_P(DeviceEnumerationFailure, Once_EmptiesATextOrSkipsADevice) {
    int invocation = 1;
    while (happens([&](FakeDevices& system) {
        system.failOnce(GetParam().call, GetParam().error, invocation);
    })) {
        ++invocation;
    }
    EXPECT_EQ(invocation - 1, GetParam().invocations);
}

TEST_P(DeviceEnumerationFailure, FromThenOn_EmptiesTextsOrSkipsDevices) {
    int invocation = 1;
    while (happens([&](FakeDevices& system) {
        system.failFrom(GetParam().call, GetParam().error, invocation);
    })) {
        ++invocation;
    }
    EXPECT_EQ(invocation - 1, GetParam().invocations);
}

class DeviceEnumerationOutOfMemory : public DeviceEnumerationFailure {};

TEST_P(DeviceEnumerationOutOfMemory, NextToTheCall_LeavesNothingOpen) {
    for (int invocation = 1; invocation <= GetParam().invocations; ++invocation) {
        FakeDevices system;
        attachMachine(system);
        system.runOutOfMemory(GetParam().call, invocation);
        EXPECT_THROW((void)enumerateDevices(acceptAll), std::bad_alloc);
        expectAllClosed(system);
    }
}

constexpr std::array askingCalls{
    FailingCall{DeviceCall::getClassDevs, "GetClassDevs", ERROR_INVALID_DATA, 2},
    FailingCall{DeviceCall::enumDeviceInfo, "EnumDeviceInfo", ERROR_GEN_FAILURE, 7},
    FailingCall{DeviceCall::openDevRegKey, "OpenDevRegKey", ERROR_ACCESS_DENIED, 5},
    FailingCall{DeviceCall::queryValue, "QueryValue", ERROR_KEY_DELETED, 7},
    FailingCall{DeviceCall::getDeviceId, "GetDeviceId", CR_NO_SUCH_DEVNODE, 7},
    FailingCall{DeviceCall::getDevNodeStatus, "GetDevNodeStatus", CR_FAILURE, 3},
    FailingCall{DeviceCall::getParent, "GetParent", CR_NO_SUCH_DEVNODE, 3},
    FailingCall{DeviceCall::getProperty, "GetProperty", ERROR_NOT_FOUND, 9}};
constexpr std::array closingCalls{
    FailingCall{DeviceCall::closeKey, "CloseKey", ERROR_GEN_FAILURE, 5},
    FailingCall{DeviceCall::destroyDeviceInfoList, "DestroyDeviceInfoList", ERROR_GEN_FAILURE, 2}};

std::string nameOf(const testing::TestParamInfo<FailingCall>& instance) {
    return instance.param.name;
}

INSTANTIATE_TEST_SUITE_P(Asking, DeviceEnumerationFailure, testing::ValuesIn(askingCalls), nameOf);
INSTANTIATE_TEST_SUITE_P(Closing, DeviceEnumerationFailure, testing::ValuesIn(closingCalls),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Asking, DeviceEnumerationOutOfMemory, testing::ValuesIn(askingCalls),
                         nameOf);

} // namespace
} // namespace ridge::test
