#pragma once

#include "datalinkhandler.h"
#include "packethandler.h"
#include "ridgecommands.h"
#include "serialport.h"

#include <memory>

namespace ridge {

/// Decides which classes make up a connection. Each layer asks it for the layer beneath, so that
/// another port, framing or packet layer can be put under an unchanged session. Listeners are
/// borrowed and outlive what is created.
template <typename PortName>
class Factory {
public:
    virtual ~Factory() = default;
    virtual std::unique_ptr<SerialPort>
    createSerialPort(const PortName& portName, SerialPortListener& listener,
                     SerialPortErrorListener& errorListener) = 0;
    virtual std::unique_ptr<DataLinkHandler>
    createDataLinkHandler(const PortName& portName, SerialPortErrorListener& errorListener,
                          DataLinkListener& listener) = 0;
    virtual std::unique_ptr<PacketHandler>
    createPacketHandler(const PortName& portName, SerialPortErrorListener& errorListener) = 0;
    virtual std::unique_ptr<RidgeCommands> createCommands(PacketHandler* packetHandler) = 0;
};

} // namespace ridge
