#pragma once

#include "scopedhandle.h"

#include <cstddef>
#include <span>

namespace ridge::simulator {

// A handle to the virtual port driver's control device. Its requests may be made on several threads
// at once.
class ControlDevice {
public:
    // Whether the driver runs.
    static bool exists();

    ControlDevice();

    template <typename Input>
    void send(unsigned long code, const Input& input) const {
        transfer(code, std::as_bytes(std::span(&input, 1)), {});
    }

    template <typename Output>
    Output request(unsigned long code) const {
        Output output{};
        transfer(code, {}, std::as_writable_bytes(std::span(&output, 1)));
        return output;
    }

    template <typename Output, typename Input>
    Output request(unsigned long code, const Input& input) const {
        Output output{};
        transfer(code, std::as_bytes(std::span(&input, 1)),
                 std::as_writable_bytes(std::span(&output, 1)));
        return output;
    }

private:
    // Waits until the request has ended; throws std::system_error if it failed.
    void transfer(unsigned long code, std::span<const std::byte> input,
                  std::span<std::byte> output) const;

    ScopedHandle handle;
};

} // namespace ridge::simulator
