#include "screenshot.h"
#include "virtualports.h"

#include <gtest/gtest.h>

#include <exception>
#include <iostream>
#include <string>

#include <windows.h>

int main(int argumentCount, char** arguments) {
    testing::InitGoogleTest(&argumentCount, arguments);
    // Whoever first asks for it starts Wine's desktop, which then keeps that program's streams
    // open.
    GetDesktopWindow();
    try {
        ridge::test::prepareVirtualPorts();
        if (argumentCount == 3 && std::string(arguments[1]) == "--screenshot") {
            ridge::test::takeScreenshot(arguments[2]);
            return 0;
        }
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
    return RUN_ALL_TESTS();
}
