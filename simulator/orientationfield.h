#pragma once

#include "randomsource.h"

#include <vector>

namespace ridge::simulator {

enum class FingerprintPattern { arch, loop, whorl };

/// Ridge direction over a fingerprint: cores turn it by half a turn, deltas turn it back, and a
/// smooth arching bends it around the finger's tip. Coordinates are fractions of the width and
/// of the height, from the top left corner.
class OrientationField {
public:
    OrientationField(FingerprintPattern pattern, double width, double height, RandomSource& random);

    /// Radians, counter-clockwise from the horizontal, determined up to a half turn.
    double at(double x, double y) const;

private:
    struct Point {
        double x;
        double y;
    };

    struct Core {
        Point place;
        double opening = 0.0;
    };

    double angleFrom(const Point& point, double x, double y) const;
    double turnAround(const Core& core, double x, double y) const;
    void openCores();
    void placeArch(RandomSource& random);
    void placeLoop(RandomSource& random);
    void placeWhorl(RandomSource& random);

    double width;
    double height;
    std::vector<Core> cores;
    std::vector<Point> deltas;
    Point bend{0.5, 0.5};
    double recurve = 0.0;
    double tipBend = 0.0;
    double archHeight = 0.0;
    double tilt = 0.0;
};

} // namespace ridge::simulator
