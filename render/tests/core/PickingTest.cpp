// Picking and read-back of rendered point clouds on a real device: picks in pictures whose
// pixels are worked out by hand, and picks in real stores compared with their source LAS files.
#include <lumaro/testsupport/render/PictureFixture.h>

#include <lumaro/render/core/ViewPlacement.h>
#include <lumaro/render/renderables/Thumbnail.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/graphics/DepthImage.h>
#include <lumaro/math/TriangleMesh.h>
#include <lumaro/testsupport/LasReader.h>
#include <lumaro/testsupport/TestStores.h>

#include <Eigen/SVD>

#include <cmath>
#include <fstream>
#include <limits>
#include <memory>
#include <set>

#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

namespace {

using namespace RenderTest;
using Point = Math::Point<float, 3>;

// A world point of the picture, as atPixel places it.
Point worldOf(const StorePoint& point)
{
    return Point(static_cast<float>(point.x), static_cast<float>(point.y), static_cast<float>(point.z));
}

class Picking : public PointCloudPicture {};

TEST_F(Picking, PicksExamineTheClampedHalfOpenSquareAndPreferTheNearestPoint)
{
    // Higher points are nearer to the eye, which looks down from z = 100.
    const StorePoint centre = atPixel(10, 10, 2.0);
    const StorePoint upperLeft = atPixel(9, 9, 5.0);
    const StorePoint right = atPixel(11, 10, 9.0);
    const StorePoint edge = atPixel(63, 20, 9.0);
    const StorePoint beforeEdge = atPixel(62, 20, 1.0);
    // Equally far from the eye, whose x lies between columns 31 and 32.
    const StorePoint tieLeft = atPixel(31, 40, 3.0);
    const StorePoint tieRight = atPixel(32, 40, 3.0);
    show({{"r", {centre, upperLeft, right, edge, beforeEdge, tieLeft, tieRight}}});
    renderer.render();

    Point point(-1.0f, -1.0f, -1.0f);
    EXPECT_FALSE(renderer.pickPoint(width, 0, point));
    EXPECT_EQ(point, Point(-1.0f, -1.0f, -1.0f)) << "outside the viewport nothing is written";
    EXPECT_FALSE(renderer.pickPoint(20, 20, point));
    EXPECT_EQ(point, Point(0.0f, 0.0f, 0.0f));
    ASSERT_TRUE(renderer.pickPoint(10, 10, point));
    EXPECT_EQ(point, worldOf(centre));

    EXPECT_FALSE(renderer.pickClosestPointWithTolerance(10, 10, 0, point));
    // Tolerance 1 examines columns 9 and 10 of rows 9 and 10: not the nearer point in column 11.
    ASSERT_TRUE(renderer.pickClosestPointWithTolerance(10, 10, 1, point));
    EXPECT_EQ(point, worldOf(upperLeft));
    ASSERT_TRUE(renderer.pickClosestPointWithTolerance(10, 10, 2, point));
    EXPECT_EQ(point, worldOf(right));
    // At the right edge the column under the cursor is left out.
    ASSERT_TRUE(renderer.pickClosestPointWithTolerance(width - 1, 20, 2, point));
    EXPECT_EQ(point, worldOf(beforeEdge));
    // A tie keeps the point of the first column.
    ASSERT_TRUE(renderer.pickClosestPointWithTolerance(32, 40, 2, point));
    EXPECT_EQ(point, worldOf(tieLeft));
}

TEST_F(Picking, DistancesToTheColorizationPlaneAndMeshNeedAMesh)
{
    const StorePoint below = atPixel(20, 20, 1.0);
    show({{"r", {below}}});
    renderer.setPlaneForDistanceColorization(Math::NPlane<float, 3>(0.0f, 0.0f, 1.0f, -4.0f)); // z = 4
    renderer.render();
    Point point;
    float distance = 0.0f;
    EXPECT_FALSE(renderer.pickPointWithDistanceToColorizationPlane(20, 20, 1, point, distance));
    EXPECT_FALSE(renderer.pickPointWithDistanceToColorizationMesh(20, 20, 1, point, distance));

    // A triangle at z = 2 facing down, under which the point lies on its front side.
    renderer.setMeshForDistanceColorization(std::make_shared<Math::TriangleMesh<float>>(
        std::vector<Point>{{0.0f, 0.0f, 2.0f}, {0.0f, 16.0f, 2.0f}, {16.0f, 0.0f, 2.0f}},
        std::vector<Math::TriangleMesh<float>::Triangle>{{0, 1, 2}}));
    cloud->reloadPoints(nullptr, 21); // a new mesh clears the cloud's nodes
    renderer.render();
    for (const bool signedDistance : {true, false}) {
        renderer.setUseSignedDistance(signedDistance);
        ASSERT_TRUE(renderer.pickPointWithDistanceToColorizationPlane(21, 21, 1, point, distance));
        EXPECT_EQ(point, worldOf(below));
        EXPECT_FLOAT_EQ(distance, signedDistance ? -3.0f : 3.0f);
        ASSERT_TRUE(renderer.pickPointWithDistanceToColorizationMesh(21, 21, 1, point, distance));
        EXPECT_FLOAT_EQ(distance, 1.0f);
    }
    renderer.setMeshForDistanceColorization(std::make_shared<Math::TriangleMesh<float>>(
        std::vector<Point>{{0.0f, 0.0f, 2.0f}, {16.0f, 0.0f, 2.0f}, {0.0f, 16.0f, 2.0f}},
        std::vector<Math::TriangleMesh<float>::Triangle>{{0, 1, 2}})); // now facing up: the point is behind
    renderer.setUseSignedDistance(true);
    cloud->reloadPoints(nullptr, 21);
    renderer.render();
    ASSERT_TRUE(renderer.pickPointWithDistanceToColorizationMesh(21, 21, 1, point, distance));
    EXPECT_FLOAT_EQ(distance, -1.0f);
}

TEST_F(Picking, ReadBackGivesDrawnPixelsAsPointsDepthsAndFiles)
{
    const StorePoint a = atPixel(5, 3, 2.0, Math::Color(10, 20, 30));
    const StorePoint b = atPixel(40, 3, 6.0, Math::Color(200, 150, 100));
    const StorePoint c = atPixel(1, 30, 4.0, Math::Color(1, 2, 3));
    show({{"r", {a, b, c}}});
    renderer.render();

    // Row-major: a and b in row 3, then c.
    std::vector<Render::VertexPosColor> points;
    renderer.getPoints(points);
    ASSERT_EQ(points.size(), 3u);
    EXPECT_EQ(points[0].color, Math::Color(10, 20, 30));
    EXPECT_EQ(points[2].color, Math::Color(1, 2, 3));
    EXPECT_LT((points[1].position - worldOf(b)).norm(), 1e-4f);

    // In chunks the cursor goes on where it stopped; the packed form puts red in the low byte.
    renderer.resetPointChunkPosition();
    double xyz[6];
    int rgb[2];
    EXPECT_EQ(renderer.getNextPointChunk(xyz, rgb, 2), 2u);
    EXPECT_EQ(rgb[1], 200 | 150 << 8 | 100 << 16);
    EXPECT_NEAR(xyz[3], b.x, 1e-4);
    Render::VertexPosColor last;
    EXPECT_EQ(renderer.getNextPointChunk(&last, 1), 1u);
    EXPECT_EQ(last.color, Math::Color(1, 2, 3));
    EXPECT_EQ(renderer.getNextPointChunk(&last, 1), 0u);

    // Depth: the clear value where nothing was drawn, else the point's own depth in clip space.
    Graphics::DepthImage depth;
    renderer.getDepthImage(depth);
    ASSERT_EQ(depth.width(), width);
    EXPECT_EQ(depth.at(20, 20), 1.0f);
    const Eigen::Vector4f clip = renderer.camera()->viewProjectionMatrix() * worldOf(b).homogeneous();
    EXPECT_NEAR(depth.at(40, 3), clip.z() / clip.w(), 1e-6f);
    EXPECT_GT(depth.at(40, 3), 0.0f);
    EXPECT_LT(depth.at(40, 3), 1.0f);

    renderer.writePoints(folder.path() / "points.txt");
    std::ifstream lines(folder.path() / "points.txt"); // a text file: CR LF on Windows
    std::string header;
    std::getline(lines, header);
    EXPECT_EQ(header, "X Y Z Red Green Blue Alpha");
    float x = 0, y = 0, z = 0;
    int red = 0, green = 0, blue = 0, alpha = 0;
    lines >> x >> y >> z >> red >> green >> blue >> alpha;
    EXPECT_EQ(Point(x, y, z), worldOf(a));
    EXPECT_EQ(std::tuple(red, green, blue, alpha), std::tuple(10, 20, 30, 255));

    renderer.writePngImage(folder.path() / "picture.png");
    EXPECT_TRUE(std::filesystem::exists(folder.path() / "picture.png"));
}

TEST_F(Picking, AnEmptyPictureHasNoPointsAndItsPointFileOnlyTheHeader)
{
    show({{"r", {atPixel(5, 5, 1.0)}}});
    cloud->setVisible(false);
    std::vector<Render::VertexPosColor> points{Render::VertexPosColor()};
    renderer.render();
    renderer.getPoints(points);
    EXPECT_TRUE(points.empty());
    renderer.writePoints(folder.path() / "empty.txt");
    std::ifstream file(folder.path() / "empty.txt");
    std::string line;
    std::vector<std::string> lines;
    while (std::getline(file, line))
        lines.push_back(line);
    EXPECT_EQ(lines, std::vector<std::string>{"X Y Z Red Green Blue Alpha"});
    Math::NPlane<float, 3> plane;
    Point point;
    EXPECT_FALSE(renderer.pickPlane(5, 5, 3, plane, point, 0.1)) << "fewer than three points";
}

// Real stores, seen from above: what a pick returns is a point of the source LAS file, and a plane
// fitted to a flat area agrees with the least-squares plane of the source points there.
class RealStorePicking : public PointCloudPicture {
protected:
    void showStore(const std::filesystem::path& store)
    {
        cloud = PointCloudRenderable::create(PoTree::FileSystemLocation(store), "cloud", 1000000, 1.0);
        renderer.setViewport(640, 360);
        renderer.setScene(cloud);
        const auto box = renderer.boundingBox();
        const Render::TopView top = Render::topView(box, 640, 360);
        renderer.setCameraPose(top.pose.eye, top.pose.target, top.pose.up);
        renderer.setOrthographic(top.horizontalExtent, top.verticalExtent, 0.01f, 1000.0f);
        renderer.setZNearAndFarViaBoundingBox(box);
        cloud->setOctreeNodePriorityThreshold(0.0f);
        cloud->reloadPoints(nullptr, 21);
        renderer.render();
    }

    Eigen::Vector3d storeCoordinates(const Point& point) const
    {
        return cloud->referencePosition() + point.cast<double>();
    }
};

TEST_F(RealStorePicking, APickedPointIsAPointOfTheSourceFile)
{
    showStore(TestSupport::testStore("ept/1.2-with-color"));
    cloud->setMaxPointSize(1.0f);
    renderer.render();
    const TestSupport::LasFile las = TestSupport::readLas(TestSupport::testStore("las/1.2-with-color.las"));
    std::vector<Render::VertexPosColor> drawn;
    renderer.getPoints(drawn);
    ASSERT_GT(drawn.size(), 100u);
    int checked = 0;
    for (std::size_t y = 0; y < 360 && checked < 20; y += 7) {
        for (std::size_t x = 0; x < 640 && checked < 20; x += 3) {
            Point picked;
            if (!renderer.pickPoint(x, y, picked))
                continue;
            const Eigen::Vector3d world = storeCoordinates(picked);
            double nearest = std::numeric_limits<double>::max();
            for (const auto& point : las.points)
                nearest = std::min(
                    nearest, (Eigen::Vector3d(point.position[0], point.position[1], point.position[2]) - world).norm());
            // Float precision of coordinates a few kilometres from the reference position.
            EXPECT_LT(nearest, 1e-3) << x << " " << y;
            ++checked;
        }
    }
    EXPECT_EQ(checked, 20);
}

TEST_F(RealStorePicking, APlaneOnFlatGroundAgreesWithTheSourcePoints)
{
    showStore(TestSupport::testStore("potree2/autzen_trim-brotli"));
    // The open field left of the running track of the Autzen scan.
    const std::size_t x = 150;
    const std::size_t y = 250;
    const std::size_t tolerance = 6;
    Math::NPlane<float, 3> plane;
    Point point;
    ASSERT_TRUE(renderer.pickPlane(x, y, tolerance, plane, point, 0.1));
    EXPECT_GT(plane.signedDistance(renderer.eye()), 0.0f) << "the plane faces the eye";

    // The source points under the search square, fitted by least squares here.
    const Point corner0 = renderer.unProject(x - tolerance, y + tolerance, 0.0f);
    const Point corner1 = renderer.unProject(x + tolerance, y - tolerance, 0.0f);
    const TestSupport::LasFile las = TestSupport::readLas(TestSupport::testStore("las/autzen_trim.las"));
    std::vector<Eigen::Vector3d> area;
    for (const auto& source : las.points) {
        const Eigen::Vector3d world(source.position[0], source.position[1], source.position[2]);
        const Eigen::Vector3d model = world - Eigen::Vector3d(cloud->referencePosition());
        if (model.x() >= corner0.x() && model.x() < corner1.x() && model.y() >= corner0.y() && model.y() < corner1.y())
            area.push_back(model);
    }
    ASSERT_GE(area.size(), 10u);
    Eigen::Vector3d centroid = Eigen::Vector3d::Zero();
    for (const auto& p : area)
        centroid += p;
    centroid /= static_cast<double>(area.size());
    Eigen::MatrixX3d centred(area.size(), 3);
    for (std::size_t i = 0; i < area.size(); ++i)
        centred.row(static_cast<Eigen::Index>(i)) = (area[i] - centroid).transpose();
    const Eigen::Vector3d normal = Eigen::JacobiSVD<Eigen::MatrixX3d>(centred, Eigen::ComputeFullV).matrixV().col(2);
    const double angle = std::acos(std::min(1.0, std::abs(normal.dot(plane.normal().cast<double>()))));
    EXPECT_LT(angle, 3.0 * 3.14159265 / 180.0) << plane.normal().transpose() << " vs " << normal.transpose();
    EXPECT_LT(std::abs(plane.signedDistance(Point(centroid.cast<float>()))), 0.1);
}

// test1_4 carries intensities and no colours, like most airborne scans.
TEST_F(RealStorePicking, AStoreWithoutColourShowsItsIntensityByDefaultAndInItsThumbnail)
{
    showStore(TestSupport::testStore("potree2/test1_4-brotli"));
    const Graphics::ColorImage byDefault = picture();
    renderer.setRenderMode(Render::RenderMode::Intensity);
    cloud->reloadPoints(nullptr, 21);
    picture();
    std::set<std::uint8_t> greys;
    std::size_t lit = 0;
    for (std::size_t y = 0; y < image.height(); ++y) {
        for (std::size_t x = 0; x < image.width(); ++x) {
            const Math::Color pixel = byDefault.at(x, y);
            ASSERT_EQ(pixel, image.at(x, y)) << x << " " << y;
            ASSERT_TRUE(pixel.r() == pixel.g() && pixel.g() == pixel.b()) << x << " " << y;
            if (pixel != Math::Color(0, 0, 0, 255)) {
                ++lit;
                greys.insert(pixel.r());
            }
        }
    }
    EXPECT_GT(lit, 500u);
    EXPECT_GT(greys.size(), 20u) << "the intensities are stretched over the grey levels";

    // On the thumbnails' white background the scan shows.
    const TestSupport::TemporaryFolder copy;
    std::filesystem::copy(TestSupport::testStore("potree2/test1_4-brotli"), copy.path());
    Render::createThumbnail(copy.path(), 96, 72, Math::Color(255, 255, 255, 255), 21);
    int width = 0;
    int height = 0;
    int channels = 0;
    const std::string file = (copy.path() / "thumbnail.png").string();
    const std::unique_ptr<unsigned char, decltype(&stbi_image_free)> pixels(
        stbi_load(file.c_str(), &width, &height, &channels, 3), &stbi_image_free);
    ASSERT_TRUE(pixels) << file;
    std::size_t notWhite = 0;
    for (int i = 0; i < width * height; ++i)
        notWhite +=
            pixels.get()[3 * i] != 255 || pixels.get()[3 * i + 1] != 255 || pixels.get()[3 * i + 2] != 255 ? 1 : 0;
    EXPECT_GT(notWhite, 100u);
}

TEST(Thumbnail, ReplacesTheFileInTheStoresFolderAndRefusesAMissingStore)
{
    const TestSupport::TemporaryFolder folder;
    const std::filesystem::path store = folder.path() / "store";
    std::filesystem::copy(TestSupport::testStore("potree2/1.2-with-color-default"), store);
    std::filesystem::path withSeparator = store;
    withSeparator += "/";
    {
        std::ofstream old(store / "thumbnail.png");
        old << "an old thumbnail";
    }
    Render::createThumbnail(withSeparator, 64, 32, Math::Color(0, 0, 0, 255), 100);
    const std::string png = Core::readLocalFile(store / "thumbnail.png");
    ASSERT_GT(png.size(), 24u);
    EXPECT_EQ(png.substr(1, 3), "PNG");
    EXPECT_EQ(png.substr(16, 8), std::string("\0\0\0\x40\0\0\0\x20", 8)) << "64 x 32";

    EXPECT_THROW(
        {
            try {
                Render::createThumbnail(folder.path() / "nothing", 64, 32, Math::Color(0, 0, 0, 255), 3);
            } catch (const std::invalid_argument& error) {
                EXPECT_STREQ(error.what(), "createThumbnail: locationPotree does not exist");
                throw;
            }
        },
        std::invalid_argument);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "nothing"));
}

} // namespace
