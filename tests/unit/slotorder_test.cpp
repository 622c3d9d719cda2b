// Classes of other modules may stand behind these interfaces: the order of the virtual functions
// is part of each interface.
#if !defined(_MSC_VER) // whose pointers to members tell nothing about slots

#include "capturelistener.h"
#include "createcsrlistener.h"
#include "datalinkhandler.h"
#include "factory.h"
#include "logger.h"
#include "packethandler.h"
#include "ridgecommands.h"
#include "serialport.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

namespace ridge {
namespace {

/// The place of a virtual function in its class's table. The destructor takes two.
template <typename Member>
std::size_t slot(Member member) {
    // Under the Itanium ABI its first word is one more than the offset in the table.
    std::size_t word = 0;
    static_assert(sizeof(member) >= sizeof(word));
    std::memcpy(&word, &member, sizeof(word));
    EXPECT_EQ(word % sizeof(void*), 1U) << "the function is not virtual";
    return word / sizeof(void*);
}

TEST(SlotOrder, RidgeCommands_HasItsFixedOrder) {
    static_assert(std::has_virtual_destructor_v<RidgeCommands>);
    EXPECT_EQ(slot(&RidgeCommands::getDeviceInfo), 2U);
    EXPECT_EQ(slot(&RidgeCommands::getDeviceSettings), 3U);
    EXPECT_EQ(slot(&RidgeCommands::startCapture), 4U);
    EXPECT_EQ(slot(&RidgeCommands::stopCapture), 5U);
    EXPECT_EQ(slot(&RidgeCommands::getCaptureData), 6U);
    EXPECT_EQ(slot(&RidgeCommands::clearKey), 7U);
    EXPECT_EQ(slot(&RidgeCommands::startHostAssistedCapture), 8U);
    EXPECT_EQ(slot(&RidgeCommands::sendHostAssistedCaptureResult), 9U);
    EXPECT_EQ(slot(&RidgeCommands::ping), 10U);
    EXPECT_EQ(slot(&RidgeCommands::certClear), 11U);
    EXPECT_EQ(slot(&RidgeCommands::certGet), 12U);
    EXPECT_EQ(slot(&RidgeCommands::certSet), 13U);
    EXPECT_EQ(slot(&RidgeCommands::createCsr), 14U);
    EXPECT_EQ(slot(&RidgeCommands::setKey), 15U);
    EXPECT_EQ(slot(&RidgeCommands::setSettings), 16U);
    EXPECT_EQ(slot(&RidgeCommands::startStream), 17U);
    EXPECT_EQ(slot(&RidgeCommands::getStreamData), 18U);
}

TEST(SlotOrder, CreateCsrListener_HasItsFixedOrder) {
    static_assert(std::has_virtual_destructor_v<CreateCsrListener>);
    EXPECT_EQ(slot(&CreateCsrListener::onError), 2U);
    EXPECT_EQ(slot(&CreateCsrListener::onCsrCreated), 3U);
}

TEST(SlotOrder, PacketHandler_HasItsFixedOrder) {
    static_assert(std::has_virtual_destructor_v<PacketHandler>);
    using Received = std::unique_ptr<Packet>;
    EXPECT_EQ(slot<Received (PacketHandler::*)(bool)>(&PacketHandler::receive), 2U);
    EXPECT_EQ(slot<Received (PacketHandler::*)(std::uint32_t, bool)>(&PacketHandler::receive), 3U);
    EXPECT_EQ(slot(&PacketHandler::send), 4U);
}

TEST(SlotOrder, DataLink_HasItsFixedOrder) {
    static_assert(std::has_virtual_destructor_v<DataLinkHandler>);
    static_assert(std::has_virtual_destructor_v<DataLinkListener>);
    EXPECT_EQ(slot(&DataLinkHandler::sendFrame), 2U);
    EXPECT_EQ(slot(&DataLinkListener::onFrame), 2U);
}

TEST(SlotOrder, SerialPort_HasItsFixedOrder) {
    static_assert(std::has_virtual_destructor_v<SerialPort>);
    EXPECT_EQ(slot(&SerialPort::purge), 2U);
    EXPECT_EQ(slot(&SerialPort::close), 3U);
    EXPECT_EQ(slot(&SerialPort::ignoreErrors), 4U);
    EXPECT_EQ(slot(&SerialPort::write), 5U);
}

TEST(SlotOrder, SerialPortListeners_HaveTheirFixedOrder) {
    static_assert(std::has_virtual_destructor_v<SerialPortListener>);
    static_assert(std::has_virtual_destructor_v<SerialPortErrorListener>);
    EXPECT_EQ(slot(&SerialPortListener::onData), 2U);
    EXPECT_EQ(slot(&SerialPortListener::onByte), 3U);
    EXPECT_EQ(slot(&SerialPortErrorListener::onSerialPortError), 2U);
}

TEST(SlotOrder, CaptureListeners_HaveTheirFixedOrder) {
    static_assert(std::has_virtual_destructor_v<BaseListener>);
    EXPECT_EQ(slot(&BaseListener::onError), 2U);
    EXPECT_EQ(slot(&CaptureListener::onError), 2U);
    EXPECT_EQ(slot(&CaptureListener::isEventEnabled), 3U);
    EXPECT_EQ(slot(&CaptureListener::onCaptureComplete), 4U);
    EXPECT_EQ(slot(&CaptureListener::onCaptureEvent), 5U);
}

TEST(SlotOrder, Logger_HasItsFixedOrder) {
    static_assert(std::has_virtual_destructor_v<Logger>);
    EXPECT_EQ(slot(&Logger::log), 2U);
}

TEST(SlotOrder, Factory_HasItsFixedOrder) {
    using NamedPortFactory = Factory<std::string>;
    static_assert(std::has_virtual_destructor_v<NamedPortFactory>);
    EXPECT_EQ(slot(&NamedPortFactory::createSerialPort), 2U);
    EXPECT_EQ(slot(&NamedPortFactory::createDataLinkHandler), 3U);
    EXPECT_EQ(slot(&NamedPortFactory::createPacketHandler), 4U);
    EXPECT_EQ(slot(&NamedPortFactory::createCommands), 5U);
}

} // namespace
} // namespace ridge

#endif
