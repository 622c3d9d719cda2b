#include "hostjudge.h"

#include "commanderror.h"
#include "contrast.h"
#include "operation.h"

#include <string>

namespace ridge::tool {

HostJudge::HostJudge(ScannerSession& scanner, OperationInbox& captureInbox,
                     const CommandContext& context, std::uint32_t mayReject)
    : session(scanner), inbox(captureInbox), messages(context.messages), attempts(mayReject) {}

void HostJudge::judge(const CapturedImage& image) {
    const int found = contrast(image.bytes);
    const std::string text = sizes(image) + ", contrast " + std::to_string(found);
    if (found >= goodContrast) {
        accepted = true;
        messages.progress("image accepted: " + text);
        session.judge(true);
        return;
    }
    ++rejected;
    messages.progress("image rejected: " + text + " is below " + std::to_string(goodContrast));
    if (rejected == attempts) {
        stopOperation(session, inbox);
        throw CommandError(ExitStatus::noImage,
                           "no image was good enough; rejected: " + std::to_string(rejected));
    }
    session.judge(false);
}

} // namespace ridge::tool
