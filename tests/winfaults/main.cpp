#include "deviceregistration.h"
#include "driverservice.h"
#include "importedcalls.h"
#include "openresult.h"
#include "pendingstatus.h"
#include "unstoppableport.h"

#include <gtest/gtest.h>

#include <exception>
#include <iostream>
#include <string_view>

int main(int argumentCount, char** arguments) {
    testing::InitGoogleTest(&argumentCount, arguments);
    const bool closesUnstoppablePort =
        argumentCount == 3 && std::string_view(arguments[1]) == "--close-unstoppable";
    try {
        // Wine's faults are mended around the library, before it runs.
        ridge::simulator::mendPendingStatus();
        ridge::simulator::mendOpenResult();
        ridge::test::watchImportedCalls();
        if (closesUnstoppablePort) {
            return ridge::test::closeUnstoppablePort(arguments[2]);
        }
        ridge::simulator::startDriver(ridge::simulator::driverFileBesideProgram());
        // Of simulators that were killed earlier.
        ridge::simulator::removeForsakenDevices();
    } catch (const std::exception& failure) {
        std::cerr << "the virtual port driver does not start: " << failure.what() << '\n';
        return 1;
    }
    return RUN_ALL_TESTS();
}
