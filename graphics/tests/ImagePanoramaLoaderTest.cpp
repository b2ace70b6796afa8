// Panoramas from image files: tiles cut from the real equirectangular test image compared with
// its own texels, distance tiles from a Radiance file written here, cube faces, and bad input.
#include <lumaro/graphics/ImagePanoramaLoader.h>

#include <lumaro/testsupport/TemporaryFolder.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>

namespace {

using Graphics::ImagePanoramaLoader;
using Graphics::PanoramaLoader;

void expectThrowNaming(const std::function<void()>& make, const std::string& named)
{
    try {
        make();
        ADD_FAILURE() << "no exception; expected one naming " << named;
    } catch (const std::exception& error) {
        EXPECT_NE(std::string(error.what()).find(named), std::string::npos) << error.what();
    }
}

// demo_equirec.png is 1024 x 512: a 4 x 8 grid makes finest tiles of 128 x 128, halved three times.
TEST(ImagePanoramaLoader, CutsLevelsOfTheRealImageFromItsOwnTexels)
{
    const auto path = TestSupport::testStore("pano/demo_equirec.png");
    const auto loader = ImagePanoramaLoader::equirectangular(path);
    const Graphics::ColorImage source = Graphics::ColorImage::read(path);
    ASSERT_EQ(source.width(), 1024u);
    ASSERT_EQ(loader->numColorLevels(), 4u);
    EXPECT_EQ(loader->numDepthLevels(), 0u);
    EXPECT_EQ(loader->tilesPerLevel(), 32u);
    for (std::size_t level = 0; level < 4; ++level) {
        EXPECT_EQ(loader->tileWidth(level), 16u << level);
        EXPECT_EQ(loader->tileHeight(level), 16u << level);
    }

    // Tile 13 is row 1, column 5: its finest texels are the image's own.
    const Graphics::ColorImage finest = loader->loadColorTile(PanoramaLoader::makeTileId(3, 13));
    for (std::size_t y = 0; y < 128; y += 7)
        for (std::size_t x = 0; x < 128; x += 9)
            ASSERT_EQ(finest.at(x, y), source.at(5 * 128 + x, 128 + y)) << x << ", " << y;

    // Level 0 is 8 times coarser: each texel the rounded mean of an 8 x 8 block.
    const Graphics::ColorImage coarsest = loader->loadColorTile(PanoramaLoader::makeTileId(0, 13));
    for (const auto& [x, y] : {std::pair(0, 0), std::pair(7, 3), std::pair(15, 15)}) {
        unsigned red = 0;
        unsigned blue = 0;
        for (int sy = 0; sy < 8; ++sy)
            for (int sx = 0; sx < 8; ++sx) {
                red += source.at(5 * 128 + 8 * x + sx, 128 + 8 * y + sy).r();
                blue += source.at(5 * 128 + 8 * x + sx, 128 + 8 * y + sy).b();
            }
        EXPECT_EQ(coarsest.at(x, y).r(), (red + 32) / 64) << x << ", " << y;
        EXPECT_EQ(coarsest.at(x, y).b(), (blue + 32) / 64) << x << ", " << y;
        EXPECT_EQ(coarsest.at(x, y).a(), 255);
    }
}

// Distances at half the colour resolution: each distance texel covers 2 x 2 colour texels; the
// unmeasured ones (0) lie beyond everything.
TEST(ImagePanoramaLoader, DistanceTilesTakeTheNearestSampleAndMarkTheUnmeasured)
{
    const TestSupport::TemporaryFolder folder;
    Graphics::ColorImage color(32, 16);
    color.fill(Math::Color(10, 20, 30));
    color.writePng(folder.path() / "color.png");
    Graphics::DepthImage distance(16, 8);
    for (std::size_t y = 0; y < 8; ++y)
        for (std::size_t x = 0; x < 16; ++x)
            distance.at(x, y) = x == 3 && y == 2 ? 0.0f : static_cast<float>(y * 16 + x + 1); // exact in 8 bits
    distance.writeHdr(folder.path() / "distance.hdr");

    const auto loader =
        ImagePanoramaLoader::equirectangular(folder.path() / "color.png", folder.path() / "distance.hdr", 2, 4);
    ASSERT_EQ(loader->numDepthLevels(), 1u);
    EXPECT_EQ(loader->tileWidth(0), 8u);
    // Tile 5: row 1, column 1, colour texels 8..15 x 8..15, distance texels 4..7 x 4..7.
    const Graphics::DepthImage tile = loader->loadDepthTile(PanoramaLoader::makeTileId(0, 5));
    EXPECT_EQ(tile.at(0, 0), 4 * 16 + 4 + 1);
    EXPECT_EQ(tile.at(3, 6), 7 * 16 + 5 + 1);
    const Graphics::DepthImage first = loader->loadDepthTile(PanoramaLoader::makeTileId(0, 0));
    // Texels 6 and 7 of row 4 both sample distance texel (3, 2); texel 5 samples (2, 2).
    EXPECT_EQ(first.at(6, 4), std::numeric_limits<float>::max());
    EXPECT_EQ(first.at(7, 4), std::numeric_limits<float>::max());
    EXPECT_EQ(first.at(5, 4), 2 * 16 + 2 + 1);
}

TEST(ImagePanoramaLoader, CubeFacesAreTiledFaceByFace)
{
    const TestSupport::TemporaryFolder folder;
    std::array<std::filesystem::path, 6> faces;
    for (std::size_t face = 0; face < 6; ++face) {
        Graphics::ColorImage image(16, 16);
        image.fill(Math::Color::gray(static_cast<std::uint8_t>(40 * face)));
        faces[face] = folder.path() / ("face" + std::to_string(face) + ".png");
        image.writePng(faces[face]);
    }
    const auto loader = ImagePanoramaLoader::cubeMap(faces);
    ASSERT_EQ(loader->tilesPerLevel(), 24u);
    for (std::size_t index = 0; index < 24; ++index)
        EXPECT_EQ(loader->loadColorTile(PanoramaLoader::makeTileId(0, index)).at(3, 5),
                  Math::Color::gray(static_cast<std::uint8_t>(40 * (index / 4))))
            << index;
}

TEST(ImagePanoramaLoader, RefusesBadInputNamingTheFileOrValue)
{
    const TestSupport::TemporaryFolder folder;
    Graphics::ColorImage wide(32, 16);
    wide.writePng(folder.path() / "wide.png");
    Graphics::ColorImage square(16, 16);
    square.writePng(folder.path() / "square.png");
    Graphics::DepthImage squareDistance(16, 16);
    squareDistance.writeHdr(folder.path() / "square.hdr");
    const auto missing = folder.path() / "missing.png";
    const auto notAnImage = folder.write("text.png", "this is not an image");

    expectThrowNaming([&] { ImagePanoramaLoader::equirectangular(missing); }, "missing.png");
    expectThrowNaming([&] { ImagePanoramaLoader::equirectangular(notAnImage); }, "text.png");
    expectThrowNaming(
        [&] { ImagePanoramaLoader::equirectangular(folder.path() / "wide.png", folder.path() / "square.hdr"); },
        "square.hdr");
    expectThrowNaming(
        [&] { ImagePanoramaLoader::equirectangular(folder.path() / "wide.png", folder.path() / "square.png"); },
        "square.png");
    expectThrowNaming([&] { ImagePanoramaLoader::equirectangular(folder.path() / "wide.png", {}, 7, 7); }, "7 x 7");
    std::array<std::filesystem::path, 6> faces;
    faces.fill(folder.path() / "square.png");
    faces[4] = folder.path() / "wide.png";
    expectThrowNaming([&] { ImagePanoramaLoader::cubeMap(faces); }, "wide.png");
}

} // namespace
