#pragma once

#include "performanceclock.h"
#include "requests.h"
#include "serialend.h"

#include <cstddef>
#include <string>
#include <vector>

namespace ridge::bench {

/// A host that does what the line takes and no more: one thread reads, counts the frames and
/// writes what follows them.
class MinimalHost {
public:
    explicit MinimalHost(const std::string& portName) : port(portName) {}

    /// What a session begins with.
    void greet();
    /// Sends a request and awaits its answer.
    void command(const std::vector<std::uint8_t>& request);
    /// Fetches an image in so many packets; the time until the last one was acknowledged.
    Time capture(std::size_t packets);

    Requests requests;

private:
    template <typename OnFrames>
    void receive(OnFrames onFrames);

    SerialEnd port;
};

} // namespace ridge::bench
