#include "releaseduringcsr.h"
#include "virtualports.h"

#include <gtest/gtest.h>

#include <exception>
#include <iostream>
#include <string>

int main(int argumentCount, char** arguments) {
    testing::InitGoogleTest(&argumentCount, arguments);
    if (argumentCount == 4 && std::string(arguments[1]) == "--release-during-csr") {
        return ridge::test::releaseDuringCsr(arguments[2], arguments[3]);
    }
    try {
        ridge::test::prepareVirtualPorts();
    } catch (const std::exception& failure) {
        std::cerr << "the virtual port driver does not start: " << failure.what() << '\n';
        return 1;
    }
    return RUN_ALL_TESTS();
}
