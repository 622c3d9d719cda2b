#include "smoothnoise.h"

#include <algorithm>

namespace ridge::simulator {

namespace {

double eased(double t) {
    return t * t * (3.0 - 2.0 * t);
}

} // namespace

SmoothNoise::SmoothNoise(RandomSource& random, double width, double height, double spacing)
    : spacing(spacing), columns(static_cast<std::size_t>(width / spacing) + 2),
      rows(static_cast<std::size_t>(height / spacing) + 2) {
    values.reserve(columns * rows);
    for (std::size_t i = 0; i < columns * rows; ++i) {
        values.push_back(random.between(-1.0, 1.0));
    }
}

double SmoothNoise::at(double x, double y) const {
    const double latticeX = std::clamp(x / spacing, 0.0, static_cast<double>(columns - 1));
    const double latticeY = std::clamp(y / spacing, 0.0, static_cast<double>(rows - 1));
    const std::size_t column = std::min(static_cast<std::size_t>(latticeX), columns - 2);
    const std::size_t row = std::min(static_cast<std::size_t>(latticeY), rows - 2);
    const double u = eased(latticeX - static_cast<double>(column));
    const double v = eased(latticeY - static_cast<double>(row));
    const double* top = &values[row * columns + column];
    const double* bottom = top + columns;
    const double upper = top[0] + (top[1] - top[0]) * u;
    const double lower = bottom[0] + (bottom[1] - bottom[0]) * u;
    return upper + (lower - upper) * v;
}

} // namespace ridge::simulator
