#include <lumaro/testsupport/render/TestDevice.h>

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/Texture2d.h>

#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Render::Texture2d;
using Render::Testing::textureDesc;

constexpr DXGI_FORMAT bgra = DXGI_FORMAT_B8G8R8A8_UNORM;

// A B8G8R8A8 texel as it sits in memory.
Bytes texel(std::uint8_t r, std::uint8_t g, std::uint8_t b, std::uint8_t a)
{
    return {b, g, r, a};
}

std::vector<float> floatsOf(const Bytes& bytes)
{
    std::vector<float> values(bytes.size() / sizeof(float));
    std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
}

// An image whose texel (x, y) is (x, y, seed, 255).
Graphics::ColorImage gradient(std::size_t width, std::size_t height, std::uint8_t seed)
{
    Graphics::ColorImage image(width, height);
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            image.at(x, y) = Math::Color(static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), seed, 255);
    return image;
}

Bytes gradientBytes(std::size_t width, std::size_t height, std::uint8_t seed)
{
    Bytes bytes;
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x) {
            const Bytes t = texel(static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), seed, 255);
            bytes.insert(bytes.end(), t.begin(), t.end());
        }
    return bytes;
}

D3D11_TEXTURE2D_DESC stagingDesc(DXGI_FORMAT format)
{
    return textureDesc(0, 0, format, 0, D3D11_USAGE_STAGING, D3D11_CPU_ACCESS_READ | D3D11_CPU_ACCESS_WRITE);
}

class Texture2dTest : public Render::Testing::GpuTest {};

TEST_F(Texture2dTest, ImageTilesLandAtTheirTexelOffset)
{
    constexpr unsigned width = 16, height = 8;
    const Texture2d texture(gpu.device(), stagingDesc(bgra), width, height, Math::Color(), 1);
    const auto tile = gradient(3, 2, 200);
    texture.drawImageTile(gpu.context(), 10, 2, tile, D3D11_MAP_WRITE, 5);

    const auto mapped = texture.map(gpu.context(), D3D11_MAP_READ, 0);
    const auto* bytes = static_cast<const std::uint8_t*>(mapped.pData);
    const std::size_t firstRow = 2 * mapped.RowPitch + 40;
    EXPECT_EQ(Bytes(bytes + firstRow, bytes + firstRow + 12), gradientBytes(3, 1, 200));
    EXPECT_EQ(Bytes(bytes + firstRow + mapped.RowPitch + 4, bytes + firstRow + mapped.RowPitch + 8),
              texel(1, 1, 200, 255));
    texture.unMap(gpu.context(), 0);

    Bytes expected(width * height * 4, 0);
    const Bytes tileBytes = gradientBytes(3, 2, 200);
    for (unsigned row = 0; row < 2; ++row)
        std::memcpy(&expected[((2 + row) * width + 10) * 4], &tileBytes[row * 12], 12);
    EXPECT_EQ(gpu.readBack(texture.get(), 4), expected);

    // Without a position the tile goes to the origin.
    texture.drawImageTile(gpu.context(), gradient(2, 1, 50), D3D11_MAP_WRITE, 0);
    const auto after = gpu.readBack(texture.get(), 4);
    EXPECT_EQ(Bytes(after.begin(), after.begin() + 8), gradientBytes(2, 1, 50));
    EXPECT_EQ(Bytes(after.begin() + 8, after.end()), Bytes(expected.begin() + 8, expected.end()));
}

TEST_F(Texture2dTest, DepthTilesLandAtTheirTexelOffset)
{
    const Texture2d texture(gpu.device(), stagingDesc(DXGI_FORMAT_R32_FLOAT), 4, 3, 1.0f, 1);
    Graphics::DepthImage tile(2, 2);
    tile.fill(0.5f);
    tile.at(1, 0) = 0.25f;
    texture.drawImageTile(gpu.context(), 2, 1, tile, D3D11_MAP_WRITE, 0);
    EXPECT_EQ(floatsOf(gpu.readBack(texture.get(), 4)),
              (std::vector<float>{1, 1, 1, 1, 1, 1, 0.5f, 0.25f, 1, 1, 0.5f, 0.5f}));

    Graphics::DepthImage corner(1, 1);
    corner.fill(0.0f);
    texture.drawImageTile(gpu.context(), corner, D3D11_MAP_WRITE, 0);
    EXPECT_EQ(floatsOf(gpu.readBack(texture.get(), 4))[0], 0.0f);

    const Texture2d gpuOnly(gpu.device(), textureDesc(4, 4, DXGI_FORMAT_R32_FLOAT, D3D11_BIND_SHADER_RESOURCE));
    EXPECT_THROW(gpuOnly.drawImageTile(gpu.context(), corner, D3D11_MAP_WRITE, 0), Render::ComException);
}

} // namespace
