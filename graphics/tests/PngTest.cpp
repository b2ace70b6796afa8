#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>

#include "ImageFiles.h"

#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

namespace {

struct DecodedPng {
    int width = 0;
    int height = 0;
    int channels = 0;
    std::vector<unsigned char> pixels;
};

DecodedPng readPng(const std::filesystem::path& path)
{
    DecodedPng png;
    const std::string name = path.string();
    std::unique_ptr<unsigned char, decltype(&stbi_image_free)> pixels(
        stbi_load(name.c_str(), &png.width, &png.height, &png.channels, 0), &stbi_image_free);
    if (!pixels)
        throw std::runtime_error("test could not decode " + name);
    png.pixels.assign(pixels.get(), pixels.get() + png.width * png.height * png.channels);
    return png;
}

class PngTest : public ::testing::Test {
protected:
    TestSupport::TemporaryFolder temporary;
    const std::filesystem::path& folder = temporary.path();
};

TEST_F(PngTest, ColorImageIsWrittenAsRgbaWithoutRowPadding)
{
    Graphics::ColorImage image;
    image.resize(2, 2, 16);
    image.at(0, 0) = Math::Color(255, 0, 0, 255);
    image.at(1, 0) = Math::Color(0, 128, 0, 200);
    image.at(0, 1) = Math::Color(0, 0, 255, 10);
    image.at(1, 1) = Math::Color(1, 2, 3, 4);
    const auto path = folder / "color.png";
    image.writePng(path);

    const DecodedPng png = readPng(path);
    EXPECT_EQ(png.width, 2);
    EXPECT_EQ(png.height, 2);
    ASSERT_EQ(png.channels, 4);
    EXPECT_EQ(png.pixels, (std::vector<unsigned char>{255, 0, 0, 255, 0, 128, 0, 200, 0, 0, 255, 10, 1, 2, 3, 4}));

    // Reading the file back gives the texels that were written, channel for channel.
    const Graphics::ColorImage read = Graphics::ColorImage::read(path);
    ASSERT_EQ(read.width(), 2u);
    for (std::size_t y = 0; y < 2; ++y)
        for (std::size_t x = 0; x < 2; ++x)
            EXPECT_EQ(read.at(x, y), image.at(x, y)) << x << ", " << y;
}

TEST_F(PngTest, DepthImageMapsItsRangeToEightBitGray)
{
    Graphics::DepthImage depth(6, 1);
    const float values[6] = {0.0F, 0.5F, 1.0F, -3.0F, 7.0F, std::numeric_limits<float>::quiet_NaN()};
    for (std::size_t x = 0; x < 6; ++x)
        depth.at(x, 0) = values[x];
    const auto path = folder / "depth.png";
    depth.writePng(path);
    DecodedPng png = readPng(path);
    ASSERT_EQ(png.channels, 1);
    // 0.5 * 255 = 127.5 rounds up; values outside [0, 1] clamp; NaN is black.
    EXPECT_EQ(png.pixels, (std::vector<unsigned char>{0, 128, 255, 0, 255, 0}));

    // A reversed range (white below black) and a range in object units.
    depth.writePng(path, 1.0F, 0.0F);
    EXPECT_EQ(readPng(path).pixels, (std::vector<unsigned char>{255, 128, 0, 255, 0, 0}));
    depth.writePng(path, -3.0F, 7.0F);
    // (0 + 3) / 10 * 255 = 76.5 -> 77; (0.5 + 3) / 10 * 255 = 89.25 -> 89; 4/10 * 255 = 102
    EXPECT_EQ(readPng(path).pixels, (std::vector<unsigned char>{77, 89, 102, 0, 255, 0}));
}

TEST_F(PngTest, FailuresNameTheFile)
{
    const auto unwritable = folder / "missing-folder" / "image.png";
    try {
        Graphics::ColorImage(2, 2).writePng(unwritable);
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("image.png"), std::string::npos) << error.what();
    }
    EXPECT_THROW(Graphics::ColorImage().writePng(folder / "empty.png"), std::runtime_error);
    EXPECT_THROW(Graphics::DepthImage(1, 1).writePng(folder / "flat.png", 2.0F, 2.0F), std::invalid_argument);
    EXPECT_THROW(Graphics::DepthImage(1, 1).writePng(folder / "inf.png", 0.0F, std::numeric_limits<float>::infinity()),
                 std::invalid_argument);
}

// The encoder keeps a filtered copy of (row bytes + 1) x rows bytes in an int: images whose copy
// would not fit are refused before anything is written. The pixel buffers are left empty, so an
// accepted size shows as the later complaint about the buffer instead.
TEST_F(PngTest, ImagesWhoseEncodedCopyExceedsAnIntAreRefused)
{
    const auto refusal = [&](std::size_t width, std::size_t height, int channels) -> std::string {
        try {
            Graphics::writePngFile(folder / "large.png", width, height, channels, {});
        } catch (const std::runtime_error& error) {
            return error.what();
        } catch (const std::logic_error&) {
            return "accepted"; // the size passed; the empty buffer did not
        }
        return "written";
    };
    // (46340 + 1) x 46340 = 2147441940 fits below 2^31 - 1; (46341 + 1) x 46341 = 2147534622 does not.
    EXPECT_EQ(refusal(46340, 46340, 1), "accepted");
    EXPECT_NE(refusal(46341, 46341, 1).find("too large"), std::string::npos);
    // 32768 x 32768 RGBA: the copy would wrap to 32768 bytes in 32 bits.
    EXPECT_NE(refusal(32768, 32768, 4).find("too large"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folder / "large.png"));
}

} // namespace
