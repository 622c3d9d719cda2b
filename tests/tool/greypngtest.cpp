#include "greypng.h"
#include "commanderror.h"
#include "readpng.h"

#include <gtest/gtest.h>

namespace ridge::tool {
namespace {

CapturedImage gradient(std::uint32_t width, std::uint32_t height) {
    CapturedImage image;
    image.width = width;
    image.height = height;
    for (std::uint32_t pixel = 0; pixel < width * height; ++pixel) {
        image.bytes.push_back(static_cast<std::uint8_t>(pixel * 7 + pixel / width));
    }
    return image;
}

std::string failureOf(const CapturedImage& image) {
    try {
        (void)encodeGreyPng(image);
    } catch (const CommandError& failure) {
        EXPECT_EQ(failure.exitStatus(), ExitStatus::otherFailure);
        return failure.what();
    }
    return "";
}

} // namespace

TEST(GreyPng, Image_IsReadBackPixelForPixel) {
    for (const auto& [width, height] : {std::pair{1U, 1U}, {3U, 2U}, {300U, 400U}}) {
        const CapturedImage image = gradient(width, height);
        const std::vector<std::uint8_t> png = encodeGreyPng(image);
        const test::Picture picture = test::readPng({png.begin(), png.end()});
        EXPECT_EQ(picture.width, static_cast<int>(width));
        EXPECT_EQ(picture.height, static_cast<int>(height));
        EXPECT_EQ(picture.channels, 1);
        EXPECT_EQ(picture.pixels, image.bytes);
    }
}

TEST(GreyPng, OneByteMissing_NamesTheSizes) {
    CapturedImage image = gradient(300, 400);
    image.bytes.pop_back();
    EXPECT_EQ(failureOf(image), "the image is not 8-bit grey: 300 x 400 pixels, but 119999 bytes "
                                "instead of 120000");
}

TEST(GreyPng, OneByteTooMany_IsRefused) {
    CapturedImage image = gradient(3, 2);
    image.bytes.push_back(0);
    EXPECT_NE(failureOf(image).find("but 7 bytes instead of 6"), std::string::npos);
}

TEST(GreyPng, SizesBeyond32Bits_AreNotMistaken) {
    CapturedImage image = gradient(4, 4);
    image.width = 0x10000;
    image.height = 0x10000;
    EXPECT_NE(failureOf(image).find("instead of 4294967296"), std::string::npos);
}

TEST(GreyPng, NoBytes_SaysSo) {
    EXPECT_EQ(failureOf(CapturedImage{}), "the scanner sent a result without an image");
}

} // namespace ridge::tool
