#include "destroyinsidecallback.h"
#include "virtualports.h"

#include <gtest/gtest.h>

#include <exception>
#include <iostream>
#include <string>

int main(int argumentCount, char** arguments) {
    testing::InitGoogleTest(&argumentCount, arguments);
    try {
        if (argumentCount == 3 && std::string(arguments[1]) == "--destroy-inside-callback") {
            return ridge::test::destroyInsideCallback(arguments[2]);
        }
        ridge::test::prepareVirtualPorts();
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
    return RUN_ALL_TESTS();
}
