#include "childmodes.h"
#include "driverservice.h"
#include "openresult.h"
#include "pendingstatus.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

int main(int argumentCount, char** arguments) {
    using namespace ridge::simulator;
    const std::vector<std::string> words(arguments + 1, arguments + argumentCount);
    if (const auto exitCode = tests::runAsChild(words)) {
        return *exitCode;
    }
    mendPendingStatus();
    mendOpenResult();
    startDriver(driverFileBesideProgram());
    testing::InitGoogleMock(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
