#pragma once

namespace ridge::test {

/// Makes virtual COM ports usable in this process: Wine's faults are mended around the library,
/// before it runs, the driver is started, and what simulators have left that were killed earlier is
/// taken away. Throws std::runtime_error.
void prepareVirtualPorts();

} // namespace ridge::test
