#include "unstoppableport.h"

#include "account.h"
#include "ridge-sdk.h"

#include <iostream>

namespace ridge::test {
namespace {

void onLog(std::int32_t, const char* line, void*) {
    const std::string text = line;
    std::cout << text.substr(text.find("] ") + 2) << std::endl;
}

} // namespace

int closeUnstoppablePort(const std::string& portName) {
    Account account;
    account.adoptThisThread();
    ridgeDeviceContext* const context = ridgeCreateDeviceContext();
    if (ridgeConnectCOM(portName.c_str(), context) != RIDGE_SUCCESS) {
        std::cout << ridgeGetLastErrorDescription(context) << std::endl;
        return 2;
    }
    ridgeSetLogger('E', onLog, nullptr);
    account.refuse({CallKind::fatal, {}, 1, false, ERROR_ACCESS_DENIED});
    std::cout << "closing" << std::endl;
    ridgeDisconnect(context);
    std::cout << "closed" << std::endl;
    return 0;
}

} // namespace ridge::test
