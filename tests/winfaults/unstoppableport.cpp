#include "unstoppableport.h"

#include "account.h"
#include "host.h"
#include "patience.h"
#include "portcontrol.h"

#include <iostream>

namespace ridge::test {
namespace {

using simulator::PortControl;
using simulator::PortFlag;
using simulator::PortRequest;
using simulator::PortStatus;

void onLog(std::int32_t, const char* line, void*) {
    const std::string text = line;
    std::cout << text.substr(text.find("] ") + 2) << std::endl;
}

/// What the library does next is to close the port.
void refuseStop(Account& account) {
    ridgeSetLogger('E', onLog, nullptr);
    account.refuse({CallKind::fatal, {}, 1, false, ERROR_ACCESS_DENIED});
    std::cout << "closing" << std::endl;
}

/// Makes the receive thread end, and waits until the session knows why.
void failPort(const PortControl& port, const Host& host) {
    port.await(PortFlag::hostWaits);
    port.abortWait(PortStatus::operationAborted);
    ridgeDeviceInfo info{};
    comesAbout([&] { return ridgeGetInfo(host.context(), &info) != RIDGE_SUCCESS; });
}

} // namespace

int closeUnstoppablePort(const std::string& way, std::uint32_t portNumber) {
    Account account;
    account.adoptThisThread();
    const PortControl port(portNumber);
    Host host;
    if (way == "failed-connect") {
        port.refuse(PortRequest::write, PortStatus::accessDenied);
        refuseStop(account);
    }
    if (host.connect(port.hostName()) != RIDGE_SUCCESS) {
        std::cout << host.lastError() << std::endl;
        return 2;
    }
    if (way == "failed-port") {
        host.judgeWith([&](const ReceivedImage&) -> std::uint8_t {
            failPort(port, host);
            refuseStop(account);
            return 0;
        });
        host.startStream();
        host.waitForFailures(1);
    } else {
        refuseStop(account);
        host.disconnect();
    }
    std::cout << "closed" << std::endl;
    return 0;
}

} // namespace ridge::test
