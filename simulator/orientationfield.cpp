#include "orientationfield.h"

#include <algorithm>
#include <cmath>

namespace ridge::simulator {

namespace {

double bump(double t) {
    return std::exp(-t * t);
}

} // namespace

OrientationField::OrientationField(FingerprintPattern pattern, double width, double height,
                                   RandomSource& random)
    : width(width), height(height) {
    tilt = random.between(-0.07, 0.07);
    switch (pattern) {
    case FingerprintPattern::arch:
        placeArch(random);
        break;
    case FingerprintPattern::loop:
        placeLoop(random);
        break;
    case FingerprintPattern::whorl:
        placeWhorl(random);
        break;
    }
    openCores();
}

void OrientationField::placeArch(RandomSource& random) {
    bend = {random.between(0.46, 0.54), random.between(0.52, 0.60)};
    tipBend = random.between(1.2, 1.5);
    archHeight = random.between(0.75, 1.0);
}

void OrientationField::placeLoop(RandomSource& random) {
    const double side = random.unit() < 0.5 ? -1.0 : 1.0;
    const Point core{0.5 - side * random.between(0.0, 0.04), random.between(0.40, 0.47)};
    const Point delta{0.5 + side * random.between(0.27, 0.34), random.between(0.74, 0.80)};
    cores = {{core}};
    recurve = random.between(0.75, 0.9);
    deltas = {delta};
    bend = core;
    tipBend = random.between(0.9, 1.2);
}

void OrientationField::placeWhorl(RandomSource& random) {
    const double middle = random.between(0.47, 0.53);
    const double upper = random.between(0.36, 0.40);
    const double apart = random.between(0.06, 0.13);
    const double aside = random.between(-0.04, 0.04);
    cores = {{{middle - aside, upper}}, {{middle + aside, upper + apart}}};
    recurve = random.between(0.1, 0.3);
    deltas = {{middle - random.between(0.30, 0.36), random.between(0.74, 0.80)},
              {middle + random.between(0.30, 0.36), random.between(0.74, 0.80)}};
    bend = {middle, upper};
    tipBend = random.between(0.8, 1.1);
}

double OrientationField::angleFrom(const Point& point, double x, double y) const {
    return std::atan2((point.y - y) * height, (x - point.x) * width);
}

void OrientationField::openCores() {
    for (Core& core : cores) {
        double others = tilt;
        for (const Core& other : cores) {
            if (&other != &core) {
                others += angleFrom(other.place, core.place.x, core.place.y) / 2.0;
            }
        }
        for (const Point& delta : deltas) {
            others -= angleFrom(delta, core.place.x, core.place.y) / 2.0;
        }
        // The one direction in which the ridges run straight away from the core.
        core.opening = 2.0 * others;
    }
}

double OrientationField::turnAround(const Core& core, double x, double y) const {
    const double angle = angleFrom(core.place, x, y);
    const double nearness = bump(std::hypot(x - core.place.x, y - core.place.y) / 0.5);
    // Most of the turn happens opposite the opening; without this a loop's legs would spread
    // like a fan where they should run side by side.
    return (angle - recurve * nearness * std::sin(angle - core.opening)) / 2.0;
}

double OrientationField::at(double x, double y) const {
    double angle = tilt;
    for (const Core& core : cores) {
        angle += turnAround(core, x, y);
    }
    for (const Point& delta : deltas) {
        angle -= angleFrom(delta, x, y) / 2.0;
    }
    const double aside = x - bend.x;
    // Above the bend the ridges follow the tip's outline; below it the bending fades.
    const double above = std::clamp((bend.y + 0.25 - y) / 0.6, 0.0, 1.0);
    angle -= tipBend * aside * above * above * (3.0 - 2.0 * above);
    // The arch's own hill: steepest left and right of the middle, flat at the crease.
    angle -= archHeight * 2.33 * (aside / 0.22) * bump(aside / 0.22) * bump((y - bend.y) / 0.25);
    return angle;
}

} // namespace ridge::simulator
