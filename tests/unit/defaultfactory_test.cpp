#include "defaultfactory.h"

#include "errorcollector.h"
#include "fakeserialport.h"
#include "framecollector.h"
#include "hexbytes.h"
#include "memoryline.h"
#include "throwsridgeexception.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace ridge {
namespace {

using test::Bytes;
using test::ErrorCollector;
using test::FrameCollector;
using test::hexBytes;
using test::MemoryLine;
using test::throwsRidgeException;

class DataCollector final : public SerialPortListener {
public:
    void onData(const std::uint8_t* bytes, std::uint32_t size) override {
        data.insert(data.end(), bytes, bytes + size);
    }
    void onByte(std::uint8_t byte) override { data.push_back(byte); }

    Bytes data;
};

const Bytes pingFrame = hexBytes("7E 01 00 01 31 CE 7F");
const Bytes pingAnswerFrame = hexBytes("7E 81 00 01 31 CE 7F");

class DefaultFactoryStack : public testing::Test {
protected:
    ErrorCollector errorListener;
    DefaultFactory<std::string> factory;
};

TEST_F(DefaultFactoryStack, SerialPort_ConnectsTheLineWithItsListeners) {
    MemoryLine line("COM3");
    std::vector<Bytes> written;
    line.onHostWrite([&written](const Bytes& bytes) { written.push_back(bytes); });
    DataCollector listener;
    const std::unique_ptr<SerialPort> port =
        factory.createSerialPort("COM3", listener, errorListener);
    EXPECT_EQ(line.openPorts(), 1);
    port->write(pingFrame.data(), static_cast<std::uint32_t>(pingFrame.size()));
    line.deliver(hexBytes("AA BB"));
    line.failReceiving("Failed to read data from port. Gone.");
    EXPECT_EQ(written, std::vector<Bytes>{pingFrame});
    EXPECT_EQ(listener.data, hexBytes("AA BB"));
    EXPECT_EQ(errorListener.errors,
              std::vector<std::string>{"Failed to read data from port. Gone."});
}

TEST_F(DefaultFactoryStack, DataLink_FramesWhatTravelsOnTheLine) {
    MemoryLine line("COM3");
    std::vector<Bytes> written;
    line.onHostWrite([&written](const Bytes& bytes) { written.push_back(bytes); });
    FrameCollector listener;
    const std::unique_ptr<DataLinkHandler> dataLink =
        factory.createDataLinkHandler("COM3", errorListener, listener);
    const Bytes payload = hexBytes("01 7E 02");
    dataLink->sendFrame(payload.data(), 3);
    line.deliver(hexBytes("7E 03 7D 5D 7F"));
    line.waitUntilTaken();
    EXPECT_EQ(written, std::vector<Bytes>{hexBytes("7E 01 7D 5E 02 7F")});
    EXPECT_EQ(listener.frames, std::vector<Bytes>{hexBytes("03 7D")});
}

TEST_F(DefaultFactoryStack, PacketHandlerAndCommands_RunACommandOverTheLine) {
    MemoryLine line("COM3");
    std::vector<Bytes> written;
    line.onHostWrite([&](const Bytes& bytes) {
        written.push_back(bytes);
        line.deliver(pingAnswerFrame);
    });
    const std::unique_ptr<PacketHandler> packets =
        factory.createPacketHandler("COM3", errorListener);
    const std::unique_ptr<RidgeCommands> commands = factory.createCommands(packets.get());
    EXPECT_NO_THROW(commands->ping());
    EXPECT_EQ(written, std::vector<Bytes>{pingFrame});
}

TEST_F(DefaultFactoryStack, FailureOfTheReceivingSide_ReachesTheErrorListener) {
    MemoryLine line("COM3");
    const std::unique_ptr<PacketHandler> packets =
        factory.createPacketHandler("COM3", errorListener);
    line.failReceiving("Failed to wait on port event. Gone.");
    EXPECT_EQ(errorListener.errors,
              std::vector<std::string>{"Failed to wait on port event. Gone."});
}

TEST_F(DefaultFactoryStack, DestroyingThePacketHandler_ClosesThePort) {
    const MemoryLine line("COM3");
    std::unique_ptr<PacketHandler> packets = factory.createPacketHandler("COM3", errorListener);
    ASSERT_EQ(line.openPorts(), 1);
    packets.reset();
    EXPECT_EQ(line.openPorts(), 0);
}

TEST_F(DefaultFactoryStack, DestroyingTheCommands_LeavesThePacketHandlerAlone) {
    MemoryLine line("COM3");
    line.onHostWrite([&line](const Bytes&) { line.deliver(pingAnswerFrame); });
    const std::unique_ptr<PacketHandler> packets =
        factory.createPacketHandler("COM3", errorListener);
    factory.createCommands(packets.get()).reset();
    EXPECT_EQ(line.openPorts(), 1);
    EXPECT_NO_THROW(factory.createCommands(packets.get())->ping());
}

TEST_F(DefaultFactoryStack, PortThatCannotBeOpened_FailsOnEveryLevel_AndLeavesNothingOpen) {
    const MemoryLine line("COM3");
    DataCollector dataListener;
    FrameCollector frameListener;
    const auto refused = throwsRidgeException(5, "File not found.\r\n");
    EXPECT_THAT([&] { factory.createSerialPort("COM4", dataListener, errorListener); }, refused);
    EXPECT_THAT([&] { factory.createDataLinkHandler("COM4", errorListener, frameListener); },
                refused);
    EXPECT_THAT([&] { factory.createPacketHandler("COM4", errorListener); }, refused);
    EXPECT_EQ(line.openPorts(), 0);
    EXPECT_TRUE(errorListener.errors.empty());
}

TEST_F(DefaultFactoryStack, OutlivedByWhatItHasCreated) {
    MemoryLine line("COM3");
    line.onHostWrite([&line](const Bytes&) { line.deliver(pingAnswerFrame); });
    auto shortLived = std::make_unique<DefaultFactory<std::string>>();
    const std::unique_ptr<PacketHandler> packets =
        shortLived->createPacketHandler("COM3", errorListener);
    const std::unique_ptr<RidgeCommands> commands = shortLived->createCommands(packets.get());
    shortLived.reset();
    EXPECT_NO_THROW(commands->ping());
}

TEST_F(DefaultFactoryStack, TwoConnectionsOfTwoFactories_ShareNothing) {
    MemoryLine firstLine("COM3");
    MemoryLine secondLine("COM4");
    firstLine.onHostWrite([&firstLine](const Bytes&) { firstLine.deliver(pingAnswerFrame); });
    int secondWrites = 0;
    secondLine.onHostWrite([&secondWrites](const Bytes&) { ++secondWrites; });
    DefaultFactory<std::string> secondFactory;
    ErrorCollector secondErrorListener;
    std::unique_ptr<PacketHandler> first = factory.createPacketHandler("COM3", errorListener);
    const std::unique_ptr<PacketHandler> second =
        secondFactory.createPacketHandler("COM4", secondErrorListener);

    EXPECT_NO_THROW(factory.createCommands(first.get())->ping());
    EXPECT_EQ(secondWrites, 0);
    EXPECT_EQ(second->receive(1, false), nullptr);

    firstLine.failReceiving("Gone.");
    EXPECT_EQ(errorListener.errors.size(), 1U);
    EXPECT_TRUE(secondErrorListener.errors.empty());

    first.reset();
    EXPECT_EQ(firstLine.openPorts(), 0);
    EXPECT_EQ(secondLine.openPorts(), 1);
}

TEST(DefaultFactory, EachLayer_AsksTheSameFactoryForTheLayerBeneath) {
    class AskedFactory final : public test::FakeSerialPortFactory {
    public:
        std::unique_ptr<DataLinkHandler>
        createDataLinkHandler(const std::string& name, SerialPortErrorListener& failureListener,
                              DataLinkListener& frameListener) override {
            dataLinkPortName = name;
            dataLinkErrorListener = &failureListener;
            return FakeSerialPortFactory::createDataLinkHandler(name, failureListener,
                                                                frameListener);
        }

        std::string dataLinkPortName;
        SerialPortErrorListener* dataLinkErrorListener = nullptr;
    };
    AskedFactory factory;
    ErrorCollector errorListener;
    const std::unique_ptr<PacketHandler> packets =
        factory.createPacketHandler("COM9", errorListener);
    EXPECT_EQ(factory.dataLinkPortName, "COM9");
    EXPECT_EQ(factory.dataLinkErrorListener, &errorListener);
    EXPECT_EQ(factory.portName, "COM9");
    EXPECT_EQ(factory.errorListener, &errorListener);

    packets->send(Packet(0x01, 0x31));
    EXPECT_EQ(factory.writes, std::vector<Bytes>{pingFrame});
    factory.deliver(pingAnswerFrame);
    EXPECT_NE(packets->receive(1, false), nullptr);
}

} // namespace
} // namespace ridge
