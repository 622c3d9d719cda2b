#include "virtualports.h"

#include "deviceregistration.h"
#include "driverservice.h"
#include "openresult.h"
#include "pendingstatus.h"

namespace ridge::test {

void prepareVirtualPorts() {
    simulator::mendPendingStatus();
    simulator::mendOpenResult();
    simulator::startDriver(simulator::driverFileBesideProgram());
    simulator::removeForsakenDevices();
}

} // namespace ridge::test
