#include "childmodes.h"
#include "driverservice.h"
#include "mendedprocess.h"
#include "porttest.h"

#include <string>
#include <system_error>
#include <vector>

namespace ridge::simulator::tests {

namespace {

int creationError(std::uint32_t number) {
    try {
        const VirtualPort port(number);
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    return 0;
}

} // namespace

class PortLife : public PortTest {
protected:
    PortLife() : PortTest(std::make_unique<VirtualPort>(reservedNumber)) {}
};

TEST_F(PortLife, NameOfAPortThatDoesNotExist_IsNotFound) {
    const std::string hostName = port->hostName();
    const std::string lineName = port->lineName();
    port.reset();
    EXPECT_EQ(openError(hostName), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(openError(lineName), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST_F(PortLife, NumberTaken_IsRefused) {
    EXPECT_EQ(creationError(port->number()), ERROR_ALREADY_EXISTS);
}

TEST_F(PortLife, NumberOutOfRange_IsRefused) {
    EXPECT_EQ(creationError(0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(creationError(RIDGE_VPORT_LAST + 1), ERROR_INVALID_PARAMETER);
}

TEST_F(PortLife, NewPort_IsPluggedAndClosed) {
    EXPECT_EQ(port->state().flags,
              static_cast<std::uint32_t>(RIDGE_VPORT_PRESENT | RIDGE_VPORT_PLUGGED));
}

TEST_F(PortLife, State_TellsWhatIsOpenPendingAndBuffered) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    line.write({1, 2});
    const OperationPointer wait = line.startWait();
    const PortState state = port->state();
    EXPECT_TRUE(state.has(PortFlag::hostOpen));
    EXPECT_TRUE(state.has(PortFlag::lineOpen));
    EXPECT_TRUE(state.has(PortFlag::lineWaits));
    EXPECT_FALSE(state.has(PortFlag::hostWaits));
    EXPECT_TRUE(state.has(PortFlag::hostHasData));
    EXPECT_FALSE(state.has(PortFlag::lineHasData));
    EXPECT_EQ(state.bytesForHost, 2U);
    EXPECT_EQ(state.bytesForLine, 0U);
}

TEST_F(PortLife, State_TellsWhatHasCrossedTheLineAndWhen) {
    const auto counter = [] {
        LARGE_INTEGER value{};
        QueryPerformanceCounter(&value);
        return value.QuadPart;
    };
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const PortState untouched = port->state();
    EXPECT_EQ(untouched.bytesFromHost, 0U);
    EXPECT_EQ(untouched.bytesFromLine, 0U);
    EXPECT_EQ(untouched.hostLastSent, 0);
    EXPECT_EQ(untouched.lineLastSent, 0);
    const std::int64_t start = counter();
    host.write({1, 2, 3});
    host.write({4});
    const std::int64_t between = counter();
    line.write({5, 6});
    const std::int64_t end = counter();
    const PortState state = port->state();
    EXPECT_EQ(state.bytesFromHost, 4U);
    EXPECT_EQ(state.bytesFromLine, 2U);
    EXPECT_GE(state.hostLastSent, start);
    EXPECT_LE(state.hostLastSent, between);
    EXPECT_GE(state.lineLastSent, between);
    EXPECT_LE(state.lineLastSent, end);
}

TEST_F(PortLife, EndOfThePort_FailsWhatIsPendingAtBothEnds) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const OperationPointer hostWait = host.startWait();
    const OperationPointer lineWait = line.startWait();
    port.reset();
    EXPECT_EQ(hostWait->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    EXPECT_EQ(lineWait->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    EXPECT_EQ(host.startWrite({1})->wait().error, static_cast<DWORD>(ERROR_DEVICE_NOT_CONNECTED));
    EXPECT_EQ(line.startWrite({1})->wait().error, static_cast<DWORD>(ERROR_DEVICE_NOT_CONNECTED));
}

TEST_F(PortLife, RemovedPort_IsGoneForEverybody) {
    const PortEnd host = openHost();
    const PortControl other(port->number());
    other.remove();
    EXPECT_EQ(other.state().flags, 0U);
    EXPECT_EQ(host.startWrite({1})->wait().error, static_cast<DWORD>(ERROR_DEVICE_NOT_CONNECTED));
}

TEST_F(PortLife, NewPortBesideAnOldHandle_IsIndependentOfIt) {
    const PortEnd oldHost = openHost();
    port.reset();
    const VirtualPort newPort(reservedNumber);
    const PortEnd host(newPort.hostName());
    const PortEnd line(newPort.lineName());
    EXPECT_EQ(oldHost.startWrite({1})->wait().error,
              static_cast<DWORD>(ERROR_DEVICE_NOT_CONNECTED));
    host.write({2});
    EXPECT_EQ(line.readAvailable(), Bytes{2});
}

TEST_F(PortLife, NewPort_HasNoFaultsOfTheOldOne) {
    port->refuse(PortRequest::write, PortStatus::generalFailure);
    port->holdWrites();
    port.reset();
    const VirtualPort newPort(reservedNumber);
    const PortEnd host(newPort.hostName());
    EXPECT_EQ(host.startWrite({1})->wait().error, success);
}

TEST_F(PortLife, ManyCreations_LeaveThePortUsable) {
    port.reset();
    for (int round = 0; round < 100; ++round) {
        const VirtualPort newPort(reservedNumber);
        const PortEnd host(newPort.hostName());
        const PortEnd line(newPort.lineName());
        const OperationPointer wait = host.startWait();
        line.write({1});
        EXPECT_EQ(wait->wait().error, success);
    }
}

TEST(DriverStart, SeveralProcessesAtOnce_AllSucceed) {
    std::vector<MendedProcess> processes;
    for (int number = 0; number < 4; ++number) {
        processes.push_back(startMended(childCommandLine(L"start-driver")));
    }
    for (const MendedProcess& process : processes) {
        EXPECT_EQ(process.wait(), 0U);
    }
}

TEST(DriverStart, WithTheDriverRunning_NeedsNoFile) {
    EXPECT_NO_THROW(startDriver("no-such.sys"));
}

TEST(ProcessEnd, OwnerKilled_RemovesThePort) {
    const MendedProcess owner =
        startMended(childCommandLine(L"own-port " + std::to_wstring(reservedNumber)));
    const PortControl port(reservedNumber);
    port.await(PortFlag::present);
    const PortEnd host(port.hostName());
    const OperationPointer wait = host.startWait();
    EXPECT_FALSE(wait->completed());

    owner.kill();
    EXPECT_EQ(wait->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    port.await(PortFlag::present, false);
    EXPECT_EQ(openError(port.hostName()), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(creationError(reservedNumber), 0);
}

TEST(ProcessEnd, HostKilledWithRequestsPending_FreesTheHostEnd) {
    const auto port = createFreePort();
    const PortEnd line(port->lineName());
    const MendedProcess process =
        startMended(childCommandLine(L"hold-host " + std::to_wstring(port->number())));
    port->await(PortFlag::hostWaits);
    port->await(PortFlag::hostWrites);

    process.kill();
    port->await(PortFlag::hostOpen, false);
    const PortEnd host(port->hostName());
    line.readAvailable();
    host.write({1, 2});
    EXPECT_EQ(line.readAvailable(), (Bytes{1, 2}));
}

} // namespace ridge::simulator::tests
