#pragma once

#include <cstdint>
#include <random>

namespace ridge::simulator {

/// Only the engine's raw outputs are used: they are fixed by the standard, whereas the
/// distributions differ from one standard library to the next.
class RandomSource {
public:
    explicit RandomSource(std::uint32_t seed) : engine(seed) {}

    std::uint32_t word() { return static_cast<std::uint32_t>(engine()); }

    std::uint8_t byte() { return static_cast<std::uint8_t>(word() >> 24); }

    /// In [0, 1); exact in a double.
    double unit() { return static_cast<double>(word()) / 4294967296.0; }

    double between(double low, double high) { return low + (high - low) * unit(); }

private:
    std::mt19937 engine;
};

} // namespace ridge::simulator
