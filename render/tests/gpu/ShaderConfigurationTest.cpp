#include <lumaro/render/gpu/ShaderConfiguration.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace {

using Render::ShaderConfiguration;

std::uint32_t bits(ShaderConfiguration stages)
{
    return static_cast<std::uint32_t>(stages);
}

std::vector<std::uint32_t> visited(ShaderConfiguration stages)
{
    std::vector<std::uint32_t> order;
    Render::forEachStage(stages, [&](ShaderConfiguration stage) { order.push_back(bits(stage)); });
    return order;
}

TEST(ShaderConfiguration, StagesAreSingleBitsThatCombine)
{
    EXPECT_EQ(bits(ShaderConfiguration::Vertex), 1u);
    EXPECT_EQ(bits(ShaderConfiguration::Geometry), 2u);
    EXPECT_EQ(bits(ShaderConfiguration::Pixel), 4u);
    EXPECT_EQ(bits(ShaderConfiguration::Compute), 8u);
    static_assert(sizeof(ShaderConfiguration) == 4);

    ShaderConfiguration stages = ShaderConfiguration::Vertex | ShaderConfiguration::Compute;
    EXPECT_EQ(bits(stages), 9u);
    stages |= ShaderConfiguration::Pixel;
    EXPECT_EQ(bits(stages), 13u);
    EXPECT_TRUE(Render::contains(stages, ShaderConfiguration::Pixel));
    EXPECT_FALSE(Render::contains(stages, ShaderConfiguration::Geometry));
    EXPECT_EQ(bits(stages & ShaderConfiguration::Geometry), 0u);
}

TEST(ShaderConfiguration, StagesAreVisitedVertexPixelGeometryCompute)
{
    const auto all = ShaderConfiguration::Vertex | ShaderConfiguration::Geometry | ShaderConfiguration::Pixel |
                     ShaderConfiguration::Compute;
    EXPECT_EQ(visited(all), (std::vector<std::uint32_t>{1, 4, 2, 8}));
    EXPECT_EQ(visited(ShaderConfiguration::Compute | ShaderConfiguration::Geometry),
              (std::vector<std::uint32_t>{2, 8}));
    EXPECT_TRUE(visited(ShaderConfiguration{}).empty());
    // Bits outside the four stages name no stage.
    EXPECT_EQ(visited(static_cast<ShaderConfiguration>(0x14u)), (std::vector<std::uint32_t>{4}));
}

TEST(ShaderConfiguration, PairingChecksGiveTheMissingCall)
{
    EXPECT_NO_THROW(Render::requireUnbound(ShaderConfiguration{}));
    EXPECT_NO_THROW(Render::requireBound(ShaderConfiguration::Geometry));
    try {
        Render::requireUnbound(ShaderConfiguration::Pixel);
        FAIL() << "no exception";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Error: end call is missing");
    }
    try {
        Render::requireBound(ShaderConfiguration{});
        FAIL() << "no exception";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Error: begin call is missing");
    }
}

} // namespace
