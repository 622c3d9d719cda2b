#pragma once

#include "baton.h"
#include "performanceclock.h"
#include "requests.h"
#include "serialend.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace ridge::bench {

/// A host with the library's threads and nothing in them: one reads, one counts the frames, and
/// the caller waits for one. They hand over with `Baton`.
template <typename Baton>
class HandOffHost {
public:
    explicit HandOffHost(const std::string& portName)
        : port(portName), dispatching([this] { dispatchLoop(); }),
          receiving([this] { receiveLoop(); }) {}

    ~HandOffHost() {
        port.stop();
        receiving.join();
        dispatching.join();
    }

    HandOffHost(const HandOffHost&) = delete;
    HandOffHost& operator=(const HandOffHost&) = delete;

    /// One command; the time from its answer's read to the caller.
    Time command() {
        exchange(requests.setSettings, 1);
        const Time now = performanceTime();
        return now - Time(lastRead);
    }

    /// What a session begins with.
    void greet() {
        exchange(requests.deviceInfo, 1);
        exchange(requests.deviceSettings, 1);
    }

    /// Fetches an image in so many packets; the time until the last one was acknowledged.
    Time capture(std::size_t packets) {
        const Time start = performanceTime();
        exchange(requests.startCapture, 1);
        // The answer comes before the first packet.
        exchange(requests.captureData, 2);
        for (std::size_t packet = 1; packet < packets; ++packet) {
            exchange(requests.acknowledgement, 1);
        }
        port.write(requests.acknowledgement);
        return performanceTime() - start;
    }

private:
    void exchange(const std::vector<std::uint8_t>& request, std::size_t answers) {
        awaited = framesCame + answers;
        port.write(request);
        while (framesCame < awaited) {
            frameCame.await();
        }
    }

    void receiveLoop() {
        while (port.await() != Awaited::stop) {
            for (auto bytes = port.read(); !bytes.empty(); bytes = port.read()) {
                lastRead = performanceTime().count();
                framesRead += countFrames(bytes.data(), bytes.size());
                bytesCame.pass();
            }
        }
        ended = true;
        bytesCame.pass();
    }

    void dispatchLoop() {
        for (bytesCame.await(); !ended; bytesCame.await()) {
            const std::size_t frames = framesRead;
            if (frames != framesCame) {
                framesCame = frames;
                frameCame.pass();
            }
        }
    }

    Requests requests;
    SerialEnd port;
    std::atomic<Time::rep> lastRead{0};
    std::atomic<std::size_t> framesRead{0};
    std::atomic<std::size_t> framesCame{0};
    std::size_t awaited = 0;
    std::atomic<bool> ended{false};
    Baton bytesCame;
    Baton frameCame;
    std::thread dispatching;
    std::thread receiving;
};

} // namespace ridge::bench
