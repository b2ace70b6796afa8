#include <lumaro/math/Color.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <sstream>

namespace {

std::array<std::uint8_t, 4> bytesOf(const Math::Color& color)
{
    std::array<std::uint8_t, 4> bytes{};
    std::memcpy(bytes.data(), &color, 4);
    return bytes;
}

TEST(ColorTest, BytesAreInTheOrderThatB8G8R8A8ReadsThem)
{
    // B8G8R8A8_UNORM takes blue from byte 0, green from 1, red from 2 and alpha from 3.
    EXPECT_EQ(bytesOf(Math::Color(10, 20, 30, 40)), (std::array<std::uint8_t, 4>{30, 20, 10, 40}));
    Math::Color color;
    color.set(1, 2, 3, 4);
    EXPECT_EQ(bytesOf(color), (std::array<std::uint8_t, 4>{3, 2, 1, 4}));
}

TEST(ColorTest, PackedValueIsAlphaRedGreenBlueFromTheHighByte)
{
    const Math::Color color(0x80FF4020u);
    EXPECT_EQ(color.a(), 0x80);
    EXPECT_EQ(color.r(), 0xFF);
    EXPECT_EQ(color.g(), 0x40);
    EXPECT_EQ(color.b(), 0x20);
    EXPECT_EQ(Math::Color(0x11, 0x22, 0x33, 0x44).packed(), 0x44112233u);
    EXPECT_EQ(Math::Color(0xDEADBEEFu).packed(), 0xDEADBEEFu);
    // Packing matches reading the four bytes as a little-endian integer.
    EXPECT_EQ(bytesOf(Math::Color(0x04030201u)), (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
}

TEST(ColorTest, ChannelsNamedConstructorsAndEquality)
{
    const Math::Color color(200, 100, 50, 25);
    EXPECT_EQ(color.r(), 200);
    EXPECT_EQ(color.g(), 100);
    EXPECT_EQ(color.b(), 50);
    EXPECT_EQ(color.a(), 25);
    EXPECT_EQ(Math::Color(1, 2, 3).a(), 255);
    EXPECT_EQ(Math::Color(), Math::Color(0, 0, 0, 0));
    EXPECT_EQ(Math::Color::gray(90, 255), Math::Color(90, 90, 90, 255));
    EXPECT_EQ(Math::Color::gray(7, 8), Math::Color(7, 7, 7, 8));
    EXPECT_EQ(Math::Color::black(255), Math::Color(0xFF000000u));
    EXPECT_EQ(Math::Color::black(0), Math::Color());
    EXPECT_NE(Math::Color(1, 2, 3, 4), Math::Color(1, 2, 3, 5));
    EXPECT_NE(Math::Color(1, 2, 3, 4), Math::Color(3, 2, 1, 4));

    std::ostringstream text;
    text << Math::Color(1, 2, 3, 4);
    EXPECT_EQ(text.str(), "Color(1, 2, 3, 4)");
}

} // namespace
