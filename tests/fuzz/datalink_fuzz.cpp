#include "defaultdatalinkhandler.h"
#include "fakeserialport.h"
#include "framecollector.h"
#include "require.h"
#include "runs.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using ridge::test::require;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t longestFrame = 10005;
/// Two such frames of escapes alone.
constexpr std::size_t longestLine = 2 * (2 * longestFrame + 2);

class NoErrors final : public ridge::SerialPortErrorListener {
public:
    void onSerialPortError(const std::string&) override { require(false); }
};

/// The frames of a line that brings the bytes in pieces of a size.
std::vector<Bytes> framesOf(const Bytes& line, std::size_t pieceSize) {
    NoErrors errors;
    ridge::test::FrameCollector collector;
    ridge::test::FakeSerialPortFactory factory;
    const ridge::DefaultDataLinkHandler dataLink(factory, "COM3", errors, collector);
    for (std::size_t begin = 0; begin < line.size(); begin += pieceSize) {
        const std::size_t size = std::min(pieceSize, line.size() - begin);
        factory.listener->onData(line.data() + begin, static_cast<std::uint32_t>(size));
    }
    return collector.frames;
}

/// What is sent comes back as it is.
void checkRoundTrip(const Bytes& payload) {
    NoErrors errors;
    ridge::test::FrameCollector collector;
    ridge::test::FakeSerialPortFactory factory;
    ridge::DefaultDataLinkHandler dataLink(factory, "COM3", errors, collector);
    dataLink.sendFrame(payload.data(), static_cast<std::int32_t>(payload.size()));
    for (const Bytes& written : factory.writes) {
        factory.deliver(written);
    }
    require(collector.frames == std::vector<Bytes>{payload});
}

} // namespace

/// The line as runs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes line = ridge::test::Runs({data, size}).joined(longestLine);
    const std::vector<Bytes> frames = framesOf(line, line.size() + 1);
    require(frames == framesOf(line, 1));
    require(frames == framesOf(line, 7));
    for (const Bytes& frame : frames) {
        require(!frame.empty() && frame.size() <= longestFrame);
    }
    if (!line.empty() && line.size() <= longestFrame) {
        checkRoundTrip(line);
    }
    return 0;
}
