#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace ridge::test {

/// Reads an input that is short and stands for long byte strings: a run is its length (2), how many
/// of its bytes are given (1), and these; the last of them is repeated up to the length. A run of
/// no length is its two bytes alone.
class Runs {
public:
    explicit Runs(std::span<const std::uint8_t> input) : rest(input) {}

    [[nodiscard]] bool ended() const { return rest.size() < 2; }

    /// A byte of its own, in front of a run; zero when the input has ended.
    std::uint8_t byte() {
        const auto taken = take(1);
        return taken.empty() ? std::uint8_t{0} : taken.front();
    }

    /// Not more than `longest` bytes.
    std::vector<std::uint8_t> next(std::size_t longest) {
        const std::size_t high = byte();
        const std::size_t length = std::min(high * 256U + byte(), longest);
        if (length == 0) {
            return {};
        }
        const std::size_t givenCount = byte();
        const auto given = take(std::min(givenCount, length));
        std::vector<std::uint8_t> bytes(given.begin(), given.end());
        bytes.resize(length, bytes.empty() ? std::uint8_t{0} : bytes.back());
        return bytes;
    }

    /// The runs up to one of no length, together.
    std::vector<std::uint8_t> joined(std::size_t longest) {
        std::vector<std::uint8_t> all;
        while (!ended()) {
            const std::vector<std::uint8_t> run = next(longest - all.size());
            if (run.empty()) {
                break;
            }
            all.insert(all.end(), run.begin(), run.end());
        }
        return all;
    }

private:
    std::span<const std::uint8_t> take(std::size_t count) {
        const auto taken = rest.first(std::min(count, rest.size()));
        rest = rest.subspan(taken.size());
        return taken;
    }

    std::span<const std::uint8_t> rest;
};

} // namespace ridge::test
