#include "virtualports.h"

#include <gtest/gtest.h>

#include <exception>
#include <iostream>

int main(int argumentCount, char** arguments) {
    testing::InitGoogleTest(&argumentCount, arguments);
    try {
        ridge::test::prepareVirtualPorts();
    } catch (const std::exception& failure) {
        std::cerr << "the virtual port driver does not start: " << failure.what() << '\n';
        return 1;
    }
    return RUN_ALL_TESTS();
}
