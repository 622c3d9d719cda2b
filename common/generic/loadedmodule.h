#pragma once

namespace ridge {

/// Keeps the module that holds this code loaded until the process ends. A detached thread runs
/// its last instructions there after everybody has stopped waiting for it, so a host that unloads
/// the library right then would take the code away from under it.
void keepModuleLoaded() noexcept;

} // namespace ridge
