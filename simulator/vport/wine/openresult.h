#pragma once

namespace ridge::simulator {

// Wine 8 opens a device whatever its driver answers. Makes opening an end of a virtual port fail in
// the calling process when the driver refuses it; without effect on Windows and on a second call.
void mendOpenResult();

} // namespace ridge::simulator
