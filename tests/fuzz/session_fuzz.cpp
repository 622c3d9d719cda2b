// A whole session with a line that answers whatever it likes. The program's clock jumps, so that
// time-outs take no time.

#include "host.h"
#include "memoryline.h"
#include "require.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace {

using ridge::test::Bytes;
using ridge::test::Host;
using ridge::test::MemoryLine;
using ridge::test::require;

} // namespace

/// What the line answers to one write after the other: length (1), bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::span<const std::uint8_t> rest(data, size);
    MemoryLine line("COM3");
    line.onHostWrite([&](const Bytes&) {
        if (!rest.empty()) {
            const std::size_t length = std::min<std::size_t>(rest[0], rest.size() - 1);
            const auto answer = rest.subspan(1, length);
            rest = rest.subspan(1 + length);
            line.deliver(Bytes(answer.begin(), answer.end()));
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
