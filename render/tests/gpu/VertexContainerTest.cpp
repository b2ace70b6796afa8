#include <lumaro/render/gpu/VertexContainer.h>

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace {

using Render::VertexContainer;
using Vertex = VertexContainer::Vertex;

Vertex vertexWithAlpha(float x, unsigned char alpha)
{
    return Vertex(Math::Point<float, 3>(x, 0.f, 0.f), Math::Color(1, 2, 3, alpha), 0, 0, 0, 0.f);
}

TEST(VertexContainer, IntensityKeepsTheHighByteByTruncation)
{
    VertexContainer container;
    container.resize(3);
    container.setIntensity(0, 0x01FF);
    container.setIntensity(1, 0xFFFF);
    container.setIntensity(2, 0x00FF);
    EXPECT_EQ(container[0].intensity, 1);
    EXPECT_EQ(container[1].intensity, 255);
    EXPECT_EQ(container[2].intensity, 0);
}

TEST(VertexContainer, CompleteDropsMarkedVerticesInOrder)
{
    VertexContainer container{vertexWithAlpha(1, 255), vertexWithAlpha(2, 255), vertexWithAlpha(3, 255)};
    container.resizeVisibility(3);
    container.setVisibility(0, 0);
    container.setVisibility(1, 1);
    container.setVisibility(2, 0);
    container.complete();
    ASSERT_EQ(container.size(), 2u);
    EXPECT_EQ(container.position(0).x(), 1.f);
    EXPECT_EQ(container.position(1).x(), 3.f);
    EXPECT_TRUE(container.visibility().empty());
    EXPECT_EQ(container.visibility().capacity(), 0u);
}

TEST(VertexContainer, ClearFullyTransparentPointsKeepsOrderAndVisibility)
{
    VertexContainer container{vertexWithAlpha(1, 255), vertexWithAlpha(2, 0), vertexWithAlpha(3, 0),
                              vertexWithAlpha(4, 10)};
    container.resizeVisibility(4);
    container.clearFullyTransparentPoints();
    ASSERT_EQ(container.size(), 2u);
    EXPECT_EQ(container[0].color.a(), 255);
    EXPECT_EQ(container[1].color.a(), 10);
    EXPECT_EQ(container.position(1).x(), 4.f);
    EXPECT_EQ(container.visibility().size(), 4u);
}

} // namespace
