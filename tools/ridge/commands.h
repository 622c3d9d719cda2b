#pragma once

#include "commandcontext.h"
#include "commandline.h"
#include "commandresult.h"

namespace ridge::tool {

/// The commands throw CommandError, or leave it in the result when they achieved something.
[[nodiscard]] CommandResult runInfo(const InfoOptions& options, const CommandContext& context);
[[nodiscard]] CommandResult runSettings(const SettingsOptions& options,
                                        const CommandContext& context);
[[nodiscard]] CommandResult runCapture(const CaptureOptions& options,
                                       const CommandContext& context);
[[nodiscard]] CommandResult runStream(const StreamOptions& options, const CommandContext& context);

} // namespace ridge::tool
