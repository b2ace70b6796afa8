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

TEST(VertexRecords, DefaultsMeanNothingKnown)
{
    const Vertex vertex;
    EXPECT_EQ(vertex.distance, 3.4028235e38f);
    EXPECT_EQ(vertex.distance, std::numeric_limits<float>::max());
    EXPECT_EQ(vertex.intensity, 0);
    EXPECT_EQ(vertex.classIndex, 0);
    EXPECT_EQ(vertex.scanIndex, 0);
    EXPECT_EQ(vertex.color, Math::Color());

    const Render::BoxWithColor box{};
    EXPECT_EQ(box.color, Math::Color());
}

TEST(VertexRecords, PackedColourConstructorsMatchChannelConstructors)
{
    const Render::VertexPosColor packed(1.f, 2.f, 3.f, 0x80FF4020u);
    const Render::VertexPosColor channels(1.f, 2.f, 3.f, 0xFF, 0x40, 0x20, 0x80);
    EXPECT_EQ(packed.color, channels.color);
    EXPECT_EQ(packed.color.r(), 0xFF);
    EXPECT_EQ(packed.color.a(), 0x80);
    EXPECT_EQ(packed.position, channels.position);

    const Render::VertexPosNormalTexCoordColor mesh(1.f, 2.f, 3.f, 0.f, 0.f, 1.f, 0.25f, 0.75f, 9, 8, 7, 6);
    EXPECT_EQ(mesh.texCoord.x(), 0.25f);
    EXPECT_EQ(mesh.texCoord.y(), 0.75f);
    EXPECT_EQ(mesh.normal.z(), 1.f);
    EXPECT_EQ(mesh.color, Math::Color(9, 8, 7, 6));
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

TEST(VertexContainer, SettersFillEachField)
{
    VertexContainer container;
    container.resize(2);
    container.setPosition(1, 1.0 / 3.0, 1e10, -2.5);
    container.setColor(1, 10, 20, 30, 40);
    container.setClassIndex(1, 7);
    container.setScanIndex(1, 65000);
    container.setDistance(1, -0.5f);
    EXPECT_EQ(container.position(1).x(), static_cast<float>(1.0 / 3.0));
    EXPECT_EQ(container.position(1).y(), 1e10f);
    EXPECT_EQ(container.position(1).z(), -2.5f);
    EXPECT_EQ(container[1].color, Math::Color(10, 20, 30, 40));
    EXPECT_EQ(container[1].classIndex, 7);
    EXPECT_EQ(container[1].scanIndex, 65000);
    EXPECT_EQ(container[1].distance, -0.5f);
    // The untouched vertex keeps its defaults.
    EXPECT_EQ(container[0].distance, std::numeric_limits<float>::max());
    EXPECT_EQ(container.data() + 1, &container[1]);
}

TEST(VertexContainer, SetDistancesNeedsOneValuePerVertex)
{
    VertexContainer container;
    container.resize(3);
    container.setDistances({1.f, 2.f, 3.f});
    EXPECT_EQ(container[2].distance, 3.f);

    try {
        container.setDistances({7.f, 8.f});
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Error VertexContainer::setDistances: size mismatch");
    }
    EXPECT_EQ(container[0].distance, 1.f);
    EXPECT_EQ(container[1].distance, 2.f);
    EXPECT_EQ(container[2].distance, 3.f);
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

TEST(VertexContainer, CompleteWithoutVisibilityChangesIsUntouched)
{
    VertexContainer container;
    container.resize(4);
    container.setPosition(3, 4, 0, 0);
    container.complete();
    EXPECT_EQ(container.size(), 4u);
    EXPECT_EQ(container.visibility().size(), 4u);
    EXPECT_EQ(container.position(3).x(), 4.f);
}

TEST(VertexContainer, CompleteWithDisagreeingSizesIsUntouched)
{
    VertexContainer container;
    container.resize(5);
    container.setVisibility(1, 1);
    container.setVisibility(2, 1);
    container.resizeVisibility(3);
    container.complete();
    EXPECT_EQ(container.size(), 5u);
    EXPECT_EQ(container.visibility().size(), 3u);
}

TEST(VertexContainer, CompleteTrimsTheStorage)
{
    VertexContainer container;
    container.resize(100);
    for (std::size_t i = 0; i < 100; ++i)
        container.setVisibility(i, i % 10 == 0 ? 0 : 1);
    container.complete();
    EXPECT_EQ(container.size(), 10u);

    VertexContainer emptied;
    emptied.resize(2);
    emptied.setVisibility(0, 1);
    emptied.setVisibility(1, 1);
    emptied.complete();
    EXPECT_EQ(emptied.size(), 0u);
    EXPECT_EQ(emptied.data(), nullptr);
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

TEST(VertexContainer, CopiesAreIndependent)
{
    VertexContainer original{vertexWithAlpha(1, 255)};
    VertexContainer copy = original;
    copy.setColor(0, 0, 0, 0, 0);
    EXPECT_EQ(original[0].color.a(), 255);
    VertexContainer moved = std::move(copy);
    EXPECT_EQ(moved.size(), 1u);
}

} // namespace
