#pragma once

#include "datalinkhandler.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace ridge::test {

/// Keeps the frames that a data link hands on.
class FrameCollector final : public DataLinkListener {
public:
    void onFrame(const std::uint8_t* bytes, std::uint32_t size) override {
        frames.emplace_back(bytes, bytes + size);
        if (afterFrame) {
            afterFrame();
        }
    }

    std::vector<std::vector<std::uint8_t>> frames;
    /// Called with each frame stored; what it throws is what the call throws.
    std::function<void()> afterFrame;
};

} // namespace ridge::test
