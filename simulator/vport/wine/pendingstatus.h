#pragma once

namespace ridge::simulator {

// Wine 8 leaves an error code instead of STATUS_PENDING in the OVERLAPPED of a device control
// request that a driver keeps pending, so that waiting for its result does not wait. Mends that for
// the calling process; without effect on Windows and on a second call.
void mendPendingStatus();

} // namespace ridge::simulator
