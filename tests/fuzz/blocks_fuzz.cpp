// The chunks of a capture and of a stream, through the worker.

#include "fakefactory.h"
#include "recordinglistener.h"
#include "require.h"
#include "ridgedevice.h"
#include "ridgeexception.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace {

using ridge::test::require;

void splitInto(ridge::test::ChunkScript& script, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const std::size_t length = std::min<std::size_t>(bytes[0], bytes.size() - 1);
        const auto chunk = bytes.subspan(1, length);
        script.thenBytes({chunk.begin(), chunk.end()});
        bytes = bytes.subspan(1 + length);
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

/// Capture or stream, then chunks: length (1), bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    ridge::test::FakeFactory factory;
    ridge::test::RecordingListener listener;
    const bool capture = data[0] % 2 == 0;
    ridge::test::ChunkScript& script =
        capture ? factory.script.captureData : factory.script.streamData;
    splitInto(script, {data + 1, size - 1});
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
