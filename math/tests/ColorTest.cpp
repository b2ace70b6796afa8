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

} // namespace
