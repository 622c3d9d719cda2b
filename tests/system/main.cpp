#include "deviceregistration.h"
#include "driverservice.h"
#include "openresult.h"
#include "pendingstatus.h"
#include "releaseduringcsr.h"

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
        // Wine's faults are mended around the library, before it runs.
        ridge::simulator::mendPendingStatus();
        ridge::simulator::mendOpenResult();
        ridge::simulator::startDriver(ridge::simulator::driverFileBesideProgram());
        // Of simulators that were killed earlier.
        ridge::simulator::removeForsakenDevices();
    } catch (const std::exception& failure) {
        std::cerr << "the virtual port driver does not start: " << failure.what() << '\n';
        return 1;
    }
    return RUN_ALL_TESTS();
}
