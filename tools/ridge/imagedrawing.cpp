#include "imagedrawing.h"

#include "greyimage.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string_view>

namespace ridge::tool {
namespace {

constexpr std::size_t columnsOfFile = 80;

/// An image made smaller: each of its pixels is the mean of those that it stands for. A character
/// is twice as high as it is wide, so each holds two of them.
class ReducedImage {
public:
    ReducedImage(const CapturedImage& original, std::size_t mostColumns)
        : image(original), width(std::min<std::size_t>(mostColumns, original.width)),
          rows(std::max<std::size_t>(1, (image.height * width + image.width) /
                                            (2 * std::size_t{image.width}))) {}

    [[nodiscard]] std::size_t columns() const { return width; }
    /// Of characters.
    [[nodiscard]] std::size_t lines() const { return rows; }

    [[nodiscard]] int upper(std::size_t column, std::size_t line) const {
        return mean(column, 2 * line);
    }
    [[nodiscard]] int lower(std::size_t column, std::size_t line) const {
        return mean(column, 2 * line + 1);
    }

private:
    struct Range {
        std::size_t begin;
        std::size_t end;
    };

    /// The pixels of the original that one of `count` parts stands for; at least one.
    static Range part(std::size_t index, std::size_t count, std::size_t size) {
        const std::size_t begin = index * size / count;
        return {begin, std::max(begin + 1, (index + 1) * size / count)};
    }

    [[nodiscard]] int mean(std::size_t x, std::size_t y) const {
        const Range across = part(x, width, image.width);
        const Range down = part(y, 2 * rows, image.height);
        std::uint64_t sum = 0;
        for (std::size_t row = down.begin; row < down.end; ++row) {
            for (std::size_t column = across.begin; column < across.end; ++column) {
                sum += image.bytes[row * image.width + column];
            }
        }
        return static_cast<int>(sum / ((across.end - across.begin) * (down.end - down.begin)));
    }

    const CapturedImage& image;
    std::size_t width;
    std::size_t rows;
};

std::string colour(int kind, int grey) {
    const std::string level = std::to_string(grey);
    return "\x1B[" + std::to_string(kind) + ";2;" + level + ";" + level + ";" + level + "m";
}

} // namespace

std::string drawInColours(const CapturedImage& image, std::size_t columns) {
    checkGrey(image);
    constexpr auto upperHalfBlock = "\xE2\x96\x80";
    constexpr auto normalColours = "\x1B[0m";
    constexpr int foreground = 38;
    constexpr int background = 48;
    const ReducedImage reduced(image, columns);
    std::string drawing;
    for (std::size_t line = 0; line < reduced.lines(); ++line) {
        std::optional<int> upper;
        std::optional<int> lower;
        for (std::size_t column = 0; column < reduced.columns(); ++column) {
            if (const int grey = reduced.upper(column, line); upper != grey) {
                upper = grey;
                drawing += colour(foreground, grey);
            }
            if (const int grey = reduced.lower(column, line); lower != grey) {
                lower = grey;
                drawing += colour(background, grey);
            }
            drawing += upperHalfBlock;
        }
        drawing += normalColours;
        drawing += '\n';
    }
    return drawing;
}

std::string drawInCharacters(const CapturedImage& image, std::size_t columns) {
    checkGrey(image);
    constexpr std::string_view fromDarkToLight = "@%#*+=-:. ";
    const ReducedImage reduced(image, columns);
    std::string drawing;
    for (std::size_t line = 0; line < reduced.lines(); ++line) {
        std::string text;
        for (std::size_t column = 0; column < reduced.columns(); ++column) {
            const auto grey = static_cast<std::size_t>(
                (reduced.upper(column, line) + reduced.lower(column, line)) / 2);
            text += fromDarkToLight[grey * fromDarkToLight.size() / 256];
        }
        drawing += text.substr(0, text.find_last_not_of(' ') + 1) + "\n";
    }
    return drawing;
}

void show(const CapturedImage& image, const Environment& environment) {
    const std::optional<Terminal>& terminal = environment.outputTerminal;
    const std::size_t columns = terminal ? terminal->columns : columnsOfFile;
    std::istringstream lines(terminal && terminal->colours ? drawInColours(image, columns)
                                                           : drawInCharacters(image, columns));
    for (std::string line; std::getline(lines, line);) {
        environment.output << line << '\n' << std::flush;
    }
}

} // namespace ridge::tool
