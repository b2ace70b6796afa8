// Pictures of point clouds on a real Direct3D 11 device: stores written here with points at known
// places are drawn from above, orthographically, and the pixels are checked against what the
// camera and the shading formulas give.
#include <lumaro/testsupport/render/PictureFixture.h>

#include <lumaro/math/Spectrum.h>
#include <lumaro/math/TriangleMesh.h>
#include <lumaro/testsupport/TestStores.h>

#include <cmath>
#include <numbers>
#include <optional>
#include <set>

namespace {

using namespace RenderTest;
using Render::RenderMode;

TEST_F(PointCloudPicture, LightsExactlyThePixelsOfItsPoints)
{
    const std::vector<std::pair<int, int>> pixels{{0, 0}, {3, 4}, {10, 20}, {63, 47}, {40, 9}};
    std::vector<StorePoint> points;
    for (std::size_t k = 0; k < pixels.size(); ++k)
        points.push_back(
            atPixel(pixels[k].first, pixels[k].second, 2.0 + k,
                    Math::Color(static_cast<std::uint8_t>(40 * k + 10), 200, static_cast<std::uint8_t>(250 - 50 * k))));
    show({{"r", points}});
    picture();
    std::size_t lit = 0;
    for (std::size_t j = 0; j < height; ++j)
        lit += litInRow(j, 0, width);
    EXPECT_EQ(lit, pixels.size());
    for (std::size_t k = 0; k < pixels.size(); ++k) {
        const StorePoint& point = points[k];
        EXPECT_EQ(image.at(pixels[k].first, pixels[k].second), Math::Color(point.red, point.green, point.blue, 255))
            << k;
    }

    // The root cube's edge x = 16 runs down the last column, in the cloud's uniform colour.
    cloud->setShowBoundingBoxes(true);
    picture();
    for (std::size_t j = 0; j < height; j += 7) {
        const Math::Color edge = image.at(width - 1, j);
        EXPECT_EQ(edge,
                  Math::Color(cloud->uniformColor().r(), cloud->uniformColor().g(), cloud->uniformColor().b(), 255))
            << j;
    }
}

// Two points on one pixel, the red one nearer to the camera above: it hides the blue one whatever
// the depth convention and whichever is drawn first.
void expectTheNearerPointWins(Render::Renderer& renderer, Graphics::ColorImage& image)
{
    renderer.render();
    renderer.getColorImage(image);
    EXPECT_EQ(image.at(20, 10), Math::Color(255, 0, 0, 255));
    EXPECT_EQ(image.at(30, 10), Math::Color(255, 0, 0, 255));
}

const std::vector<StoreNode> crossingPoints{
    {"r",
     {atPixel(20, 10, 2.0, Math::Color(0, 0, 255)), atPixel(20, 10, 9.0, Math::Color(255, 0, 0)),
      atPixel(30, 10, 9.0, Math::Color(255, 0, 0)), atPixel(30, 10, 2.0, Math::Color(0, 0, 255))}}};

TEST_F(PointCloudPicture, TheNearerOfTwoPointsHidesTheOther)
{
    show(crossingPoints);
    expectTheNearerPointWins(renderer, image);
}

class ReversedDepthPicture : public PointCloudPicture {
protected:
    ReversedDepthPicture() : PointCloudPicture(true) {}
};

TEST_F(ReversedDepthPicture, TheNearerOfTwoPointsHidesTheOther)
{
    show(crossingPoints);
    expectTheNearerPointWins(renderer, image);
}

TEST_F(PointCloudPicture, APointOnTheMidPlaneTakesTheDeeperNodesSmallerSize)
{
    // Level 0 discs are 8 x pointSize pixels wide (pointSize x 2 / 12 in clip units over 48 rows):
    // 16 at level 0 and 8 where the resident node r7 holds the point.
    const StorePoint midPlane = atPixel(31, 16, 8.0); // (8, 8, 8): the upper half on every axis, r7
    const StorePoint lowerY = atPixel(31, 32, 8.0); // (8, 4, 8): r5, not resident
    const StorePoint insideR7 = atPixel(55, 8, 14.0); // (14, 10, 14)
    show({{"r", {midPlane, lowerY}}, {"r7", {insideR7}}}, 100.0f).setPointSize(2.0f);
    picture();
    EXPECT_NEAR(static_cast<double>(litInRow(16, 16, 47)), 8.0, 1.0);
    EXPECT_NEAR(static_cast<double>(litInRow(32, 16, 47)), 16.0, 1.0);
    EXPECT_NEAR(static_cast<double>(litInRow(8, 47, 64)), 8.0, 1.0);
}

TEST_F(PointCloudPicture, EightClippingPlanesCullEachTheirPoint)
{
    // Nine points on a circle; plane k keeps what lies within 3.7 of the centre along point k's
    // direction, which only point k does not.
    std::vector<StorePoint> points;
    std::vector<Math::HalfSpace<float, 3>> halfSpaces;
    std::vector<std::pair<int, int>> pixels;
    for (int k = 0; k < 9; ++k) {
        const double angle = k * 40.0 * std::numbers::pi / 180.0;
        const int i = static_cast<int>(std::lround((8.0 + 4.0 * std::cos(angle)) * 4.0 - 1.0));
        const int j = static_cast<int>(std::lround((12.0 - (6.0 + 4.0 * std::sin(angle))) * 4.0));
        pixels.emplace_back(i, j);
        points.push_back(atPixel(i, j, 5.0));
        const Eigen::Vector3f outward(static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle)), 0.0f);
        // -outward . (p - centre) + 3.7 >= 0
        halfSpaces.emplace_back(-outward, outward.dot(Eigen::Vector3f(8.0f, 6.0f, 0.0f)) + 3.7f);
    }
    halfSpaces.pop_back();
    show({{"r", points}}).setClippingVolume(halfSpaces);
    picture();
    for (int k = 0; k < 9; ++k)
        EXPECT_EQ(image.at(pixels[k].first, pixels[k].second) != Math::Color(0, 0, 0, 255), k == 8) << k;
}

// Clip volumes cut and highlight on the device exactly as their CPU twin says, for a point at every
// pixel: a turned box that shows its inside, an L-shaped prism that hides its inside, and a box
// that highlights. Points within a hair of a volume's edge may fall either way in floats.
TEST_F(PointCloudPicture, ClipBoxesAndPrismsCutAndHighlightTheirPoints)
{
    std::vector<StorePoint> points;
    for (int j = 0; j < static_cast<int>(height); ++j)
        for (int i = 0; i < static_cast<int>(width); ++i)
            points.push_back(atPixel(i, j, 5.0));
    show({{"r", points}});
    using P2 = Math::Point<double, 2>;
    const Math::OrientedBox turned =
        Math::OrientedBox::fromAngles(Math::Point<double, 3>(8.1, 6.05, 5.0), Eigen::Vector3d(5.03, 2.52, 1.0), 0.5);
    const Render::ClipPrism ell{Math::Polygon(
        {P2(5.02, 3.01), P2(9.03, 3.01), P2(9.03, 5.02), P2(7.01, 5.02), P2(7.01, 8.03), P2(5.02, 8.03)})};
    const Math::OrientedBox corner(Math::Point<double, 3>(11.0, 7.0, 5.0), Eigen::Vector3d(1.02, 1.02, 1.0));
    Render::ClipVolumes volumes;
    volumes.add(turned, Render::ClipEffect::ShowInside);
    volumes.add(ell, Render::ClipEffect::ShowOutside);
    volumes.add(corner, Render::ClipEffect::Highlight);
    cloud->setClipVolumes(volumes);
    cloud->reloadPoints(nullptr, 21);
    picture();
    // White mixed with the highlight colour by its alpha.
    const Math::Color h = volumes.highlightColor();
    const double a = h.a() / 255.0;
    const auto mixed = [&](std::uint8_t c) { return 255.0 + (c - 255.0) * a; };
    std::size_t drawn = 0;
    std::size_t highlighted = 0;
    for (std::size_t j = 0; j < height; ++j) {
        for (std::size_t i = 0; i < width; ++i) {
            const StorePoint& p = points[j * width + i];
            const Math::Point<double, 3> at(p.x, p.y, p.z);
            const Eigen::Vector3d unit = turned.unitCoordinates(at);
            const bool nearEdge = std::abs(std::abs(unit.x()) - 1.0) < 1e-4 || std::abs(std::abs(unit.y()) - 1.0) < 1e-4
                || ell.footprint.distanceToEdge(P2(p.x, p.y)) < 1e-4;
            if (nearEdge)
                continue;
            const Math::Color pixel = image.at(i, j);
            if (!volumes.draws(at)) {
                EXPECT_EQ(pixel, Math::Color(0, 0, 0, 255)) << i << ", " << j;
            } else if (volumes.highlights(at)) {
                ++highlighted;
                EXPECT_NEAR(pixel.r(), mixed(h.r()), 1.0) << i << ", " << j;
                EXPECT_NEAR(pixel.g(), mixed(h.g()), 1.0) << i << ", " << j;
                EXPECT_NEAR(pixel.b(), mixed(h.b()), 1.0) << i << ", " << j;
            } else {
                ++drawn;
                EXPECT_EQ(pixel, Math::Color(255, 255, 255, 255)) << i << ", " << j;
            }
        }
    }
    std::size_t hidden = 0;
    for (const StorePoint& p : points)
        hidden +=
            turned.contains(Math::Point<double, 3>(p.x, p.y, p.z)) && ell.footprint.contains(P2(p.x, p.y)) ? 1 : 0;
    // Each effect had points to work on: about 16 a square unit.
    EXPECT_GT(drawn, 400u);
    EXPECT_GT(highlighted, 40u);
    EXPECT_GT(hidden, 100u);
}

// The colour of a point (200, 100, 50), intensity 1000, four units above the plane z = 0, in each
// mode that the point shader colours.
struct ModeColor {
    RenderMode mode;
    Math::Color expected;
};

class PointCloudModeColor : public PointCloudPicture, public ::testing::WithParamInterface<ModeColor> {};

TEST_P(PointCloudModeColor, ColoursADrawnPixelByTheMode)
{
    // Intensities 1000 ... 4000: the 99th percentile, 3000, becomes full brightness.
    const std::vector<StorePoint> points{
        atPixel(20, 20, 4.0, Math::Color(200, 100, 50), 1000), atPixel(30, 30, 4.0, Math::Color(0, 0, 0), 2000),
        atPixel(35, 30, 4.0, Math::Color(0, 0, 0), 3000), atPixel(40, 30, 4.0, Math::Color(0, 0, 0), 4000)};
    show({{"r", points}});
    cloud->setUniformColor(Math::Color(255, 128, 0));
    renderer.setPlaneForDistanceColorization(Math::NPlane<float, 3>(0.0f, 0.0f, 1.0f, 0.0f));
    renderer.setColorMapRange(0.0f, 8.0f);
    // Two triangles covering the view at z = 0, facing up.
    renderer.setMeshForDistanceColorization(std::make_shared<Math::TriangleMesh<float>>(
        std::vector<Math::Point<float, 3>>{
            {-1.0f, -1.0f, 0.0f}, {17.0f, -1.0f, 0.0f}, {17.0f, 17.0f, 0.0f}, {-1.0f, 17.0f, 0.0f}},
        std::vector<Math::TriangleMesh<float>::Triangle>{{0, 1, 2}, {0, 2, 3}}));
    cloud->reloadPoints(nullptr, 21); // the distances to the new mesh
    renderer.setRenderMode(GetParam().mode);
    const Math::Color pixel = picture().at(20, 20);
    const Math::Color& expected = GetParam().expected;
    EXPECT_NEAR(pixel.r(), expected.r(), 1) << pixel;
    EXPECT_NEAR(pixel.g(), expected.g(), 1) << pixel;
    EXPECT_NEAR(pixel.b(), expected.b(), 1) << pixel;
}

// Distance 4 of 0..8 in turbo; intensity 1000 of 3000 is 21845, high byte 85; the grey of the
// colour, 350 / 3 / 255 = 0.4575, times (1, 0.502, 0).
const Math::Color turboMiddle = Math::Spectrum(Math::Spectrum::Turbo).color(0.5f);
INSTANTIATE_TEST_SUITE_P(Modes, PointCloudModeColor,
                         ::testing::Values(ModeColor{RenderMode::Default, Math::Color(200, 100, 50)},
                                           ModeColor{RenderMode::Intensity, Math::Color(85, 85, 85)},
                                           ModeColor{RenderMode::UniformColor, Math::Color(117, 59, 0)},
                                           ModeColor{RenderMode::PlaneDistance, turboMiddle},
                                           ModeColor{RenderMode::MeshDistance, turboMiddle}));

// The normal mode shades by the surface that the world positions of neighbouring pixels span:
// for a flat patch facing the camera, the cross product of the steps to the left and the upper
// neighbour, (0.25, 0, 0) x (0, -0.25, 0), points along -z: colour (0.5, 0.5, 0).
TEST_F(PointCloudPicture, TheNormalModeShadesAFlatPatchByItsFacing)
{
    std::vector<StorePoint> patch;
    for (int i = 15; i <= 25; ++i)
        for (int j = 15; j <= 25; ++j)
            patch.push_back(atPixel(i, j, 3.0, Math::Color(10, 20, 30)));
    show({{"r", patch}});
    renderer.setRenderMode(RenderMode::Normal);
    const Math::Color pixel = picture().at(20, 20);
    EXPECT_NEAR(pixel.r(), 127.5, 1.0);
    EXPECT_NEAR(pixel.g(), 127.5, 1.0);
    EXPECT_EQ(pixel.b(), 0);
}

// The tomographic looks blend: where two points lie on one pixel, the second is drawn over the
// first at its contrast (alpha 0.5 at the disc's centre), and post-processing stretches the result.
TEST_F(PointCloudPicture, TomographicModesBlendOverlappingPoints)
{
    show({{"r", {atPixel(10, 10, 3.0), atPixel(20, 10, 3.0), atPixel(20, 10, 6.0)}}});
    cloud->setTomographicContrast(0.5f);
    renderer.setTomographicColor(Math::Color(51, 51, 51));
    const auto byte = [](double value) { return std::lround(std::clamp(value, 0.0, 1.0) * 255.0) / 255.0; };
    for (const RenderMode mode : {RenderMode::TomographicBright, RenderMode::TomographicDark}) {
        renderer.setRenderMode(mode);
        picture();
        EXPECT_EQ(image.at(40, 40).a(), 0) << "nothing drawn: transparent";
        // The scene's colour after one and two points over transparent black, 8 bits each.
        const double c = mode == RenderMode::TomographicBright ? 0.2 : 0.8;
        const double once = byte(c * 0.5);
        const double twice = byte(c * 0.5 + once * 0.5);
        for (const auto& [i, scene] : {std::pair(10, once), std::pair(20, twice)}) {
            // Post-processing: bright doubles colour and mean; dark inverts and doubles the darkness.
            const double expected = mode == RenderMode::TomographicBright ? 2.0 * scene : 1.0 - 2.0 * scene;
            const double alpha = mode == RenderMode::TomographicBright ? 2.0 * scene : 2.0 * scene;
            EXPECT_NEAR(image.at(i, 10).r(), std::clamp(expected, 0.0, 1.0) * 255.0, 2.0)
                << static_cast<int>(mode) << " " << i;
            EXPECT_NEAR(image.at(i, 10).a(), std::clamp(alpha, 0.0, 1.0) * 255.0, 2.0)
                << static_cast<int>(mode) << " " << i;
        }
    }
}

// Every kind of store draws through the one octree interface, its classes too: with one class of
// its root's points shown at a time, pixels are lit, all in that class's colour.
class RealStorePicture : public PointCloudPicture, public ::testing::WithParamInterface<std::string> {};

TEST_P(RealStorePicture, Draws)
{
    std::optional<TestSupport::RestoredEptBinaryStore> restored;
    const std::filesystem::path folder =
        GetParam() == "ept/ellipsoid-binary" ? restored.emplace().path() : TestSupport::testStore(GetParam());
    cloud = PointCloudRenderable::create(Octree::locationOf(folder.string()), "cloud", 1000000, 1.0);
    renderer.setScene(cloud);
    const auto box = renderer.boundingBox();
    renderer.setCameraPose(Math::Point<float, 3>(box.center().x(), box.center().y(), box.max().z() + 10.0f),
                           box.center(), Eigen::Vector3f::UnitY());
    renderer.setOrthographic(box.size().maxCoeff() * 1.1f, box.size().maxCoeff() * 1.1f, 0.01f, 1000.0f);
    renderer.setZNearAndFarViaBoundingBox(box);
    cloud->reloadPoints(nullptr, 21);
    picture();
    std::size_t lit = 0;
    for (std::size_t j = 0; j < height; ++j)
        lit += litInRow(j, 0, width);
    EXPECT_GT(lit, width * height / 20) << GetParam();

    const auto root =
        cloud->octree()->nodePointData(Octree::OctreeNodeId::root(), {}, Octree::PointAttribute::Classification);
    ASSERT_TRUE(root && root->hasClassifications()) << GetParam();
    const std::set<std::uint8_t> classes(root->classifications().begin(), root->classifications().end());
    renderer.setRenderMode(RenderMode::Classification);
    for (const std::uint8_t shown : classes) {
        Render::PointClasses only;
        only.setAllShown(false);
        only.setShown(shown, true);
        renderer.setPointClasses(only);
        picture();
        const Math::Color color = only.color(shown);
        std::size_t ofClass = 0;
        for (std::size_t j = 0; j < height; ++j) {
            for (std::size_t i = 0; i < width; ++i) {
                const Math::Color pixel = image.at(i, j);
                if (pixel != Math::Color(0, 0, 0, 255)) {
                    ++ofClass;
                    ASSERT_EQ(pixel, color) << GetParam() << " class " << int(shown) << " at " << i << ", " << j;
                }
            }
        }
        EXPECT_GT(ofClass, 0u) << GetParam() << " class " << int(shown);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, RealStorePicture,
                         ::testing::Values("potree2/autzen_trim-brotli", "potree2/autzen_trim-default",
                                           "ept/ellipsoid-binary", "ept/ellipsoid-zstandard",
                                           "ept/lion_takanawa-laszip", "copc/1.2-with-color.copc.laz"));

} // namespace
