// The chunks of a capture and of a stream, through the worker.

#include "fakefactory.h"
#include "packet.h"
#include "recordinglistener.h"
#include "require.h"
#include "ridgedevice.h"
#include "ridgeexception.h"
#include "runs.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace {

using ridge::test::require;

/// More than the longest block has.
constexpr std::size_t enough = 150000;

void splitInto(ridge::test::ChunkScript& script, ridge::test::Runs& input) {
    for (std::size_t left = enough; !input.ended();) {
        const std::vector<std::uint8_t> chunk = input.next(std::min(left, ridge::maxPacketPayload));
        left -= chunk.size();
        script.thenBytes(chunk);
    }
}

/// Every end of a worker that has its own words, and every image that a block may hold.
bool isExpected(const std::string& event) {
    for (const char* beginning :
         {"image ", "error 10 Invalid captured data length ",
          "error 10 Invalid stream data length ", "error 10 Invalid captured data header length ",
          "error 10 Invalid stream data header length ", "error 10 Invalid capture data",
          "error 9 used up"}) {
        if (event.starts_with(beginning)) {
            return true;
        }
    }
    return false;
}

} // namespace

/// Capture or stream, then chunks as runs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ridge::test::Runs input({data, size});
    ridge::test::FakeFactory factory;
    ridge::test::RecordingListener listener;
    const bool capture = input.byte() % 2 == 0;
    ridge::test::ChunkScript& script =
        capture ? factory.script.captureData : factory.script.streamData;
    splitInto(script, input);
    script.then([]() -> ridge::test::Chunk { throw RIDGE_EXCEPTION(9, "used up"); });
    ridge::RidgeDevice device("COM7", factory);
    if (capture) {
        device.startCapture(1, 1000, 1, nullptr, listener);
    } else {
        device.startStream(nullptr, listener);
    }
    while (device.isCaptureActive()) {
        std::this_thread::yield();
    }
    const std::vector<std::string> events = listener.events.entries();
    require(!events.empty());
    for (const std::string& event : events) {
        require(isExpected(event));
    }
    return 0;
}
