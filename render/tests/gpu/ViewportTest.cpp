#include <lumaro/render/gpu/Viewport.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

namespace {

using Render::Viewport;

std::string printed(const Viewport& viewport)
{
    std::ostringstream text;
    text << viewport;
    return text.str();
}

TEST(ViewportTest, ConstructorsFillRectangleAndFullDepthRange)
{
    const Viewport standard;
    EXPECT_EQ(standard.x(), 0);
    EXPECT_EQ(standard.y(), 0);
    EXPECT_EQ(standard.width(), 640u);
    EXPECT_EQ(standard.height(), 480u);
    EXPECT_EQ(standard.minDepth(), 0.0f);
    EXPECT_EQ(standard.maxDepth(), 1.0f);

    const Viewport placed(-3, 7, 100, 50);
    EXPECT_EQ(placed.x(), -3);
    EXPECT_EQ(placed.y(), 7);
    EXPECT_EQ(placed.width(), 100u);
    EXPECT_EQ(placed.height(), 50u);
    EXPECT_EQ(placed.minDepth(), 0.0f);
    EXPECT_EQ(placed.maxDepth(), 1.0f);

    const Viewport sized(1920, 1080);
    EXPECT_EQ(printed(sized), "[0, 0, 1920, 1080, 0, 1]");
}

TEST(ViewportTest, SetKeepsTheDepthRange)
{
    Viewport viewport(5, 6, 10, 20);
    viewport.setDepthRange(0.25f, 0.75f);
    viewport.set(1, 2, 30, 40);
    EXPECT_EQ(printed(viewport), "[1, 2, 30, 40, 0.25, 0.75]");
    viewport.set(300, 200);
    EXPECT_EQ(printed(viewport), "[0, 0, 300, 200, 0.25, 0.75]");
}

TEST(ViewportTest, AspectRatioCarriesSinglePrecisionRounding)
{
    const double expected = static_cast<double>(1920.0f / 1080.0f);
    EXPECT_EQ(Viewport(1920, 1080).aspectRatio(), expected);
    EXPECT_NE(Viewport(1920, 1080).aspectRatio(), 1920.0 / 1080.0);
    EXPECT_EQ(Viewport().aspectRatio(), static_cast<double>(4.0f / 3.0f));
    EXPECT_EQ(Viewport(8, 2).aspectRatio(), 4.0);
}

TEST(ViewportTest, EqualityIgnoresTheDepthRange)
{
    Viewport deep(0, 0, 640, 480);
    deep.setDepthRange(0.5f, 0.6f);
    EXPECT_TRUE(deep == Viewport());
    EXPECT_FALSE(deep != Viewport());

    EXPECT_NE(Viewport(1, 0, 640, 480), Viewport());
    EXPECT_NE(Viewport(0, 1, 640, 480), Viewport());
    EXPECT_NE(Viewport(641, 480), Viewport());
    EXPECT_NE(Viewport(640, 481), Viewport());
}

TEST(ViewportTest, PrintsWithTheStreamsFormatting)
{
    EXPECT_EQ(printed(Viewport()), "[0, 0, 640, 480, 0, 1]");

    Viewport viewport;
    viewport.setDepthRange(0.125f, 1.0f);
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << viewport;
    EXPECT_EQ(text.str(), "[0, 0, 640, 480, 0.12, 1.00]");
}

} // namespace
