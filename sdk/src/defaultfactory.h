#pragma once

#include "defaultdatalinkhandler.h"
#include "defaultpackethandler.h"
#include "defaultridgecommands.h"
#include "defaultserialport.h"
#include "factory.h"

#include <memory>

namespace ridge {

/// The transport stack of a scanner on a serial port.
template <typename PortName>
class DefaultFactory : public Factory<PortName> {
public:
    std::unique_ptr<SerialPort> createSerialPort(const PortName& portName,
                                                 SerialPortListener& listener,
                                                 SerialPortErrorListener& errorListener) override {
        return std::make_unique<DefaultSerialPort<PortName>>(portName, listener, errorListener);
    }

    std::unique_ptr<DataLinkHandler> createDataLinkHandler(const PortName& portName,
                                                           SerialPortErrorListener& errorListener,
                                                           DataLinkListener& listener) override {
        return std::make_unique<DefaultDataLinkHandler>(*this, portName, errorListener, listener);
    }

    std::unique_ptr<PacketHandler>
    createPacketHandler(const PortName& portName, SerialPortErrorListener& errorListener) override {
        return std::make_unique<DefaultPacketHandler>(*this, portName, errorListener);
    }

    std::unique_ptr<RidgeCommands> createCommands(PacketHandler* packetHandler) override {
        return std::make_unique<DefaultRidgeCommands>(packetHandler);
    }
};

} // namespace ridge
