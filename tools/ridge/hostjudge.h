#pragma once

#include "commandcontext.h"
#include "operationinbox.h"
#include "scannersession.h"

#include <cstdint>

namespace ridge::tool {

/// Decides about the images that a host-assisted capture shows: the first one with a good contrast
/// is accepted.
class HostJudge {
public:
    HostJudge(ScannerSession& session, OperationInbox& inbox, const CommandContext& context,
              std::uint32_t attempts);

    /// Gives the verdict. Stops the capture and throws CommandError when this was the last image
    /// that it may reject.
    void judge(const CapturedImage& image);

    [[nodiscard]] bool hasAccepted() const { return accepted; }
    [[nodiscard]] std::uint32_t rejections() const { return rejected; }

private:
    ScannerSession& session;
    OperationInbox& inbox;
    Messages& messages;
    std::uint32_t attempts;
    std::uint32_t rejected = 0;
    bool accepted = false;
};

} // namespace ridge::tool
