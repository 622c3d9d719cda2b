#include "destroyinsidecallback.h"

#include "ridge-sdk.hpp"

#include <iostream>
#include <memory>

namespace ridge::test {

int destroyInsideCallback(const std::string& portName) {
    auto scanner = std::make_unique<Scanner>();
    scanner->connect(portName);
    std::promise<void> destroyed;
    const std::future<void> end = scanner->streamAsync([&](const Image&) {
        std::cout << "destroying" << std::endl;
        scanner.reset();
        destroyed.set_value();
    });
    destroyed.get_future().wait();
    std::cout << "destroyed" << std::endl;
    return 0;
}

} // namespace ridge::test
