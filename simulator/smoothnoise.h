#pragma once

#include "randomsource.h"

#include <cstddef>
#include <vector>

namespace ridge::simulator {

/// Slowly varying noise in [-1, 1] over a rectangle: random values on a lattice, with smooth
/// interpolation between them.
class SmoothNoise {
public:
    SmoothNoise(RandomSource& random, double width, double height, double spacing);

    /// Points outside the rectangle take the value of the nearest edge.
    double at(double x, double y) const;

private:
    double spacing;
    std::size_t columns;
    std::size_t rows;
    std::vector<double> values;
};

} // namespace ridge::simulator
