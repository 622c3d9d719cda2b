#include "portcontrol.h"

namespace ridge::simulator {

namespace {

std::uint32_t value(PortStatus status) {
    return static_cast<std::uint32_t>(status);
}

} // namespace

PortControl::PortControl(std::uint32_t number) : port(number) {}

std::string PortControl::hostName() const {
    return RIDGE_VPORT_HOST_PREFIX + std::to_string(port);
}

std::string PortControl::lineName() const {
    return RIDGE_VPORT_LINE_PREFIX + std::to_string(port);
}

PortState PortControl::state() const {
    const auto state =
        device.request<RidgeVportState>(RIDGE_VPORT_GET_STATE, RidgeVportPort{.port = port});
    return {.flags = state.flags,
            .bytesForHost = state.bytesForHost,
            .bytesForLine = state.bytesForLine,
            .bytesFromHost = state.bytesFromHost,
            .bytesFromLine = state.bytesFromLine,
            .hostLastSent = state.hostLastSent,
            .lineLastSent = state.lineLastSent};
}

void PortControl::await(PortFlag flag, bool wanted) const {
    const auto mask = static_cast<std::uint32_t>(flag);
    device.request<RidgeVportState>(
        RIDGE_VPORT_AWAIT_STATE,
        RidgeVportAwaitState{.port = port, .mask = mask, .wanted = wanted ? mask : 0});
}

void PortControl::sendRefusal(PortRequest request, std::uint32_t status, bool once) const {
    device.send(RIDGE_VPORT_REFUSE, RidgeVportRefuse{.port = port,
                                                     .request = static_cast<std::uint32_t>(request),
                                                     .status = status,
                                                     .once = once ? 1U : 0U});
}

void PortControl::refuseOnce(PortRequest request, PortStatus status) const {
    sendRefusal(request, value(status), true);
}

void PortControl::refuse(PortRequest request, PortStatus status) const {
    sendRefusal(request, value(status), false);
}

void PortControl::accept(PortRequest request) const {
    sendRefusal(request, 0, false);
}

void PortControl::holdWrites() const {
    device.send(RIDGE_VPORT_HOLD_WRITES, RidgeVportHoldWrites{.port = port, .hold = 1});
}

void PortControl::releaseWrites() const {
    device.send(RIDGE_VPORT_HOLD_WRITES, RidgeVportHoldWrites{.port = port, .hold = 0});
}

void PortControl::abortWait(PortStatus status) const {
    device.send(RIDGE_VPORT_ABORT_WAIT, RidgeVportAbortWait{.port = port, .status = value(status)});
}

void PortControl::unplug(PortStatus pending, PortStatus later) const {
    device.send(RIDGE_VPORT_UNPLUG, RidgeVportUnplug{.port = port,
                                                     .pendingStatus = value(pending),
                                                     .laterStatus = value(later)});
}

void PortControl::replug() const {
    device.send(RIDGE_VPORT_REPLUG, RidgeVportPort{.port = port});
}

void PortControl::remove() const {
    device.send(RIDGE_VPORT_REMOVE, RidgeVportPort{.port = port});
}

} // namespace ridge::simulator
