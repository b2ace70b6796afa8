#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

namespace {

TEST(ImageTest, BadStridesAndPositionsThrow)
{
    Graphics::DepthImage depth;
    EXPECT_THROW(depth.resize(4, 4, 12), std::invalid_argument); // shorter than a row
    EXPECT_THROW(depth.resize(4, 4, 18), std::invalid_argument); // not whole texels
    EXPECT_THROW(depth.resize(std::size_t(1) << 62, 4), std::invalid_argument);
    EXPECT_TRUE(depth.empty());

    depth.resize(2, 2);
    EXPECT_THROW(depth.at(2, 0), std::out_of_range);
    EXPECT_THROW(depth.at(0, 2), std::out_of_range);
    EXPECT_THROW(depth.row(2), std::out_of_range);
}

TEST(ImageTest, FillSetsEveryTexelAndLeavesRowPadding)
{
    Graphics::ColorImage image;
    image.resize(2, 3, 12);
    image.fill(Math::Color(1, 2, 3, 4));
    const unsigned char expectedRow[12] = {3, 2, 1, 4, 3, 2, 1, 4, 0, 0, 0, 0};
    for (std::size_t y = 0; y < 3; ++y)
        EXPECT_EQ(std::memcmp(image.data() + y * 12, expectedRow, 12), 0) << "row " << y;

    Graphics::DepthImage depth(3, 2);
    depth.fill(0.25F);
    float texels[6];
    std::memcpy(texels, depth.data(), sizeof texels);
    for (const float texel : texels)
        EXPECT_EQ(texel, 0.25F);
}

TEST(ImageTest, TexelsAreAddressedByRowPitch)
{
    Graphics::DepthImage depth;
    depth.resize(2, 3, 16);
    depth.at(1, 2) = 9.5F;
    float stored = 0;
    std::memcpy(&stored, depth.data() + 2 * 16 + 1 * 4, 4);
    EXPECT_EQ(stored, 9.5F);
    EXPECT_EQ(depth.row(2)[1], 9.5F);
    EXPECT_EQ(depth.row(2).size(), 2u);
}

} // namespace
