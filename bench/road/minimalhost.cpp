#include "minimalhost.h"

namespace ridge::bench {

/// Reads until `onFrames`, which is told how many frames each read has ended, says that it is over.
/// It returns with that read: whether anything is left is asked before the next wait.
template <typename OnFrames>
void MinimalHost::receive(OnFrames onFrames) {
    for (;;) {
        for (auto bytes = port.read(); !bytes.empty(); bytes = port.read()) {
            const std::size_t frames = countFrames(bytes.data(), bytes.size());
            if (frames != 0 && onFrames(frames)) {
                return;
            }
        }
        port.await();
    }
}

void MinimalHost::greet() {
    command(requests.deviceInfo);
    command(requests.deviceSettings);
}

void MinimalHost::command(const std::vector<std::uint8_t>& request) {
    port.write(request);
    receive([](std::size_t) { return true; });
}

Time MinimalHost::capture(std::size_t packets) {
    const Time start = performanceTime();
    Time end{0};
    command(requests.startCapture);
    port.write(requests.captureData);
    // The answer comes first.
    const std::size_t wanted = packets + 1;
    std::size_t received = 0;
    receive([&](std::size_t frames) {
        for (; frames != 0; --frames) {
            if (++received > 1) {
                port.write(requests.acknowledgement);
            }
        }
        end = performanceTime();
        return received == wanted;
    });
    return end - start;
}

} // namespace ridge::bench
