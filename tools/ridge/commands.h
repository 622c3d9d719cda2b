#pragma once

#include "commandcontext.h"
#include "commandline.h"
#include "commandresult.h"
#include "scannerchoice.h"

namespace ridge::tool {

/// The commands throw CommandError, or leave it in the result when they achieved something.
[[nodiscard]] CommandResult runList();
[[nodiscard]] CommandResult runInfo(const InfoOptions& options, const ChosenScanner& scanner,
                                    const CommandContext& context);
[[nodiscard]] CommandResult runSettings(const SettingsOptions& options,
                                        const ChosenScanner& scanner,
                                        const CommandContext& context);
[[nodiscard]] CommandResult runCapture(const CaptureOptions& options, const ChosenScanner& scanner,
                                       const CommandContext& context);
[[nodiscard]] CommandResult runStream(const StreamOptions& options, const ChosenScanner& scanner,
                                      const CommandContext& context);

} // namespace ridge::tool
