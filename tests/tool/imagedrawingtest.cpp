#include "imagedrawing.h"

#include "commanderror.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace ridge::tool {
namespace {

CapturedImage image(std::uint32_t width, std::uint32_t height,
                    const std::vector<std::uint8_t>& pixels) {
    CapturedImage result;
    result.width = width;
    result.height = height;
    result.bytes = pixels;
    return result;
}

const std::string block = "\xE2\x96\x80";

} // namespace

TEST(ImageDrawing, CharacterInColours_IsTwoPixelsOneAboveTheOther) {
    EXPECT_EQ(drawInColours(image(1, 4, {1, 2, 3, 4}), 80),
              "\x1B[38;2;1;1;1m\x1B[48;2;2;2;2m" + block + "\x1B[0m\n" +
                  "\x1B[38;2;3;3;3m\x1B[48;2;4;4;4m" + block + "\x1B[0m\n");
}

TEST(ImageDrawing, ColourThatStays_IsNotSaidAgain) {
    EXPECT_EQ(drawInColours(image(3, 2, {1, 1, 9, 2, 2, 2}), 80),
              "\x1B[38;2;1;1;1m\x1B[48;2;2;2;2m" + block + block + "\x1B[38;2;9;9;9m" + block +
                  "\x1B[0m\n");
}

TEST(ImageDrawing, ImageThatIsTooWide_IsReducedToTheMeansOfItsPixels) {
    EXPECT_EQ(drawInColours(image(4, 4, {0, 10, 20, 30, 0, 10, 20, 30, 1, 3, 5, 7, 1, 3, 5, 7}), 2),
              "\x1B[38;2;5;5;5m\x1B[48;2;2;2;2m" + block + "\x1B[38;2;25;25;25m\x1B[48;2;6;6;6m" +
                  block + "\x1B[0m\n");
}

TEST(ImageDrawing, ImageOfTheScanner_FillsTheColumnsAndKeepsItsShape) {
    const std::string drawing =
        drawInCharacters(image(300, 400, std::vector<std::uint8_t>(120000, 0)), 90);
    EXPECT_EQ(std::count(drawing.begin(), drawing.end(), '\n'), 60);
    EXPECT_EQ(drawing.substr(0, 91), std::string(90, '@') + "\n");
}

TEST(ImageDrawing, Characters_AreDenserWhereTheImageIsDarker) {
    std::vector<std::uint8_t> pixels;
    for (int row = 0; row < 2; ++row) {
        for (unsigned level = 0; level < 10; ++level) {
            pixels.push_back(static_cast<std::uint8_t>(level * 28));
        }
    }
    EXPECT_EQ(drawInCharacters(image(10, 2, pixels), 80), "@%#*+=-:.\n");
}

TEST(ImageDrawing, FlatImage_IsOneLine) {
    EXPECT_EQ(drawInCharacters(image(4, 1, {0, 255, 0, 0}), 80), "@ @@\n");
}

TEST(ImageDrawing, ImageThatIsNotGrey_IsNotDrawn) {
    EXPECT_THROW((void)drawInColours(image(2, 2, {1, 2, 3}), 80), CommandError);
    EXPECT_THROW((void)drawInCharacters(image(0, 0, {}), 80), CommandError);
}

} // namespace ridge::tool
