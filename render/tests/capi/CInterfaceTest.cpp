// The C interface as a host in any language meets it: status codes and messages for every bad
// argument, and a real store rendered, read back, picked and written.
#include <lumaro/lumaro_c.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/testsupport/LasReader.h>
#include <lumaro/testsupport/TemporaryFolder.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr uint32_t width = 96;
constexpr uint32_t height = 64;

std::string utf8(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

const std::string autzen = utf8(TestSupport::testStore("potree2/autzen_trim-brotli"));

using Renderer = std::unique_ptr<lumaro_renderer, decltype(&lumaro_renderer_destroy)>;

Renderer makeRenderer()
{
    return Renderer(lumaro_renderer_create(width, height), &lumaro_renderer_destroy);
}

// A renderer showing autzen from above on black, loaded and drawn.
Renderer autzenFromAbove(const char* mode = "rgb")
{
    Renderer renderer = makeRenderer();
    EXPECT_TRUE(renderer) << lumaro_last_error();
    EXPECT_NE(lumaro_renderer_add_cloud(renderer.get(), autzen.c_str(), 1000000), nullptr) << lumaro_last_error();
    EXPECT_EQ(lumaro_renderer_set_background(renderer.get(), 0x000000), 0);
    EXPECT_EQ(lumaro_renderer_set_mode(renderer.get(), mode), 0) << lumaro_last_error();
    EXPECT_EQ(lumaro_renderer_view_top(renderer.get()), 0);
    EXPECT_EQ(lumaro_renderer_load(renderer.get(), 0), 0) << lumaro_last_error();
    EXPECT_EQ(lumaro_renderer_render(renderer.get()), 0);
    return renderer;
}

std::vector<uint8_t> readColor(lumaro_renderer* renderer)
{
    std::vector<uint8_t> rgba(4 * width * height, 7);
    EXPECT_EQ(lumaro_renderer_read_color(renderer, rgba.data(), 4 * width), 0) << lumaro_last_error();
    return rgba;
}

bool lit(const std::vector<uint8_t>& rgba, std::size_t pixel)
{
    return rgba[4 * pixel] != 0 || rgba[4 * pixel + 1] != 0 || rgba[4 * pixel + 2] != 0;
}

// The distance from a point to the nearest point of autzen's source LAS file.
double distanceToSource(const double xyz[3])
{
    static const TestSupport::LasFile las = TestSupport::readLas(TestSupport::testStore("las/autzen_trim.las"));
    double nearest = std::numeric_limits<double>::max();
    for (const auto& point : las.points)
        nearest = std::min(
            nearest, std::hypot(point.position[0] - xyz[0], point.position[1] - xyz[1], point.position[2] - xyz[2]));
    return nearest;
}

struct BadCall {
    const char* what;
    std::function<int()> call;
    const char* message; // a part of lumaro_last_error()
};

TEST(CInterface, EveryBadArgumentFailsWithAMessage)
{
    const Renderer renderer = makeRenderer();
    ASSERT_TRUE(renderer) << lumaro_last_error();
    lumaro_renderer* r = renderer.get();
    const TestSupport::TemporaryFolder folder;
    const std::string missing = utf8(folder.path() / "missing");
    const std::string noFolder = utf8(folder.path() / "no" / "such" / "file.png");
    std::vector<uint8_t> pixels(4 * width * height);
    std::vector<float> depths(width * height);
    double xyz[3] = {};
    const double eye[3] = {1.0, 2.0, 3.0};
    const double nan[3] = {1.0, std::nan(""), 3.0};
    const auto pointer = [](const void* result) { return result == nullptr ? -1 : 0; };

    const BadCall calls[] = {
        {"zero width", [&] { return pointer(lumaro_renderer_create(0, 10)); },
         "width must be 1 to 16384 pixels, not 0"},
        {"huge height", [&] { return pointer(lumaro_renderer_create(10, 16385)); },
         "height must be 1 to 16384 pixels, not 16385"},
        {"cloud of no renderer", [&] { return pointer(lumaro_renderer_add_cloud(nullptr, autzen.c_str(), 10)); },
         "renderer must not be NULL"},
        {"cloud of no location", [&] { return pointer(lumaro_renderer_add_cloud(r, nullptr, 10)); },
         "location_utf8 must not be NULL"},
        {"cloud of an empty location", [&] { return pointer(lumaro_renderer_add_cloud(r, "", 10)); },
         "location_utf8 must not be empty"},
        {"missing store", [&] { return pointer(lumaro_renderer_add_cloud(r, missing.c_str(), 10)); }, "missing"},
        {"budget of 0", [&] { return pointer(lumaro_renderer_add_cloud(r, autzen.c_str(), 0)); }, "point budget"},
        {"mode of no renderer", [&] { return lumaro_renderer_set_mode(nullptr, "rgb"); }, "renderer must not be NULL"},
        {"no mode", [&] { return lumaro_renderer_set_mode(r, nullptr); }, "mode must not be NULL"},
        {"unknown mode", [&] { return lumaro_renderer_set_mode(r, "height"); }, "unknown mode 'height' (known: rgb,"},
        {"mesh distance without a mesh", [&] { return lumaro_renderer_set_mode(r, "mesh-distance"); },
         "needs a distance mesh"},
        {"unknown colour map", [&] { return lumaro_renderer_set_color_map(r, "rainbow"); },
         "unknown colour map 'rainbow'"},
        {"background beyond RGB", [&] { return lumaro_renderer_set_background(r, 0x1000000); }, "0xRRGGBB"},
        {"class beyond a byte", [&] { return lumaro_renderer_set_class_visible(r, 256, 0); },
         "class_index must lie between 0 and 255, not 256"},
        {"class colour beyond RGB", [&] { return lumaro_renderer_set_class_color(r, 2, 0x1000000); },
         "rgb must be 0xRRGGBB"},
        {"negative lighting", [&] { return lumaro_renderer_set_eye_dome_lighting(r, 1, -1.0, 1.0); },
         "strength must be a number of at least 0"},
        {"lighting radius 0", [&] { return lumaro_renderer_set_eye_dome_lighting(r, 1, 1.0, 0.0); },
         "radius must lie between 1 and 16"},
        {"size of 0", [&] { return lumaro_renderer_set_size(r, 0, 5); }, "width must be 1 to 16384"},
        {"overview of no renderer", [&] { return lumaro_renderer_view_overview(nullptr); },
         "renderer must not be NULL"},
        {"top view of no renderer", [&] { return lumaro_renderer_view_top(nullptr); }, "renderer must not be NULL"},
        {"no eye", [&] { return lumaro_renderer_look_at(r, nullptr, eye, 60.0); }, "eye must not be NULL"},
        {"eye not a number", [&] { return lumaro_renderer_look_at(r, nan, eye, 60.0); },
         "eye must be three finite numbers"},
        {"eye on the target", [&] { return lumaro_renderer_look_at(r, eye, eye, 60.0); }, "eye and target must differ"},
        {"field of view 0", [&] { return lumaro_renderer_look_at(r, eye, xyz, 0.0); }, "fov_y_degrees"},
        {"field of view 180", [&] { return lumaro_renderer_look_at(r, eye, xyz, 180.0); }, "fov_y_degrees"},
        {"load of no renderer", [&] { return lumaro_renderer_load(nullptr, 0); }, "renderer must not be NULL"},
        {"threads of no renderer", [&] { return lumaro_renderer_set_loader_threads(nullptr, 2); },
         "renderer must not be NULL"},
        {"budget of no renderer", [&] { return lumaro_renderer_set_point_budget(nullptr, 10); },
         "renderer must not be NULL"},
        {"shared budget of 0", [&] { return lumaro_renderer_set_point_budget(r, 0); },
         "point_budget must be at least 1"},
        {"render of no renderer", [&] { return lumaro_renderer_render(nullptr); }, "renderer must not be NULL"},
        {"colours into nothing", [&] { return lumaro_renderer_read_color(r, nullptr, 4 * width); },
         "rgba must not be NULL"},
        {"colour rows too short", [&] { return lumaro_renderer_read_color(r, pixels.data(), 4 * width - 1); },
         "stride must be at least"},
        {"depths into nothing", [&] { return lumaro_renderer_read_depth(r, nullptr, 4 * width); },
         "depths must not be NULL"},
        {"depth rows too short", [&] { return lumaro_renderer_read_depth(r, depths.data(), 3); },
         "stride must be at least"},
        {"pick beside the picture", [&] { return lumaro_renderer_pick(r, width, 0, 0, xyz); },
         "lies outside the picture of 96 x 64"},
        {"pick into nothing", [&] { return lumaro_renderer_pick(r, 0, 0, 0, nullptr); }, "xyz must not be NULL"},
        {"PNG of no path", [&] { return lumaro_renderer_write_png(r, nullptr); }, "path_utf8 must not be NULL"},
        {"PNG in no folder", [&] { return lumaro_renderer_write_png(r, noFolder.c_str()); }, "file.png"},
        {"points in no folder", [&] { return lumaro_renderer_write_points(r, noFolder.c_str()); },
         "cannot write the points to"},
        {"missing mesh", [&] { return lumaro_renderer_add_mesh(r, missing.c_str()); }, "missing"},
        {"missing distance mesh", [&] { return lumaro_renderer_set_distance_mesh(r, missing.c_str()); }, "missing"},
        {"distance range upside down", [&] { return lumaro_renderer_set_distance_range(r, 1.0, 0.0); },
         "min below max"},
        {"thumbnail of nothing", [&] { return lumaro_thumbnail(nullptr, "t.png", 8, 8, 0, 3); },
         "location_utf8 must not be NULL"},
        {"thumbnail to nowhere", [&] { return lumaro_thumbnail(autzen.c_str(), nullptr, 8, 8, 0, 3); },
         "png_path_utf8 must not be NULL"},
        {"thumbnail of 0 pixels", [&] { return lumaro_thumbnail(autzen.c_str(), "t.png", 8, 0, 0, 3); },
         "height must be 1 to 16384"},
        {"thumbnail of a missing store", [&] { return lumaro_thumbnail(missing.c_str(), "t.png", 8, 8, 0, 3); },
         "no point-cloud store at"},
        {"thumbnail background beyond RGB",
         [&] { return lumaro_thumbnail(autzen.c_str(), "t.png", 8, 8, 0xFFFFFFFF, 3); }, "0xRRGGBB"},
        {"points of no cloud", [&] { return lumaro_cloud_loaded_points(nullptr) == 0 ? -1 : 0; },
         "cloud must not be NULL"},
    };
    for (const BadCall& bad : calls) {
        EXPECT_EQ(bad.call(), -1) << bad.what;
        EXPECT_NE(std::string(lumaro_last_error()).find(bad.message), std::string::npos)
            << bad.what << ": " << lumaro_last_error();
        // A success clears the message.
        EXPECT_EQ(lumaro_renderer_set_background(r, 0x102030), 0);
        EXPECT_STREQ(lumaro_last_error(), "");
    }
    lumaro_renderer_destroy(nullptr);
    EXPECT_STREQ(lumaro_version(), LUMARO_EXPECTED_VERSION);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "no"));
}

TEST(CInterface, RendersReadsBackAndPicksARealStoreInItsOwnCoordinates)
{
    const Renderer renderer = autzenFromAbove("intensity");
    lumaro_renderer* r = renderer.get();
    const std::vector<uint8_t> rgba = readColor(r);
    std::vector<float> depths(width * height, -1.0f);
    ASSERT_EQ(lumaro_renderer_read_depth(r, depths.data(), 4 * width), 0) << lumaro_last_error();
    // The points span 1177.46 x 562.70 (the LAS header): the width fills the picture, and the
    // depth 562.70 / (1177.46 x 64 / 96) = 72 % of the rows, leaving bands of 9 rows above and
    // below where the far plane's depth (1) and the black background remain (a margin of 3 rows
    // for the discs). Its lowest points lie on the far plane; points of intensity 0 are black.
    std::size_t litPixels = 0;
    std::size_t firstLit = rgba.size();
    for (std::size_t pixel = 0; pixel < std::size_t(width) * height; ++pixel) {
        ASSERT_EQ(rgba[4 * pixel + 3], 255);
        const std::size_t row = pixel / width;
        if (row < 6 || row >= height - 6) {
            EXPECT_FALSE(lit(rgba, pixel)) << pixel;
            EXPECT_EQ(depths[pixel], 1.0f) << pixel;
        }
        if (lit(rgba, pixel)) {
            ++litPixels;
            firstLit = std::min(firstLit, pixel);
            EXPECT_TRUE(depths[pixel] >= 0.0f && depths[pixel] <= 1.0f) << pixel;
            EXPECT_TRUE(rgba[4 * pixel] == rgba[4 * pixel + 1] && rgba[4 * pixel + 1] == rgba[4 * pixel + 2]) << "grey";
        }
    }
    EXPECT_GT(litPixels, std::size_t(width) * height / 2);
    ASSERT_LT(firstLit, rgba.size());

    double xyz[3] = {};
    ASSERT_EQ(lumaro_renderer_pick(r, firstLit % width, firstLit / width, 0, xyz), 0) << lumaro_last_error();
    // Within a step of the store's grid (0.01) of a source point, and float rounding.
    EXPECT_LT(distanceToSource(xyz), 0.011) << xyz[0] << " " << xyz[1] << " " << xyz[2];
    double untouched[3] = {1.0, 2.0, 3.0};
    EXPECT_EQ(lumaro_renderer_pick(r, width / 2, 0, 0, untouched), 1);
    EXPECT_EQ(untouched[2], 3.0);
    EXPECT_EQ(lumaro_renderer_pick(r, width / 2, 2, 2, untouched), 1) << "nothing within 2 pixels in the band";

    const lumaro_cloud* cloud = nullptr;
    {
        const Renderer counted = makeRenderer();
        cloud = lumaro_renderer_add_cloud(counted.get(), autzen.c_str(), 5000);
        ASSERT_NE(cloud, nullptr);
        EXPECT_EQ(lumaro_renderer_view_top(counted.get()), 0);
        EXPECT_EQ(lumaro_renderer_load(counted.get(), 0), 0);
        EXPECT_EQ(lumaro_cloud_total_points(cloud),
                  TestSupport::storeFacts(TestSupport::testStore("potree2/autzen_trim-brotli"))["points_metadata"]
                      .get<uint64_t>());
        EXPECT_GT(lumaro_cloud_loaded_points(cloud), 0u);
        EXPECT_LE(lumaro_cloud_loaded_points(cloud), 5000u);
    }

    // The files: a PNG, and the drawn pixels as points of the source.
    const TestSupport::TemporaryFolder folder;
    const std::string png = utf8(folder.path() / "picture.png");
    ASSERT_EQ(lumaro_renderer_write_png(r, png.c_str()), 0) << lumaro_last_error();
    EXPECT_EQ(Core::readLocalFile(png).substr(1, 3), "PNG");
    const std::string points = utf8(folder.path() / "points.txt");
    ASSERT_EQ(lumaro_renderer_write_points(r, points.c_str()), 0) << lumaro_last_error();
    std::ifstream lines(folder.path() / "points.txt");
    std::string header;
    std::getline(lines, header);
    EXPECT_EQ(header, "X Y Z Red Green Blue Alpha");
    double first[3] = {};
    lines >> first[0] >> first[1] >> first[2];
    // A pixel of a disc (5 pixels across at most, 1177.46 / 96 units each) lies within its
    // radius of its point.
    EXPECT_LT(distanceToSource(first), 2.5 * 1177.46 / 96.0);
}

// Autzen holds unclassified points (class 1) and ground (class 2): in the classification mode each
// lit pixel has one of their colours, both show, and hiding classes takes their points away.
// Eye-dome lighting only darkens; high-quality splats draw the same pixels.
TEST(CInterface, ClassesLightingAndSplats)
{
    const Renderer renderer = autzenFromAbove("classification");
    lumaro_renderer* r = renderer.get();
    ASSERT_EQ(lumaro_renderer_set_class_color(r, 1, 0x0000FF), 0);
    ASSERT_EQ(lumaro_renderer_set_class_color(r, 2, 0xFF0000), 0);
    const auto count = [&] {
        EXPECT_EQ(lumaro_renderer_render(r), 0);
        const std::vector<uint8_t> rgba = readColor(r);
        std::array<std::size_t, 3> counts{}; // class 1, class 2, others lit
        for (std::size_t pixel = 0; pixel < std::size_t(width) * height; ++pixel) {
            const std::uint32_t color = rgba[4 * pixel] << 16 | rgba[4 * pixel + 1] << 8 | rgba[4 * pixel + 2];
            counts[color == 0x0000FF ? 0 : color == 0xFF0000 ? 1 : 2] += lit(rgba, pixel) ? 1 : 0;
        }
        return counts;
    };
    const auto both = count();
    EXPECT_GT(both[0], 500u);
    EXPECT_GT(both[1], 100u);
    EXPECT_EQ(both[2], 0u);
    ASSERT_EQ(lumaro_renderer_set_class_visible(r, 1, 0), 0);
    const auto ground = count();
    EXPECT_EQ(ground[0], 0u);
    EXPECT_GT(ground[1], both[1]) << "ground under the unclassified points shows";
    ASSERT_EQ(lumaro_renderer_set_class_visible(r, 2, 0), 0);
    EXPECT_EQ(count(), (std::array<std::size_t, 3>{0, 0, 0}));
    ASSERT_EQ(lumaro_renderer_set_class_visible(r, 1, 1), 0);
    ASSERT_EQ(lumaro_renderer_set_class_visible(r, 2, 1), 0);

    ASSERT_EQ(lumaro_renderer_set_mode(r, "rgb"), 0);
    ASSERT_EQ(lumaro_renderer_render(r), 0);
    const std::vector<uint8_t> plain = readColor(r);
    ASSERT_EQ(lumaro_renderer_set_eye_dome_lighting(r, 1, 1.0, 1.0), 0) << lumaro_last_error();
    ASSERT_EQ(lumaro_renderer_render(r), 0);
    const std::vector<uint8_t> shaded = readColor(r);
    std::size_t darker = 0;
    for (std::size_t k = 0; k < plain.size(); ++k) {
        ASSERT_LE(shaded[k], plain[k]) << k;
        darker += shaded[k] < plain[k] ? 1 : 0;
    }
    EXPECT_GT(darker, 100u);
    ASSERT_EQ(lumaro_renderer_set_eye_dome_lighting(r, 0, 1.0, 1.0), 0);
    ASSERT_EQ(lumaro_renderer_set_splat_quality(r, 1), 0);
    ASSERT_EQ(lumaro_renderer_render(r), 0);
    const std::vector<uint8_t> splats = readColor(r);
    for (std::size_t pixel = 0; pixel < std::size_t(width) * height; ++pixel)
        ASSERT_EQ(lit(splats, pixel), lit(plain, pixel)) << pixel;
    EXPECT_NE(splats, plain);
}

TEST(CInterface, ModesViewsTimeoutsDamagedStoresAndThumbnails)
{
    // Elevation colours what intensity showed grey; the overview and a view from above by
    // look_at both show the store.
    const Renderer elevation = autzenFromAbove("elevation");
    const std::vector<uint8_t> coloured = readColor(elevation.get());
    std::size_t notGrey = 0;
    for (std::size_t pixel = 0; pixel < std::size_t(width) * height; ++pixel)
        notGrey += coloured[4 * pixel] != coloured[4 * pixel + 1] || coloured[4 * pixel + 1] != coloured[4 * pixel + 2]
            ? 1
            : 0;
    EXPECT_GT(notGrey, std::size_t(width) * height / 4);
    const TestSupport::LasFile las = TestSupport::readLas(TestSupport::testStore("las/autzen_trim.las"));
    double centre[3] = {0.0, 0.0, 0.0};
    for (const auto& point : las.points)
        for (int axis = 0; axis < 3; ++axis)
            centre[axis] += point.position[axis] / static_cast<double>(las.points.size());
    const double above[3] = {centre[0], centre[1], centre[2] + 1500.0};
    for (const auto& view :
         {std::function<int()>([&] { return lumaro_renderer_view_overview(elevation.get()); }),
          std::function<int()>([&] { return lumaro_renderer_look_at(elevation.get(), above, centre, 60.0); })}) {
        ASSERT_EQ(view(), 0) << lumaro_last_error();
        ASSERT_EQ(lumaro_renderer_load(elevation.get(), 0), 0);
        ASSERT_EQ(lumaro_renderer_render(elevation.get()), 0);
        const std::vector<uint8_t> rgba = readColor(elevation.get());
        std::size_t litPixels = 0;
        for (std::size_t pixel = 0; pixel < std::size_t(width) * height; ++pixel)
            litPixels += lit(rgba, pixel) ? 1 : 0;
        EXPECT_GT(litPixels, 100u);
        EXPECT_NE(rgba, coloured);
    }

    // A timeout of 1 ms ends the walk of a store of LASzip nodes that this process has not read.
    const Renderer hurried = makeRenderer();
    ASSERT_NE(lumaro_renderer_add_cloud(hurried.get(), utf8(TestSupport::testStore("ept/lion_takanawa-laszip")).c_str(),
                                        1000000),
              nullptr);
    ASSERT_EQ(lumaro_renderer_view_top(hurried.get()), 0);
    EXPECT_EQ(lumaro_renderer_load(hurried.get(), 1), 1);
    EXPECT_NE(std::string(lumaro_last_error()).find("longer than 1 ms"), std::string::npos) << lumaro_last_error();

    // A store in a folder of a name beyond ASCII, with its octree cut short (the root lies at its
    // end): what can be read loads, and the message names the file.
    const TestSupport::TemporaryFolder folder;
    const std::filesystem::path store = folder.path() / std::filesystem::path(u8"Straße-\u2713");
    std::filesystem::copy(TestSupport::testStore("potree2/autzen_trim-brotli"), store);
    std::filesystem::resize_file(store / "octree.bin", std::filesystem::file_size(store / "octree.bin") / 2);
    const Renderer damaged = makeRenderer();
    const lumaro_cloud* cloud = lumaro_renderer_add_cloud(damaged.get(), utf8(store).c_str(), 1000000);
    ASSERT_NE(cloud, nullptr) << lumaro_last_error();
    ASSERT_EQ(lumaro_renderer_view_top(damaged.get()), 0);
    EXPECT_EQ(lumaro_renderer_load(damaged.get(), 0), 2);
    EXPECT_NE(std::string(lumaro_last_error()).find("octree.bin"), std::string::npos) << lumaro_last_error();
    EXPECT_GT(lumaro_cloud_loaded_points(cloud), 0u);

    const std::string thumbnail = utf8(folder.path() / "thumbnail.png");
    ASSERT_EQ(lumaro_thumbnail(autzen.c_str(), thumbnail.c_str(), 32, 24, 0xFFFFFF, 21), 0) << lumaro_last_error();
    const std::string bytes = Core::readLocalFile(thumbnail);
    EXPECT_EQ(bytes.substr(16, 8), std::string("\0\0\0\x20\0\0\0\x18", 8)) << "32 x 24";
}

// Private stores on the tests' servers (the web_server fixture), reached with what the host gives.
TEST(CInterface, PrivateStoresWithTheHostsCredentials)
{
    const char* serverFile = std::getenv("LUMARO_WEB_SERVER");
    ASSERT_NE(serverFile, nullptr) << "run through ctest";
    const nlohmann::json secrets = nlohmann::json::parse(Core::readLocalFile(serverFile))["private"];
    const std::string key = secrets["access_key"];
    const std::string secretKey = secrets["secret"];
    const std::string region = secrets["region"];
    const std::string endpoint = secrets["s3_endpoint"];
    const std::string copc = "s3://" + secrets["bucket"].get<std::string>() + "/copc/1.2-with-color.copc.laz";

    EXPECT_EQ(lumaro_set_s3_access(key.c_str(), nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_NE(std::string(lumaro_last_error()).find("both be given or both be NULL"), std::string::npos);
    EXPECT_EQ(lumaro_set_http_headers("Authorization Bearer x"), -1);
    EXPECT_NE(std::string(lumaro_last_error()).find("line 1 is not a header"), std::string::npos);

    // The bucket's file loads what the same file on disk loads.
    const auto loadedPoints = [](const std::string& location) -> std::uint64_t {
        const Renderer renderer = makeRenderer();
        const lumaro_cloud* cloud = lumaro_renderer_add_cloud(renderer.get(), location.c_str(), 1000000);
        EXPECT_NE(cloud, nullptr) << location << ": " << lumaro_last_error();
        if (!cloud)
            return 0;
        EXPECT_EQ(lumaro_renderer_view_top(renderer.get()), 0);
        EXPECT_EQ(lumaro_renderer_load(renderer.get(), 0), 0) << lumaro_last_error();
        return lumaro_cloud_loaded_points(cloud);
    };
    ASSERT_EQ(lumaro_set_s3_access(key.c_str(), secretKey.c_str(), nullptr, region.c_str(), endpoint.c_str()), 0);
    const std::uint64_t fromBucket = loadedPoints(copc);
    EXPECT_GT(fromBucket, 0u);
    EXPECT_EQ(fromBucket, loadedPoints(utf8(TestSupport::testStore("copc/1.2-with-color.copc.laz"))));
    const std::string wrong = "x" + secretKey;
    ASSERT_EQ(lumaro_set_s3_access(key.c_str(), wrong.c_str(), nullptr, region.c_str(), endpoint.c_str()), 0);
    {
        const Renderer renderer = makeRenderer();
        EXPECT_EQ(lumaro_renderer_add_cloud(renderer.get(), copc.c_str(), 1000), nullptr);
        const std::string message = lumaro_last_error();
        EXPECT_NE(message.find("access was refused"), std::string::npos) << message;
        EXPECT_NE(message.find(copc), std::string::npos) << message;
        EXPECT_EQ(message.find(secretKey), std::string::npos) << message;
    }

    const std::string bearer = "Authorization: Bearer " + secrets["bearer"].get<std::string>() + "\r\n";
    ASSERT_EQ(lumaro_set_http_headers(bearer.c_str()), 0);
    {
        const Renderer renderer = makeRenderer();
        const std::string location = secrets["bearer_url"].get<std::string>() + "/ept/1.2-with-color";
        EXPECT_NE(lumaro_renderer_add_cloud(renderer.get(), location.c_str(), 1000), nullptr) << lumaro_last_error();
    }
    EXPECT_EQ(lumaro_set_http_headers(nullptr), 0);
    EXPECT_EQ(lumaro_set_s3_access(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

// Loader threads change how fast, not what: one thread and four draw the same picture of a LASzip
// store. The renderer's budget rises above the cloud's own and falls again; a small cache limit
// only costs reads.
TEST(CInterface, LoaderThreadsBudgetAndCacheLimit)
{
    const std::string lion = utf8(TestSupport::testStore("ept/lion_takanawa-laszip")); // 341,989 points
    ASSERT_EQ(lumaro_set_cache_limit(1 << 20), 0) << lumaro_last_error();
    std::vector<std::vector<uint8_t>> pictures;
    for (const uint32_t threads : {1u, 4u}) {
        const Renderer renderer = makeRenderer();
        ASSERT_EQ(lumaro_renderer_set_loader_threads(renderer.get(), threads), 0) << lumaro_last_error();
        // The root holds 35,091 points, its children 444 to 42,454.
        const lumaro_cloud* cloud = lumaro_renderer_add_cloud(renderer.get(), lion.c_str(), 40000);
        ASSERT_NE(cloud, nullptr) << lumaro_last_error();
        ASSERT_EQ(lumaro_renderer_view_top(renderer.get()), 0);
        ASSERT_EQ(lumaro_renderer_load(renderer.get(), 0), 0) << lumaro_last_error();
        const uint64_t own = lumaro_cloud_loaded_points(cloud);
        EXPECT_GT(own, 0u);
        EXPECT_LE(own, 40000u);

        ASSERT_EQ(lumaro_renderer_set_point_budget(renderer.get(), 200000), 0) << lumaro_last_error();
        ASSERT_EQ(lumaro_renderer_load(renderer.get(), 0), 0) << lumaro_last_error();
        const uint64_t raised = lumaro_cloud_loaded_points(cloud);
        EXPECT_GT(raised, 40000u);
        EXPECT_LE(raised, 200000u);
        ASSERT_EQ(lumaro_renderer_render(renderer.get()), 0);
        pictures.push_back(readColor(renderer.get()));

        // Lowered: the next load draws the root and what fits beside it.
        ASSERT_EQ(lumaro_renderer_set_point_budget(renderer.get(), 36000), 0);
        ASSERT_EQ(lumaro_renderer_load(renderer.get(), 0), 0) << lumaro_last_error();
        EXPECT_GE(lumaro_cloud_loaded_points(cloud), 35091u);
        EXPECT_LE(lumaro_cloud_loaded_points(cloud), 36000u);
    }
    EXPECT_EQ(pictures[0], pictures[1]) << "four threads drew another picture than one";
    EXPECT_EQ(lumaro_set_cache_limit(uint64_t(1) << 30), 0);
}

} // namespace
