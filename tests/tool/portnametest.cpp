#include "portname.h"

#include <gtest/gtest.h>

namespace ridge::tool {

TEST(PortName, OneDigit_StaysAsItIs) {
    EXPECT_EQ(systemPortName("COM7"), "COM7");
}

TEST(PortName, TwoDigitsAndMore_GetThePrefix) {
    EXPECT_EQ(systemPortName("COM10"), R"(\\.\COM10)");
    EXPECT_EQ(systemPortName("COM256"), R"(\\.\COM256)");
}

TEST(PortName, SmallLetters_AreTakenAsTheyStand) {
    EXPECT_EQ(systemPortName("com3"), "com3");
    EXPECT_EQ(systemPortName("com12"), R"(\\.\com12)");
}

TEST(PortName, WithPrefix_StaysAsItIs) {
    EXPECT_EQ(systemPortName(R"(\\.\COM12)"), R"(\\.\COM12)");
    EXPECT_EQ(systemPortName(R"(\\.\COM3)"), R"(\\.\COM3)");
}

TEST(PortName, AnythingElse_StaysAsItIs) {
    for (const auto* name : {"", "COM", "COMPORT", "COM1x", "CNCA0", "LPT12"}) {
        EXPECT_EQ(systemPortName(name), name);
    }
}

} // namespace ridge::tool
