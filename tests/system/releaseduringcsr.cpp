#include "releaseduringcsr.h"

#include "ridge-sdk.h"

#include <iostream>

namespace ridge::test {
namespace {

void onCsr(const std::uint8_t*, std::uint32_t, void*) {}

void onError(std::int32_t, const char* message, void*) {
    std::cout << message << std::endl;
}

void onLog(std::int32_t, const char* line, void*) {
    const std::string text = line;
    std::cout << text.substr(text.find("] ") + 2) << std::endl;
}

} // namespace

int releaseDuringCsr(const std::string& way, const std::string& portName) {
    ridgeDeviceContext* const context = ridgeCreateDeviceContext();
    const ridgeCsrSubjectName subject{"Ann", nullptr, nullptr, nullptr, nullptr, nullptr};
    if (ridgeConnectCOM(portName.c_str(), context) != RIDGE_SUCCESS ||
        ridgeDeviceSecurityCreateCsr(context, &subject, onCsr, onError, nullptr) != RIDGE_SUCCESS) {
        std::cout << ridgeGetLastErrorDescription(context) << std::endl;
        return 2;
    }
    std::cout << "releasing" << std::endl;
    ridgeSetLogger('E', onLog, nullptr);
    if (way == "disconnect") {
        ridgeDisconnect(context);
    } else {
        ridgeFreeDeviceContext(context);
    }
    std::cout << "released" << std::endl;
    return 0;
}

} // namespace ridge::test
