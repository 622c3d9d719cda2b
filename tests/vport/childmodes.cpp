#include "childmodes.h"

#include "driverservice.h"
#include "portend.h"
#include "programfolder.h"
#include "virtualport.h"

#include <atomic>
#include <iostream>
#include <thread>

#include <windows.h>

namespace ridge::simulator::tests {

namespace {

int waitToBeKilled() {
    WaitForSingleObject(GetCurrentProcess(), INFINITE);
    return 0;
}

int ownPort(const std::string& number) {
    startDriver(driverFileBesideProgram());
    const VirtualPort port(static_cast<std::uint32_t>(std::stoul(number)));
    return waitToBeKilled();
}

int holdHost(const std::string& number) {
    const PortControl port(static_cast<std::uint32_t>(std::stoul(number)));
    const PortEnd host(port.hostName());
    const OperationPointer wait = host.startWait();
    const OperationPointer write =
        host.startWrite(randomBytes(std::size_t{3} * RIDGE_VPORT_FIFO_SIZE, 1));
    return waitToBeKilled();
}

// Succeeds only in a process that somebody else has mended.
int checkMends() {
    startDriver(driverFileBesideProgram());
    const auto port = createFreePort();
    const PortEnd host(port->hostName());
    const OperationPointer wait = host.startWait();
    const bool pending = wait->pended() && !wait->completed();
    const bool refused = openError(port->hostName()) == ERROR_ACCESS_DENIED;
    return pending && refused ? 0 : 1;
}

// Exits while other threads make requests of the driver, one of which stays pending.
int exitAmidRequests(const std::string& number) {
    constexpr int threads = 4;
    constexpr int requestsBefore = 100;
    const PortControl port(static_cast<std::uint32_t>(std::stoul(number)));
    const PortEnd host(port.hostName());
    std::atomic<int> requests{0};
    const auto makeRequests = [&port, &requests] {
        while (port.state().has(PortFlag::present)) {
            ++requests;
        }
    };
    for (int count = 1; count < threads; ++count) {
        std::thread(makeRequests).detach();
    }
    std::thread([&host, makeRequests] {
        const OperationPointer wait = host.startWait();
        makeRequests();
    }).detach();
    while (requests < requestsBefore) {
        std::this_thread::yield();
    }
    ExitProcess(0);
}

int echo() {
    std::cout << std::cin.rdbuf() << std::flush;
    return 0;
}

} // namespace

std::optional<int> runAsChild(const std::vector<std::string>& arguments) {
    if (arguments.size() == 2 && arguments[0] == "own-port") {
        return ownPort(arguments[1]);
    }
    if (arguments.size() == 2 && arguments[0] == "hold-host") {
        return holdHost(arguments[1]);
    }
    if (arguments.size() == 2 && arguments[0] == "exit-amid-requests") {
        return exitAmidRequests(arguments[1]);
    }
    if (arguments.size() == 2 && arguments[0] == "exit-code") {
        return std::stoi(arguments[1]);
    }
    if (arguments.size() == 2 && arguments[0] == "argument-length") {
        return static_cast<int>(arguments[1].size());
    }
    if (arguments.size() == 1 && arguments[0] == "check-mends") {
        return checkMends();
    }
    if (arguments.size() == 1 && arguments[0] == "start-driver") {
        startDriver(driverFileBesideProgram());
        return 0;
    }
    if (arguments.size() == 1 && arguments[0] == "echo") {
        return echo();
    }
    return std::nullopt;
}

std::wstring childCommandLine(const std::wstring& arguments) {
    return L'"' + (programFolder() / "vport-tests.exe").wstring() + L"\" " + arguments;
}

} // namespace ridge::simulator::tests
