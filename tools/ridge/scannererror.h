#pragma once

#include "commanderror.h"

#include <cstdint>
#include <string>

namespace ridge::tool {

/// A failure that the library reported while the program did what `activity` says:
/// "connecting to COM7: File not found. (status 5)".
[[nodiscard]] CommandError scannerError(const std::string& activity, std::int32_t libraryStatus,
                                        const std::string& libraryText,
                                        ExitStatus exitStatus = ExitStatus::libraryError);

} // namespace ridge::tool
