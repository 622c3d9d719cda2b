// A whole session with a line that answers whatever it likes. The program's clock jumps, so that
// time-outs take no time.

#include "host.h"
#include "memoryline.h"
#include "require.h"
#include "runs.h"

#include <cstddef>
#include <cstdint>

namespace {

using ridge::test::Bytes;
using ridge::test::Host;
using ridge::test::MemoryLine;
using ridge::test::require;

/// Of 10005 escapes.
constexpr std::size_t longestFrame = 2 * 10005 + 2;

} // namespace

/// What the line answers to one write after the other: runs up to one of no length.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ridge::test::Runs input({data, size});
    MemoryLine line("COM3");
    line.onHostWrite([&](const Bytes&) {
        if (!input.ended()) {
            line.deliver(input.joined(longestFrame));
        }
    });
    Host host;
    if (host.connect("COM3") != RIDGE_SUCCESS) {
        require(!host.lastError().empty());
        require(ridgeIsConnected(host.context()) == 0);
        return 0;
    }
    const ridgeDeviceSettings settings{1, 1};
    (void)ridgeSettingsSet(host.context(), &settings);
    if (host.startCapture({1, 1000, 1}, true) == RIDGE_SUCCESS) {
        host.waitForImagesOrFailure(1);
        ridgeStopCapture(host.context());
    }
    if (host.startStream() == RIDGE_SUCCESS) {
        host.waitForImagesOrFailure(host.images().size() + 1);
        ridgeStopCapture(host.context());
    }
    return 0;
}
