#pragma once

// A renderer of 64 x 48 pixels looking down at a small store written by the test, for pictures
// whose pixels can be worked out by hand.
#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/testsupport/PotreeStoreWriter.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace RenderTest {

using Render::PointCloudRenderable;
using TestSupport::StoreNode;
using TestSupport::StorePoint;

// The view spans 16 x 12 world units over 64 x 48 pixels, four pixels a unit, shifted so that
// pixel (i, j) is centred on x = (i + 1) / 4, y = 12 - j / 4: cube corners and mid-planes of the
// store (cube [0, 16]^3) fall on pixel centres.
inline constexpr std::size_t width = 64;
inline constexpr std::size_t height = 48;

inline StorePoint atPixel(int i, int j, double z, Math::Color color = Math::Color(255, 255, 255),
                          std::uint16_t intensity = 0)
{
    return {0.25 * (i + 1), 12.0 - 0.25 * j, z, color.r(), color.g(), color.b(), intensity};
}

class PointCloudPicture : public ::testing::Test {
protected:
    explicit PointCloudPicture(bool reversedDepth = false) : renderer(reversedDepth)
    {
        renderer.setViewport(width, height);
        renderer.setBackgroundColor(0, 0, 0, 255);
    }

    // Writes the store and shows all of it (every node, one-pixel points unless changed).
    PointCloudRenderable& show(const std::vector<StoreNode>& nodes, float maxPointSize = 1.0f)
    {
        TestSupport::writePotreeStore(folder.path(), nodes);
        cloud = PointCloudRenderable::create(PoTree::FileSystemLocation(folder.path()), "cloud", 1000000, 1.0);
        renderer.setScene(cloud);
        renderer.setCameraPose(Math::Point<float, 3>(8.125f, 6.125f, 100.0f),
                               Math::Point<float, 3>(8.125f, 6.125f, 0.0f), Eigen::Vector3f::UnitY());
        renderer.setOrthographic(16.0f, 12.0f, 1.0f, 200.0f);
        cloud->setOctreeNodePriorityThreshold(0.0f);
        cloud->setMaxPointSize(maxPointSize);
        cloud->reloadPoints(nullptr, 21);
        return *cloud;
    }

    const Graphics::ColorImage& picture()
    {
        renderer.render();
        renderer.getColorImage(image);
        return image;
    }

    // Lit pixels of row j between columns from and to.
    std::size_t litInRow(std::size_t j, std::size_t from, std::size_t to)
    {
        std::size_t lit = 0;
        for (std::size_t i = from; i < to; ++i)
            lit += image.at(i, j) != Math::Color(0, 0, 0, 255) ? 1 : 0;
        return lit;
    }

    TestSupport::TemporaryFolder folder;
    Render::Renderer renderer;
    std::shared_ptr<PointCloudRenderable> cloud;
    Graphics::ColorImage image;
};

} // namespace RenderTest
