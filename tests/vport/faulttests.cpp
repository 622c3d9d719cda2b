#include "porttest.h"

#include <functional>
#include <string>
#include <system_error>

namespace ridge::simulator::tests {

namespace {

struct RefusableRequest {
    std::string name;
    PortRequest request;
    std::function<DWORD(const PortEnd&)> make; // gives the error
};

DWORD errorOf(BOOL result) {
    return result != 0 ? success : GetLastError();
}

DWORD getState(const PortEnd& end) {
    DCB block{};
    block.DCBlength = sizeof(block);
    return errorOf(GetCommState(end.handle(), &block));
}

DWORD setState(const PortEnd& end) {
    DCB block{};
    block.DCBlength = sizeof(block);
    block.BaudRate = CBR_115200;
    block.ByteSize = 8;
    return errorOf(SetCommState(end.handle(), &block));
}

DWORD setTimeouts(const PortEnd& end) {
    COMMTIMEOUTS timeouts{};
    timeouts.ReadIntervalTimeout = MAXDWORD;
    return errorOf(SetCommTimeouts(end.handle(), &timeouts));
}

DWORD waitOnMask(const PortEnd& end) {
    const OperationPointer wait = end.startWait();
    return wait->pended() ? success : wait->wait().error;
}

const std::vector<RefusableRequest>& refusableRequests() {
    static const std::vector<RefusableRequest> requests{
        {"Purge", PortRequest::purge,
         [](const PortEnd& end) { return errorOf(PurgeComm(end.handle(), PURGE_RXCLEAR)); }},
        {"GetState", PortRequest::getState, getState},
        {"SetState", PortRequest::setState, setState},
        {"SetTimeouts", PortRequest::setTimeouts, setTimeouts},
        {"SetMask", PortRequest::setMask,
         [](const PortEnd& end) { return errorOf(SetCommMask(end.handle(), EV_RXCHAR)); }},
        {"WaitOnMask", PortRequest::waitOnMask, waitOnMask},
        {"Read", PortRequest::read,
         [](const PortEnd& end) { return end.startRead(10)->wait().error; }},
        {"Write", PortRequest::write,
         [](const PortEnd& end) { return end.startWrite({1})->wait().error; }},
    };
    return requests;
}

std::error_code thrownBy(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::system_error& error) {
        return error.code();
    }
    return {};
}

} // namespace

class Refusal : public PortTest, public testing::WithParamInterface<RefusableRequest> {};

TEST_P(Refusal, Once_MeetsTheNextRequestOnly) {
    const PortEnd host = openHost();
    port->refuseOnce(GetParam().request, PortStatus::generalFailure);
    EXPECT_EQ(GetParam().make(host), static_cast<DWORD>(ERROR_GEN_FAILURE));
    EXPECT_EQ(GetParam().make(host), success);
}

TEST_P(Refusal, UntilAccepted_MeetsEveryRequest) {
    const PortEnd host = openHost();
    port->refuse(GetParam().request, PortStatus::accessDenied);
    EXPECT_EQ(GetParam().make(host), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(GetParam().make(host), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    port->accept(GetParam().request);
    EXPECT_EQ(GetParam().make(host), success);
}

TEST_P(Refusal, LeavesOtherRequestsAndTheLineAlone) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    port->refuse(GetParam().request, PortStatus::generalFailure);
    for (const RefusableRequest& other : refusableRequests()) {
        EXPECT_EQ(other.make(line), success) << other.name;
        if (other.request != GetParam().request) {
            EXPECT_EQ(other.make(host), success) << other.name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EachRequest, Refusal, testing::ValuesIn(refusableRequests()),
                         [](const auto& parameter) { return parameter.param.name; });

using OpenRefusal = PortTest;

TEST_F(OpenRefusal, Once_MeetsTheNextOpeningOnly) {
    port->refuseOnce(PortRequest::open, PortStatus::generalFailure);
    EXPECT_EQ(openError(port->hostName()), static_cast<DWORD>(ERROR_GEN_FAILURE));
    EXPECT_EQ(openError(port->hostName()), success);
}

TEST_F(OpenRefusal, OfTheHost_LeavesTheLineAlone) {
    port->refuse(PortRequest::open, PortStatus::generalFailure);
    EXPECT_EQ(openError(port->lineName()), success);
    EXPECT_EQ(openError(port->hostName()), static_cast<DWORD>(ERROR_GEN_FAILURE));
}

TEST_F(OpenRefusal, SecondOpeningOfAnEnd_IsDeniedUntilTheFirstCloses) {
    for (const std::string& name : {port->hostName(), port->lineName()}) {
        {
            const PortEnd end(name);
            EXPECT_EQ(openError(name), static_cast<DWORD>(ERROR_ACCESS_DENIED));
        }
        EXPECT_EQ(openError(name), success);
    }
}

TEST_F(OpenRefusal, DeniedSecondOpening_DoesNotDisturbTheFirst) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    line.write({1});
    EXPECT_EQ(openError(port->hostName()), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(host.readAvailable(), Bytes{1});
}

using HeldWrites = PortTest;

TEST_F(HeldWrites, PendUntilReleased) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    port->holdWrites();
    const OperationPointer write = host.startWrite({1, 2});
    EXPECT_TRUE(write->pended());
    port->await(PortFlag::hostWrites);
    EXPECT_EQ(line.readAvailable(), Bytes{});
    EXPECT_FALSE(write->completed());
    port->releaseWrites();
    EXPECT_EQ(write->wait().count, 2U);
    EXPECT_EQ(line.readAvailable(), (Bytes{1, 2}));
}

TEST_F(HeldWrites, CanBeCancelled) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    port->holdWrites();
    const OperationPointer write = host.startWrite({1, 2});
    write->cancel();
    EXPECT_EQ(write->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    port->releaseWrites();
    EXPECT_EQ(line.readAvailable(), Bytes{});
}

TEST_F(HeldWrites, LeaveTheLinesWritesAlone) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    port->holdWrites();
    line.write({3});
    EXPECT_EQ(host.readAvailable(), Bytes{3});
}

struct FailureStatus {
    PortStatus status;
    DWORD error;
};

class WaitFailure : public PortTest, public testing::WithParamInterface<FailureStatus> {};

TEST_P(WaitFailure, AbortedWait_FailsAndThePortStaysUsable) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const OperationPointer wait = host.startWait();
    port->abortWait(GetParam().status);
    EXPECT_EQ(wait->wait().error, GetParam().error);
    line.write({1});
    EXPECT_EQ(host.readExactly(1), Bytes{1});
}

TEST_P(WaitFailure, UnpluggedPort_FailsThePendingWait) {
    const PortEnd host = openHost();
    const OperationPointer wait = host.startWait();
    port->unplug(GetParam().status);
    EXPECT_EQ(wait->wait().error, GetParam().error);
}

TEST_P(WaitFailure, UnpluggedPort_FailsEveryLaterRequest) {
    const PortEnd host = openHost();
    port->unplug(PortStatus::operationAborted, GetParam().status);
    for (const RefusableRequest& request : refusableRequests()) {
        EXPECT_EQ(request.make(host), GetParam().error) << request.name;
    }
}

INSTANTIATE_TEST_SUITE_P(
    EachStatus, WaitFailure,
    testing::Values(FailureStatus{PortStatus::operationAborted, ERROR_OPERATION_ABORTED},
                    FailureStatus{PortStatus::generalFailure, ERROR_GEN_FAILURE},
                    FailureStatus{PortStatus::accessDenied, ERROR_ACCESS_DENIED},
                    FailureStatus{PortStatus::deviceError, ERROR_IO_DEVICE},
                    FailureStatus{PortStatus::notReady, ERROR_NOT_READY},
                    FailureStatus{PortStatus::deviceNotConnected, ERROR_DEVICE_NOT_CONNECTED}),
    [](const auto& parameter) { return "Error" + std::to_string(parameter.param.error); });

using AbortWait = PortTest;

TEST_F(AbortWait, WithoutAPendingWait_Fails) {
    const PortEnd host = openHost();
    EXPECT_EQ(thrownBy([&] { port->abortWait(PortStatus::generalFailure); }).value(),
              ERROR_NOT_FOUND);
}

using Unplug = PortTest;

TEST_F(Unplug, FailsPendingReadsAndWrites) {
    const PortEnd host = openHost();
    port->holdWrites();
    host.setReadTimeouts(0);
    const OperationPointer read = host.startRead(1);
    const OperationPointer write = host.startWrite({1});
    port->unplug(PortStatus::generalFailure);
    EXPECT_EQ(read->wait().error, static_cast<DWORD>(ERROR_GEN_FAILURE));
    EXPECT_EQ(write->wait().error, static_cast<DWORD>(ERROR_GEN_FAILURE));
}

TEST_F(Unplug, TakesTheNameAway) {
    port->unplug();
    EXPECT_EQ(openError(port->hostName()), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(openError(port->lineName()), success);
}

TEST_F(Unplug, LetsTheLineRunOn) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const OperationPointer wait = line.startWait();
    port->unplug();
    line.write({1});
    EXPECT_FALSE(wait->completed());
}

TEST_F(Unplug, Twice_Fails) {
    port->unplug();
    EXPECT_TRUE(thrownBy([&] { port->unplug(); }));
}

TEST_F(Unplug, CommandedByAnotherHandle_WorksAlike) {
    const PortEnd host = openHost();
    const OperationPointer wait = host.startWait();
    const PortControl other(port->number());
    other.await(PortFlag::hostWaits);
    other.unplug(PortStatus::generalFailure);
    EXPECT_EQ(wait->wait().error, static_cast<DWORD>(ERROR_GEN_FAILURE));
}

using Replug = PortTest;

TEST_F(Replug, OpensAgainWithNothingBuffered) {
    const PortEnd line = openLine();
    {
        const PortEnd host = openHost();
        host.write({1});
        line.write({2});
        port->unplug();
        line.write({3});
        port->replug();
    }
    const PortEnd host = openHost();
    EXPECT_EQ(host.readAvailable(), Bytes{});
    EXPECT_EQ(line.readAvailable(), Bytes{});
    host.write({4});
    EXPECT_EQ(line.readExactly(1), Bytes{4});
}

TEST_F(Replug, OldHandleStaysDeadBesideANewOne) {
    const PortEnd oldHost = openHost();
    port->unplug(PortStatus::operationAborted, PortStatus::generalFailure);
    port->replug();
    const PortEnd newHost = openHost();
    const PortEnd line = openLine();
    EXPECT_EQ(oldHost.startWrite({1})->wait().error, static_cast<DWORD>(ERROR_GEN_FAILURE));
    newHost.write({2});
    EXPECT_EQ(line.readAvailable(), Bytes{2});
}

TEST_F(Replug, ClosingTheOldHandle_LeavesTheNewOneOpen) {
    auto oldHost = std::make_unique<PortEnd>(port->hostName());
    port->unplug();
    port->replug();
    const PortEnd newHost = openHost();
    const PortEnd line = openLine();
    oldHost.reset();
    newHost.write({2});
    EXPECT_EQ(line.readAvailable(), Bytes{2});
    EXPECT_EQ(openError(port->hostName()), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST_F(Replug, OfAPluggedPort_Fails) {
    EXPECT_TRUE(thrownBy([&] { port->replug(); }));
}

} // namespace ridge::simulator::tests
