// Panoramas on a real Direct3D 11 device, seen from their centre through a perspective camera:
// which tile lands in the middle of the picture (worked out from the projection formulas in the
// test), placeholders before any tile, levels that never go back, measured distances read back by
// picks, and points in front of and behind the panorama.
#include <lumaro/testsupport/render/PictureFixture.h>

#include <lumaro/render/renderables/GroupRenderable.h>
#include <lumaro/render/renderables/PanoRenderable.h>

#include <lumaro/graphics/GeneratedPanoramaLoader.h>
#include <lumaro/graphics/ImagePanoramaLoader.h>

#include <cmath>
#include <numbers>

namespace {

using namespace RenderTest;
using Graphics::PanoramaLayout;
using Graphics::PanoramaLoader;
using Graphics::ProjectionKind;
using Render::PanoRenderable;
using P = Math::Point<float, 3>;

Math::Color colorOfTile(PanoramaLoader::TileId tile)
{
    const auto index = static_cast<std::uint8_t>(tile & 0xFF);
    const auto level = static_cast<std::uint8_t>(tile >> 32);
    return Math::Color(static_cast<std::uint8_t>(20 + 9 * index), static_cast<std::uint8_t>(200 - 4 * index),
                       static_cast<std::uint8_t>(60 * level + 10), 255);
}

// The tile a direction falls in, by the definitions of the two projections: equirectangular
// azimuth from +180 degrees clockwise and elevation from the zenith; cube faces +x, -x, +y, -y,
// +z, -z, each seen from the centre.
std::size_t tileOf(const Eigen::Vector3d& d, ProjectionKind projection, std::size_t rows, std::size_t columns)
{
    if (projection == ProjectionKind::Equirectangular) {
        const double u = 0.5 - std::atan2(d.y(), d.x()) / (2.0 * std::numbers::pi);
        const double v = 0.5 - std::asin(d.z()) / std::numbers::pi;
        return static_cast<std::size_t>(v * rows) * columns + static_cast<std::size_t>(u * columns);
    }
    Eigen::Index axis = 0;
    d.cwiseAbs().maxCoeff(&axis);
    const std::size_t face = 2 * static_cast<std::size_t>(axis) + (d[axis] > 0 ? 0 : 1);
    const Eigen::Vector3d onFace = d / std::abs(d[axis]);
    // Right and down on each face, seen from the centre with z up (the poles: -y and +y up).
    static const Eigen::Vector3d right[6] = {{0, -1, 0}, {0, 1, 0}, {1, 0, 0}, {-1, 0, 0}, {0, -1, 0}, {0, -1, 0}};
    static const Eigen::Vector3d down[6] = {{0, 0, -1}, {0, 0, -1}, {0, 0, -1}, {0, 0, -1}, {1, 0, 0}, {-1, 0, 0}};
    const double u = 0.5 + 0.5 * onFace.dot(right[face]);
    const double v = 0.5 + 0.5 * onFace.dot(down[face]);
    return face * rows * columns + static_cast<std::size_t>(v * rows) * columns + static_cast<std::size_t>(u * columns);
}

class PanoPicture : public PointCloudPicture {
protected:
    void lookFrom(const P& centre, const Eigen::Vector3d& direction)
    {
        const Eigen::Vector3f along = direction.normalized().cast<float>();
        const Eigen::Vector3f up = std::abs(along.z()) > 0.9f ? Eigen::Vector3f::UnitY() : Eigen::Vector3f::UnitZ();
        renderer.setCameraPose(centre, along, up);
        renderer.setPerspective(30.0f, 0.5f, 100.0f, 0.0f, 0.0f);
    }

    std::shared_ptr<PanoRenderable> showPano(std::shared_ptr<PanoramaLoader> loader)
    {
        auto pano = PanoRenderable::create(std::move(loader), "pano");
        renderer.setScene(pano);
        return pano;
    }
};

TEST_F(PanoPicture, TheMiddleOfThePictureShowsTheTileOfTheViewDirection)
{
    for (const ProjectionKind projection : {ProjectionKind::Equirectangular, ProjectionKind::CubeMap}) {
        const std::size_t rows = projection == ProjectionKind::Equirectangular ? 4 : 2;
        const std::size_t columns = projection == ProjectionKind::Equirectangular ? 8 : 2;
        const auto loader = std::make_shared<Graphics::GeneratedPanoramaLoader>(
            PanoramaLayout{projection, rows, columns, {{8, 8}}, 1, 0}, colorOfTile, [](auto) { return 1.0f; });
        const auto pano = showPano(loader);
        ASSERT_EQ(pano->loadPanoramaTiles(), Core::JobState::Finished);
        for (const Eigen::Vector3d& direction :
             {Eigen::Vector3d(1, 0.1, 0.05), Eigen::Vector3d(-0.3, 1, 0.2), Eigen::Vector3d(-1, -0.6, -0.3),
              Eigen::Vector3d(0.2, 0.3, 1), Eigen::Vector3d(0.3, -0.2, -1), Eigen::Vector3d(0.4, -1, 0.7)}) {
            lookFrom(P(0, 0, 0), direction);
            picture();
            const std::size_t tile = tileOf(direction.normalized(), projection, rows, columns);
            EXPECT_EQ(image.at(width / 2, height / 2), colorOfTile(PanoramaLoader::makeTileId(0, tile)))
                << static_cast<int>(projection) << ": " << direction.transpose() << " should show tile " << tile;
        }
    }
}

// Before any tile: level 0's black placeholder everywhere, just inside the far plane.
TEST_F(PanoPicture, PlaceholdersLieJustInsideTheFarPlaneAndLevelsNeverGoBack)
{
    // Level 1 is listed (and so loaded) first, level 0 at the second run.
    class LateCoarseLoader : public Graphics::GeneratedPanoramaLoader {
    public:
        LateCoarseLoader()
            : GeneratedPanoramaLoader({ProjectionKind::Equirectangular, 1, 2, {{4, 4}, {8, 8}}, 2, 0}, colorOfTile,
                                      [](auto) { return 1.0f; })
        {}
        std::vector<TileId> colorTiles() const override
        {
            return {makeTileId(runs == 0 ? 1 : 0, 0), makeTileId(runs++ == 0 ? 1 : 0, 1)};
        }
        mutable int runs = 0;
    };
    const auto loader = std::make_shared<LateCoarseLoader>();
    const auto pano = showPano(loader);
    lookFrom(P(1, 2, 3), Eigen::Vector3d(1, 0, 0));
    picture();
    for (const auto& [i, j] : {std::pair(0, 0), std::pair(32, 24), std::pair(63, 47)})
        EXPECT_EQ(image.at(i, j), Math::Color(0, 0, 0, 255)) << i << ", " << j;
    P world;
    ASSERT_TRUE(renderer.pickPoint(width / 2, height / 2, world));
    // Distances count from the panorama's centre, the origin: 99 along the view direction +x.
    EXPECT_NEAR(world.x(), 99.0f, 0.01f);
    EXPECT_NEAR(world.y(), 2.0f, 1.0f);
    EXPECT_NEAR(world.z(), 3.0f, 1.0f);

    // Seen from the panorama's centre, the middle of the picture lies towards (101, 2, 3): a
    // positive azimuth, the half of tile 0.
    pano->loadPanoramaTiles();
    EXPECT_EQ(picture().at(width / 2, height / 2), colorOfTile(PanoramaLoader::makeTileId(1, 0)));
    pano->loadPanoramaTiles();
    EXPECT_EQ(picture().at(width / 2, height / 2), colorOfTile(PanoramaLoader::makeTileId(1, 0)))
        << "level 0 replaced level 1";
}

// Measured distances of 5 around a panorama placed at (8, 8, 8) by its matrix: picks read points 5 away;
// a point 3 away hides the panorama, one 7.5 away is hidden by it.
TEST_F(PanoPicture, MeasuredDistancesPlaceThePanoramaAmongThePoints)
{
    const P centre(8, 8, 8);
    const P nearer(11, 8.2f, 8);
    const P farther(15.5f, 7.5f, 8);
    TestSupport::writePotreeStore(
        folder.path(),
        {{"r", {{nearer.x(), nearer.y(), 8.0, 255, 255, 255}, {farther.x(), farther.y(), 8.0, 255, 255, 255}}}});
    cloud = PointCloudRenderable::create(PoTree::FileSystemLocation(folder.path()), "cloud", 1000, 1.0);
    cloud->setMaxPointSize(3.0f); // a disc over the projected centre's pixel
    // The panorama from files: a blue image and its distance image, 5 everywhere.
    Graphics::ColorImage blue(64, 32);
    blue.fill(Math::Color(0, 0, 255, 255));
    blue.writePng(folder.path() / "pano.png");
    Graphics::DepthImage distances(32, 16);
    distances.fill(5.0f);
    distances.writeHdr(folder.path() / "pano.hdr");
    const auto loader =
        Graphics::ImagePanoramaLoader::equirectangular(folder.path() / "pano.png", folder.path() / "pano.hdr", 2, 4);
    const auto pano = PanoRenderable::create(loader, "pano");
    Eigen::Matrix4f placed = Eigen::Matrix4f::Identity();
    placed.block<3, 1>(0, 3) = centre;
    pano->setMatrix(placed);
    const auto group = Render::GroupRenderable::create("scene");
    group->add(pano);
    group->add(cloud);
    renderer.setScene(group);
    lookFrom(centre, Eigen::Vector3d(1, 0, 0));
    cloud->setOctreeNodePriorityThreshold(0.0f);
    cloud->reloadPoints(nullptr, 21);
    pano->loadPanoramaTiles();
    picture();

    P world;
    ASSERT_TRUE(renderer.pickPoint(width / 2, 5, world));
    EXPECT_NEAR((world - centre).norm(), 5.0f, 0.01f);
    const auto pixelOf = [&](const P& point) {
        const P projected = renderer.camera()->project(point);
        return std::pair(static_cast<std::size_t>(projected.x()), static_cast<std::size_t>(projected.y()));
    };
    const auto [nearI, nearJ] = pixelOf(nearer);
    const auto [farI, farJ] = pixelOf(farther);
    EXPECT_EQ(image.at(nearI, nearJ), Math::Color(255, 255, 255, 255)) << "the nearer point is hidden";
    EXPECT_EQ(image.at(farI, farJ), Math::Color(0, 0, 255, 255)) << "the farther point shows through";
    ASSERT_TRUE(renderer.pickPoint(nearI, nearJ, world));
    EXPECT_NEAR(world.x(), nearer.x(), 1e-4f);
}

} // namespace
