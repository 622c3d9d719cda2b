#include "fingerprint.h"

#include "randomsource.h"
#include "ridgefilter.h"
#include "smoothnoise.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace ridge::simulator {

namespace {

constexpr double shortestPeriod = 7.8;
constexpr double longestPeriod = 10.6;
constexpr int growthSteps = 14;

FingerprintPattern chosenPattern(RandomSource& random) {
    const double choice = random.unit();
    if (choice < 0.10) {
        return FingerprintPattern::arch;
    }
    return choice < 0.70 ? FingerprintPattern::loop : FingerprintPattern::whorl;
}

std::vector<std::int16_t> growRidges(const FingerprintOptions& options,
                                     const OrientationField& directions, RandomSource& random) {
    const double width = options.width;
    const double height = options.height;
    const double basePeriod = random.between(8.6, 9.2);
    const SmoothNoise periodNoise(random, width, height, 90.0);
    RidgeFilter filter(options.width, options.height, shortestPeriod, longestPeriod);
    std::vector<std::int16_t> ridges;
    ridges.reserve(std::size_t{options.width} * options.height);
    for (std::uint32_t y = 0; y < options.height; ++y) {
        // Ridges lie further apart towards the finger's crease.
        const double widening = 1.1 * std::max(0.0, y / height - 0.55);
        for (std::uint32_t x = 0; x < options.width; ++x) {
            filter.tune(x, y, directions.at(x / width, y / height),
                        basePeriod + widening + 0.6 * periodNoise.at(x, y));
            ridges.push_back(static_cast<std::int16_t>(
                static_cast<int>(random.word() % (2 * RidgeFilter::amplitude + 1)) -
                RidgeFilter::amplitude));
        }
    }
    for (int step = 0; step < growthSteps; ++step) {
        filter.apply(ridges);
    }
    return ridges;
}

// How far inside the finger's outline a point lies, in pixels; negative outside.
class Outline {
public:
    Outline(double width, double height, RandomSource& random)
        : centreX(width * random.between(0.485, 0.515)),
          centreY(height * random.between(0.485, 0.515)),
          radiusX(width * random.between(0.42, 0.455)),
          radiusY(height * random.between(0.445, 0.475)), rough(random, width, height, 22.0),
          wavy(random, width, height, 70.0) {}

    double depth(double x, double y) const {
        const double u = std::abs(x - centreX) / radiusX;
        const double v = std::abs(y - centreY) / radiusY;
        // Between an ellipse and a rectangle, as a fingertip pressed flat leaves it.
        const double distance = std::pow(std::pow(u, 2.5) + std::pow(v, 2.5), 1.0 / 2.5);
        return (1.0 - distance) * std::min(radiusX, radiusY) + 3.0 * rough.at(x, y) +
               5.0 * wavy.at(x, y);
    }

private:
    double centreX;
    double centreY;
    double radiusX;
    double radiusY;
    SmoothNoise rough;
    SmoothNoise wavy;
};

// Thin white lines across the ridges.
class Scratches {
public:
    Scratches(double width, double height, RandomSource& random) {
        const std::uint32_t count = random.word() % 4;
        for (std::uint32_t i = 0; i < count; ++i) {
            const double angle = random.between(0.0, std::numbers::pi);
            lines.push_back({width * random.between(0.25, 0.75), height * random.between(0.2, 0.85),
                             std::cos(angle), std::sin(angle), random.between(14.0, 45.0),
                             random.between(0.5, 1.0)});
        }
    }

    // From 0 on a scratch to 1 away from all of them.
    double clearance(double x, double y) const {
        double result = 1.0;
        for (const Line& line : lines) {
            const double along = (x - line.x) * line.alongX + (y - line.y) * line.alongY;
            const double bow = along * along * 0.004;
            const double across = (y - line.y) * line.alongX - (x - line.x) * line.alongY - bow;
            const double taper = 1.0 - std::abs(along) / line.halfLength;
            if (taper > 0.0) {
                const double halfWidth = line.halfWidth * (0.4 + 0.6 * taper);
                result = std::min(result, std::clamp(std::abs(across) - halfWidth, 0.0, 1.0));
            }
        }
        return result;
    }

private:
    struct Line {
        double x;
        double y;
        double alongX;
        double alongY;
        double halfLength;
        double halfWidth;
    };

    std::vector<Line> lines;
};

double smoothStep(double low, double high, double value) {
    const double t = std::clamp((value - low) / (high - low), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// The finger pressed on the glass: ridge thickness and darkness follow the pressure.
GreyImage impression(const FingerprintOptions& options, const std::vector<std::int16_t>& ridges,
                     RandomSource& random) {
    const double width = options.width;
    const double height = options.height;
    const Outline outline(width, height, random);
    const SmoothNoise pressure(random, width, height, 60.0);
    const SmoothNoise moisture(random, width, height, 7.0);
    const SmoothNoise grain(random, width, height, 2.5);
    const Scratches scratches(width, height, random);
    const double firmness = random.between(-0.12, 0.12);
    GreyImage image{options.width, options.height, {}};
    image.pixels.reserve(ridges.size());
    for (std::uint32_t y = 0; y < options.height; ++y) {
        for (std::uint32_t x = 0; x < options.width; ++x) {
            const double depth = outline.depth(x, y);
            const double contact = smoothStep(-1.0, 16.0, depth);
            // The valley's centre is -1, the ridge's centre 1.
            const double profile =
                static_cast<double>(ridges[image.pixels.size()]) / RidgeFilter::amplitude;
            const double lift = firmness + 0.28 * pressure.at(x, y) + 0.22 * moisture.at(x, y) -
                                1.3 * (1.0 - contact);
            const double ridge = smoothStep(-0.55, 0.75, profile + lift) *
                                 smoothStep(-2.0, 6.0, depth) * scratches.clearance(x, y);
            const double darkness = 188.0 + 22.0 * pressure.at(x, y) + 14.0 * grain.at(x, y);
            const double haze = 14.0 * contact;
            const double sensorNoise = 5.0 * (random.unit() + random.unit() - 1.0);
            const double grey = 251.0 - haze - (darkness - haze) * ridge + sensorNoise;
            image.pixels.push_back(static_cast<std::uint8_t>(std::clamp(grey, 0.0, 255.0)));
        }
    }
    return image;
}

} // namespace

GreyImage generateFingerprint(const FingerprintOptions& options) {
    RandomSource random(options.seed);
    const FingerprintPattern seedsOwn = chosenPattern(random);
    const OrientationField directions(options.pattern.value_or(seedsOwn), options.width,
                                      options.height, random);
    const std::vector<std::int16_t> ridges = growRidges(options, directions, random);
    return impression(options, ridges, random);
}

} // namespace ridge::simulator
