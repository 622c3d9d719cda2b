#include "importedcalls.h"
#include "unstoppableport.h"
#include "virtualports.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

int main(int argumentCount, char** arguments) {
    testing::InitGoogleTest(&argumentCount, arguments);
    try {
        ridge::test::prepareVirtualPorts();
        ridge::test::watchImportedCalls();
    } catch (const std::exception& failure) {
        std::cerr << "the virtual port driver does not start: " << failure.what() << '\n';
        return 1;
    }
    if (argumentCount == 4 && std::string_view(arguments[1]) == "--close-unstoppable") {
        return ridge::test::closeUnstoppablePort(
            arguments[2], static_cast<std::uint32_t>(std::stoul(arguments[3])));
    }
    return RUN_ALL_TESTS();
}
