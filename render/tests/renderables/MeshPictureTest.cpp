// Pictures of meshes on a real Direct3D 11 device, from above and orthographically as in the
// point-cloud pictures (pixel (i, j) centred on x = (i + 1) / 4, y = 12 - j / 4), checked against
// the headlight formula worked out from each pixel's own world position; and colouring a real
// cloud by its distance to a mesh against the same distance to a plane.
#include <lumaro/testsupport/render/PictureFixture.h>
#include <lumaro/testsupport/render/FixedMeshLoader.h>

#include <lumaro/render/renderables/GroupRenderable.h>
#include <lumaro/render/renderables/MeshRenderable.h>

#include <lumaro/math/TriangleMesh.h>
#include <lumaro/testsupport/TestStores.h>

#include <cmath>
#include <functional>
#include <string>

namespace {

using namespace RenderTest;
using Render::MeshLoader;
using Render::MeshRenderable;
using Render::RenderMode;
using P = Math::Point<float, 3>;

const P eye(8.125f, 6.125f, 100.0f);

class MeshPicture : public PointCloudPicture {
protected:
    std::shared_ptr<MeshRenderable> showMesh(const std::string& obj, double unitScale = 1.0)
    {
        return showMesh(MeshRenderable::create(folder.write("mesh.obj", obj), unitScale, "mesh"));
    }

    std::shared_ptr<MeshRenderable> showMesh(std::shared_ptr<MeshRenderable> mesh)
    {
        renderer.setScene(mesh);
        renderer.setCameraPose(eye, P(eye.x(), eye.y(), 0.0f), Eigen::Vector3f::UnitY());
        renderer.setOrthographic(16.0f, 12.0f, 1.0f, 200.0f);
        picture();
        return mesh;
    }

    // 0.2 c + 0.8 c |n · l|, l towards the eye from the pixel's world position.
    float headlit(std::size_t i, std::size_t j, const Eigen::Vector3f& normal, float channel)
    {
        P world;
        EXPECT_TRUE(renderer.pickPoint(i, j, world)) << i << ", " << j;
        const Eigen::Vector3f towardsEye = (eye - world).normalized();
        return 0.2f * channel + 0.8f * channel * std::abs(normal.normalized().dot(towardsEye));
    }
};

// Two tilted triangles without normals or colours: the left one wound counter-clockwise seen from
// the eye, the right one, tilted the other way, clockwise. Both are lit by their face normals, in
// white shades, as if facing the eye.
TEST_F(MeshPicture, FacesWithoutNormalsShadeFlatInWhiteShadesFromEitherSide)
{
    showMesh("v 1 1 0\nv 7 1 0\nv 1 11 6\n"
             "v 9 1 0\nv 9 11 -8\nv 15 1 0\n"
             "f 1 2 3\nf 4 5 6\n");
    // (6, 0, 0) x (0, 10, 6) and (0, 10, -8) x (6, 0, 0).
    const Eigen::Vector3f left(0.0f, -36.0f, 60.0f);
    const Eigen::Vector3f right(0.0f, -48.0f, -60.0f);
    for (const auto& [i, j, normal] :
         {std::tuple(6, 36, left), std::tuple(10, 20, left), std::tuple(37, 36, right), std::tuple(40, 20, right)}) {
        const Math::Color pixel = image.at(i, j);
        const float expected = headlit(i, j, normal, 255.0f);
        EXPECT_NEAR(pixel.r(), expected, 1.0f) << i << ", " << j;
        EXPECT_EQ(pixel.g(), pixel.r());
        EXPECT_EQ(pixel.b(), pixel.r());
    }
    EXPECT_EQ(image.at(60, 5), Math::Color(0, 0, 0, 255)) << "beside the triangles: the background";
}

// Millimetres at unit scale 0.001 draw exactly where metres at unit scale 1 do; the box shrinks.
TEST_F(MeshPicture, UnitScaleShrinksTheBoxAndTheDrawnGeometry)
{
    showMesh("v 1 1 0 1 0 0\nv 15 1 2 0 1 0\nv 1 11 1 0 0 1\nf 1 2 3\n");
    const Graphics::ColorImage metres = image;
    const auto mesh =
        showMesh("v 1000 1000 0 1 0 0\nv 15000 1000 2000 0 1 0\nv 1000 11000 1000 0 0 1\nf 1 2 3\n", 0.001);
    const Math::NBoundingBox<float, 3> box = mesh->boundingBox();
    EXPECT_NEAR(box.max().x(), 15.0f, 1e-5f);
    EXPECT_NEAR(box.max().z(), 2.0f, 1e-5f);
    std::size_t lit = 0;
    for (std::size_t j = 0; j < height; ++j)
        for (std::size_t i = 0; i < width; ++i) {
            ASSERT_EQ(image.at(i, j), metres.at(i, j)) << i << ", " << j;
            lit += image.at(i, j) != Math::Color(0, 0, 0, 255) ? 1 : 0;
        }
    // The triangle covers 14 x 10 / 2 square units at 16 pixels each.
    EXPECT_NEAR(static_cast<double>(lit), 14.0 * 10.0 / 2.0 * 16.0, 40.0);
}

// Mesh pixels write their world positions (here through a world matrix) for picks, and clipping
// planes in world coordinates cut the mesh.
TEST_F(MeshPicture, PixelsWriteWorldPositionsAndClippingPlanesCut)
{
    const auto mesh = MeshRenderable::create(
        folder.write("square.obj", "v -1 -1 0\nv 17 -1 0\nv 17 13 0\nv -1 13 0\nf 1 2 3 4\n"), 1.0, "square");
    Eigen::Matrix4f lifted = Eigen::Matrix4f::Identity();
    lifted(2, 3) = 2.5f;
    mesh->setMatrix(lifted);
    showMesh(mesh);
    P world;
    for (const auto& [i, j] : {std::pair(0, 0), std::pair(20, 17), std::pair(63, 47)}) {
        ASSERT_TRUE(renderer.pickPoint(i, j, world)) << i << ", " << j;
        EXPECT_NEAR(world.x(), 0.25f * (i + 1), 1e-4f);
        EXPECT_NEAR(world.y(), 12.0f - 0.25f * j, 1e-4f);
        EXPECT_NEAR(world.z(), 2.5f, 1e-4f);
    }

    // Keep x >= 8: columns from 31 on (x = 8 lies on the centre of column 31).
    mesh->setClippingVolume(
        Math::ConvexPolytope<float, 3>({Math::HalfSpace<float, 3>(Eigen::Vector3f::UnitX(), -8.0f)}));
    EXPECT_TRUE(renderer.needsRedraw());
    picture();
    EXPECT_EQ(litInRow(20, 0, 31), 0u);
    EXPECT_EQ(litInRow(20, 31, width), width - 31);
    EXPECT_FALSE(renderer.pickPoint(10, 20, world));
}

// Clip volumes cut and highlight mesh pixels where their CPU twin says, at each pixel's own world
// position: a triangular prism that hides its inside, under a box tilted about x that highlights.
TEST_F(MeshPicture, ClipVolumesCutAndHighlightPixels)
{
    const auto mesh = MeshRenderable::create(
        folder.write("square.obj", "v -1 -1 0\nv 17 -1 0\nv 17 13 0\nv -1 13 0\nf 1 2 3 4\n"), 1.0, "square");
    Eigen::Matrix4f lifted = Eigen::Matrix4f::Identity();
    lifted(2, 3) = 2.5f;
    mesh->setMatrix(lifted);
    using P2 = Math::Point<double, 2>;
    const Render::ClipPrism triangle{Math::Polygon({P2(2.01, 2.02), P2(10.03, 3.01), P2(4.02, 10.03)}), 2.0, 3.0};
    const auto tilted = Math::OrientedBox::fromAngles(Math::Point<double, 3>(12.0, 6.0, 2.5),
                                                      Eigen::Vector3d(2.02, 3.01, 0.51), 0.0, 0.0, 0.3);
    Render::ClipVolumes volumes;
    volumes.add(triangle, Render::ClipEffect::ShowOutside);
    volumes.add(tilted, Render::ClipEffect::Highlight);
    mesh->setClipVolumes(volumes);
    showMesh(mesh);
    const Math::Color lit = image.at(60, 2); // a pixel no volume touches
    ASSERT_NE(lit, Math::Color(0, 0, 0, 255));
    const double a = volumes.highlightColor().a() / 255.0;
    std::size_t hidden = 0;
    std::size_t highlighted = 0;
    for (std::size_t j = 0; j < height; ++j) {
        for (std::size_t i = 0; i < width; ++i) {
            const Math::Point<double, 3> at(0.25 * (i + 1), 12.0 - 0.25 * j, 2.5);
            const Eigen::Vector3d unit = tilted.unitCoordinates(at);
            if (triangle.footprint.distanceToEdge(P2(at.x(), at.y())) < 1e-3
                || (unit.array().abs() - 1.0).abs().minCoeff() < 1e-3)
                continue;
            const Math::Color pixel = image.at(i, j);
            if (!volumes.draws(at)) {
                ++hidden;
                EXPECT_EQ(pixel, Math::Color(0, 0, 0, 255)) << i << ", " << j;
            } else if (volumes.highlights(at)) {
                ++highlighted;
                EXPECT_NEAR(pixel.r(), lit.r() + (volumes.highlightColor().r() - lit.r()) * a, 2.0) << i << ", " << j;
                EXPECT_NEAR(pixel.b(), lit.b() + (volumes.highlightColor().b() - lit.b()) * a, 2.0) << i << ", " << j;
            } else {
                // The headlight shades the flat square within a level across the picture.
                EXPECT_NEAR(pixel.r(), lit.r(), 1.0) << i << ", " << j;
                EXPECT_EQ(pixel.b(), pixel.r()) << i << ", " << j;
            }
        }
    }
    // 16 pixels a square unit: the triangle's 31.125 (shoelace), and the box's cut through the
    // plane, 4.04 across x by 2 x 0.51 / sin 0.3 across y, where its tilted top and bottom meet it.
    EXPECT_NEAR(static_cast<double>(hidden), 31.125 * 16.0, 40.0);
    EXPECT_NEAR(static_cast<double>(highlighted), 4.04 * 2.0 * 0.51 / std::sin(0.3) * 16.0, 30.0);
}

// A real cloud coloured by its distance to two triangles on the plane z = c, covering the cloud,
// looks exactly as when coloured by its distance to that plane, signed and unsigned; and nodes
// that hold no point within the range are not even loaded.
TEST_F(MeshPicture, DistanceToAMeshOnAPlaneColoursAsTheDistanceToThePlane)
{
    cloud = PointCloudRenderable::create(
        PoTree::FileSystemLocation(TestSupport::testStore("potree2/1.2-with-color-brotli")), "cloud", 1000000, 1.0);
    renderer.setViewport(160, 120);
    renderer.setScene(cloud);
    const Math::NBoundingBox<float, 3> box = renderer.boundingBox();
    renderer.setCameraPose(P(box.center().x(), box.center().y(), box.max().z() + 10.0f), box.center(),
                           Eigen::Vector3f::UnitY());
    renderer.setOrthographic(box.size().maxCoeff() * 1.1f, box.size().maxCoeff() * 1.1f * 0.75f, 0.01f, 1000.0f);
    renderer.setZNearAndFarViaBoundingBox(box);
    cloud->setOctreeNodePriorityThreshold(0.0f);
    cloud->reloadPoints(nullptr, 21);
    const std::size_t allPoints = cloud->numVisiblePoints();

    const float c = box.min().z() + 0.4f * box.size().z();
    const P low = box.min() - P(1, 1, 0);
    const P high = box.max() + P(1, 1, 0);
    renderer.setMeshForDistanceColorization(std::make_shared<Math::TriangleMesh<float>>(
        std::vector<P>{P(low.x(), low.y(), c), P(high.x(), low.y(), c), P(high.x(), high.y(), c),
                       P(low.x(), high.y(), c)},
        std::vector<Math::TriangleMesh<float>::Triangle>{{0, 1, 2}, {0, 2, 3}}));
    renderer.setPlaneForDistanceColorization(Math::NPlane<float, 3>(0.0f, 0.0f, 1.0f, -c));
    const float h = box.size().z();
    renderer.setPassFailDistanceRange(-0.05f * h, 0.05f * h);
    renderer.setWarnDistanceRange(-0.02f * h, 0.02f * h);

    for (const bool useSigned : {true, false}) {
        renderer.setUseSignedDistance(useSigned);
        renderer.setColorMapRange(useSigned ? -0.1f * h : 0.01f * h, 0.1f * h);
        renderer.setRenderMode(RenderMode::MeshDistance);
        cloud->reloadPoints(nullptr, 21);
        const Graphics::ColorImage byMesh = picture();
        renderer.setRenderMode(RenderMode::PlaneDistance);
        cloud->reloadPoints(nullptr, 21);
        picture();
        std::size_t lit = 0;
        for (std::size_t j = 0; j < 120; ++j)
            for (std::size_t i = 0; i < 160; ++i) {
                ASSERT_EQ(byMesh.at(i, j), image.at(i, j)) << i << ", " << j << (useSigned ? " signed" : " unsigned");
                lit += image.at(i, j) != Math::Color(0, 0, 0, 255) ? 1 : 0;
            }
        EXPECT_GT(lit, 100u) << (useSigned ? "signed" : "unsigned");
    }

    // The level-1 cubes with points (edge 2318 m) lie in the lower half of the root's (4636 m),
    // across the mesh: their centres lie 1.1 km from it and their half diagonals are 2.0 km, so none
    // of their points can be 3.1 km or more away, while the root's cube reaches 4.5 km above the
    // mesh. From 3.2 to 4 km only the root (974 of the 1065 points) is loaded.
    renderer.setColorMapRange(3200.0f, 4000.0f);
    renderer.setRenderMode(RenderMode::MeshDistance);
    cloud->reloadPoints(nullptr, 21);
    EXPECT_EQ(cloud->numVisiblePoints(), 974u) << "of " << allPoints << ": nodes beyond the range were loaded";
}

TEST_F(MeshPicture, AMeshThatCannotBeReadIsNotKeptInItsGroup)
{
    const auto group = Render::GroupRenderable::create("group");
    renderer.setScene(group);
    const auto missing = MeshRenderable::create(folder.path() / "missing.obj", 1.0, "missing");
    EXPECT_ANY_THROW(group->add(missing));
    EXPECT_TRUE(group->empty());
    EXPECT_EQ(missing->parent(), nullptr);
    // The group draws on without it.
    group->add(MeshRenderable::create(folder.write("mesh.obj", "v 2 2 1\nv 6 2 1\nv 2 6 1\nf 1 2 3\n"), 1.0, "mesh"));
    EXPECT_EQ(group->size(), 1u);
    renderer.setCameraPose(eye, P(eye.x(), eye.y(), 0.0f), Eigen::Vector3f::UnitY());
    renderer.setOrthographic(16.0f, 12.0f, 1.0f, 200.0f);
    picture();
    EXPECT_NE(image.at(10, 38), Math::Color(0, 0, 0, 255)) << "the triangle's pixel (2.75, 2.5)";
}

} // namespace
