#pragma once

#include "commandcontext.h"
#include "commandline.h"
#include "commandresult.h"
#include "scannerchoice.h"

namespace ridge::tool {

/// The commands throw CommandError, or leave it in the result when they achieved something.
[[nodiscard]] CommandResult runList();
[[nodiscard]] CommandResult runCompletion(const CompletionOptions& options);
/// Looks for the scanner itself, as that is a part of the test.
[[nodiscard]] CommandResult runSelfTest(const SelfTestOptions& options,
                                        const CommandContext& context);
[[nodiscard]] CommandResult runInfo(const InfoOptions& options, const ChosenScanner& scanner,
                                    const CommandContext& context);
[[nodiscard]] CommandResult runSettings(const SettingsOptions& options,
                                        const ChosenScanner& scanner,
                                        const CommandContext& context);
[[nodiscard]] CommandResult runCapture(const CaptureOptions& options, const ChosenScanner& scanner,
                                       const CommandContext& context);
[[nodiscard]] CommandResult runStream(const StreamOptions& options, const ChosenScanner& scanner,
                                      const CommandContext& context);
[[nodiscard]] CommandResult runKeySet(const KeySetOptions& options, const ChosenScanner& scanner,
                                      const CommandContext& context);
[[nodiscard]] CommandResult runKeyClear(const KeyClearOptions& options,
                                        const ChosenScanner& scanner,
                                        const CommandContext& context);
[[nodiscard]] CommandResult runCertGet(const CertGetOptions& options, const ChosenScanner& scanner,
                                       const CommandContext& context);
[[nodiscard]] CommandResult runCertSet(const CertSetOptions& options, const ChosenScanner& scanner,
                                       const CommandContext& context);
[[nodiscard]] CommandResult runCertClear(const CertClearOptions& options,
                                         const ChosenScanner& scanner,
                                         const CommandContext& context);
[[nodiscard]] CommandResult runCsr(const CsrOptions& options, const ChosenScanner& scanner,
                                   const CommandContext& context);

} // namespace ridge::tool
