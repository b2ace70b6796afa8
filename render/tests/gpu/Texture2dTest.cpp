#include "TestDevice.h"

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
using testing::StrEq;
using testing::ThrowsMessage;

constexpr DXGI_FORMAT bgra = DXGI_FORMAT_B8G8R8A8_UNORM;

// A B8G8R8A8 texel as it sits in memory.
Bytes texel(std::uint8_t r, std::uint8_t g, std::uint8_t b, std::uint8_t a)
{
    return {b, g, r, a};
}

Bytes repeated(const Bytes& texel, std::size_t count)
{
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes.insert(bytes.end(), texel.begin(), texel.end());
    return bytes;
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

class Texture2dTest : public Render::Testing::GpuTest {
protected:
    D3D11_TEXTURE2D_DESC liveDesc(const Texture2d& texture)
    {
        D3D11_TEXTURE2D_DESC desc{};
        texture.get()->GetDesc(&desc);
        return desc;
    }
};

TEST_F(Texture2dTest, StaysEmptyWithoutErrorWhileASizeIsZero)
{
    const Texture2d defaulted;
    EXPECT_EQ(defaulted.get(), nullptr);
    EXPECT_EQ(defaulted.desc().Width, 0u);
    EXPECT_EQ(defaulted.desc().Format, DXGI_FORMAT_UNKNOWN);

    auto desc = textureDesc(4, 4, bgra, D3D11_BIND_SHADER_RESOURCE);
    desc.ArraySize = 0;
    const Texture2d noSlices(gpu.device(), desc);
    EXPECT_EQ(noSlices.get(), nullptr);
    EXPECT_EQ(noSlices.desc().Width, 4u);

    EXPECT_EQ(Texture2d(gpu.device(), desc, 4, 0, 1).get(), nullptr);
    EXPECT_EQ(Texture2d(gpu.device(), desc, 0, 4, 1).get(), nullptr);
    EXPECT_EQ(Texture2d(gpu.device(), desc, 4, 4, 0.5f, 0).get(), nullptr);
    EXPECT_EQ(Texture2d(gpu.device(), desc, 0, 4, Math::Color::white(), 2).get(), nullptr);
}

TEST_F(Texture2dTest, SizeGoesIntoTheDescriptionAndTheRestIsKept)
{
    const auto desc = textureDesc(1, 1, DXGI_FORMAT_R16G16_FLOAT, D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET);
    Texture2d texture(gpu.device(), desc, 6, 3, 2);
    ASSERT_NE(texture.get(), nullptr);
    auto live = liveDesc(texture);
    EXPECT_EQ(live.Width, 6u);
    EXPECT_EQ(live.Height, 3u);
    EXPECT_EQ(live.ArraySize, 2u);
    EXPECT_EQ(live.Format, DXGI_FORMAT_R16G16_FLOAT);
    EXPECT_EQ(live.BindFlags, static_cast<unsigned>(D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET));
    EXPECT_EQ(texture.desc().Width, 6u);

    texture.resize(gpu.device(), 9, 5, 3);
    live = liveDesc(texture);
    EXPECT_EQ(live.Width, 9u);
    EXPECT_EQ(live.Height, 5u);
    EXPECT_EQ(live.ArraySize, 3u);
    EXPECT_EQ(live.Format, DXGI_FORMAT_R16G16_FLOAT);
    EXPECT_EQ(live.Usage, D3D11_USAGE_DEFAULT);
    EXPECT_EQ(texture.desc().ArraySize, 3u);

    // Unlike the constructors, resize does not excuse a zero size.
    EXPECT_THROW(texture.resize(gpu.device(), 0, 5, 1), Render::ComException);
    EXPECT_EQ(texture.get(), nullptr);
    texture.resize(gpu.device(), 2, 2, 1);
    EXPECT_NE(texture.get(), nullptr);
}

TEST_F(Texture2dTest, ConstantFillsEverySlice)
{
    const Texture2d colour(gpu.device(), textureDesc(0, 0, bgra, D3D11_BIND_SHADER_RESOURCE), 3, 2,
                           Math::Color(10, 20, 30, 40), 3);
    ASSERT_NE(colour.get(), nullptr);
    EXPECT_EQ(liveDesc(colour).ArraySize, 3u);
    for (unsigned slice = 0; slice < 3; ++slice)
        EXPECT_EQ(gpu.readBack(colour.get(), 4, slice), repeated(texel(10, 20, 30, 40), 6)) << "slice " << slice;

    const Texture2d depth(gpu.device(), textureDesc(0, 0, DXGI_FORMAT_R32_FLOAT, D3D11_BIND_SHADER_RESOURCE), 5, 3,
                          0.625f, 2);
    for (unsigned slice = 0; slice < 2; ++slice)
        EXPECT_EQ(floatsOf(gpu.readBack(depth.get(), 4, slice)), std::vector<float>(15, 0.625f)) << "slice " << slice;
}

TEST_F(Texture2dTest, LoadsRowsWithTheirStride)
{
    // Two rows of two texels, each row padded to 12 bytes with bytes that must not arrive.
    const std::uint8_t rows[24] = {1, 2, 3, 4, 5, 6, 7, 8, 99, 99, 99, 99, 9, 10, 11, 12, 13, 14, 15, 16, 99, 99, 99, 99};
    Texture2d texture(gpu.device(), textureDesc(7, 7, DXGI_FORMAT_R8G8B8A8_UNORM, D3D11_BIND_SHADER_RESOURCE), 7, 7, 4);
    texture.load(gpu.device(), 2, 2, 12, reinterpret_cast<const char*>(rows));
    EXPECT_EQ(liveDesc(texture).ArraySize, 1u);
    EXPECT_EQ(liveDesc(texture).Width, 2u);
    EXPECT_EQ(gpu.readBack(texture.get(), 4), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));

    texture.load(gpu.device(), 2, 1, 12,
                 std::vector<const char*>{reinterpret_cast<const char*>(rows + 12), reinterpret_cast<const char*>(rows)});
    EXPECT_EQ(liveDesc(texture).ArraySize, 2u);
    EXPECT_EQ(gpu.readBack(texture.get(), 4, 0), (Bytes{9, 10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(gpu.readBack(texture.get(), 4, 1), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));

    // A failed creation leaves nothing behind.
    EXPECT_THROW(texture.load(gpu.device(), 0, 1, 12, reinterpret_cast<const char*>(rows)), Render::ComException);
    EXPECT_EQ(texture.get(), nullptr);
}

TEST_F(Texture2dTest, InitialDataNeedsASingleMipLevel)
{
    auto fullChain = textureDesc(4, 4, bgra, D3D11_BIND_SHADER_RESOURCE);
    fullChain.MipLevels = 0;
    Texture2d texture(gpu.device(), fullChain);
    ASSERT_NE(texture.get(), nullptr);
    EXPECT_THROW(texture.load(gpu.device(), gradient(4, 4, 0)), std::invalid_argument);
    EXPECT_EQ(texture.get(), nullptr);
    EXPECT_THROW(Texture2d(gpu.device(), fullChain, 4, 4, Math::Color::white(), 1), std::invalid_argument);
}

TEST_F(Texture2dTest, LoadsImagesAsSlicesInOrder)
{
    Texture2d texture(gpu.device(), textureDesc(1, 1, bgra, D3D11_BIND_SHADER_RESOURCE));
    texture.load(gpu.device(), gradient(3, 2, 7));
    EXPECT_EQ(gpu.readBack(texture.get(), 4), gradientBytes(3, 2, 7));

    texture.load(gpu.device(), std::vector<Graphics::ColorImage>{gradient(4, 3, 1), gradient(4, 3, 2), gradient(4, 3, 3)});
    EXPECT_EQ(liveDesc(texture).ArraySize, 3u);
    for (unsigned slice = 0; slice < 3; ++slice)
        EXPECT_EQ(gpu.readBack(texture.get(), 4, slice), gradientBytes(4, 3, static_cast<std::uint8_t>(slice + 1)));

    Texture2d depth(gpu.device(), textureDesc(1, 1, DXGI_FORMAT_R32_FLOAT, D3D11_BIND_SHADER_RESOURCE));
    Graphics::DepthImage closer(2, 2), farther(2, 2);
    closer.fill(0.25f);
    farther.fill(0.5f);
    farther.at(1, 1) = 0.75f;
    depth.load(gpu.device(), farther);
    EXPECT_EQ(floatsOf(gpu.readBack(depth.get(), 4)), (std::vector<float>{0.5f, 0.5f, 0.5f, 0.75f}));
    depth.load(gpu.device(), std::vector<Graphics::DepthImage>{closer, farther});
    EXPECT_EQ(floatsOf(gpu.readBack(depth.get(), 4, 0)), std::vector<float>(4, 0.25f));
    EXPECT_EQ(floatsOf(gpu.readBack(depth.get(), 4, 1)), (std::vector<float>{0.5f, 0.5f, 0.5f, 0.75f}));
}

TEST_F(Texture2dTest, ImageVectorsThatCannotLoadLeaveTheTextureUntouched)
{
    Texture2d texture(gpu.device(), textureDesc(0, 0, bgra, D3D11_BIND_SHADER_RESOURCE), 2, 2, Math::Color::gray(9), 1);
    ID3D11Texture2D* const original = texture.get();
    const Bytes content = repeated(texel(9, 9, 9, 255), 4);

    texture.load(gpu.device(), std::vector<Graphics::ColorImage>{});
    EXPECT_EQ(texture.get(), original);
    EXPECT_EQ(gpu.readBack(texture.get(), 4), content);

    EXPECT_THAT([&] { texture.load(gpu.device(), std::vector<Graphics::ColorImage>{gradient(4, 4, 0), gradient(4, 5, 0)}); },
                ThrowsMessage<std::runtime_error>(StrEq("All color images must have the same width, height and stride")));
    EXPECT_EQ(texture.get(), original);
    EXPECT_EQ(texture.desc().Width, 2u);
    EXPECT_EQ(gpu.readBack(texture.get(), 4), content);

    texture.load(gpu.device(), std::vector<Graphics::DepthImage>{});
    EXPECT_EQ(texture.get(), original);
    Graphics::DepthImage tight(4, 4), padded;
    padded.resize(4, 4, 32);
    EXPECT_THAT([&] { texture.load(gpu.device(), std::vector<Graphics::DepthImage>{tight, padded}); },
                ThrowsMessage<std::runtime_error>(StrEq("All depth images must have the same width, height and stride")));
    Graphics::DepthImage wide(5, 4);
    EXPECT_THROW(texture.load(gpu.device(), std::vector<Graphics::DepthImage>{tight, wide}), std::runtime_error);
    EXPECT_EQ(texture.get(), original);
    EXPECT_EQ(gpu.readBack(texture.get(), 4), content);
}

TEST_F(Texture2dTest, MapAlwaysUsesTheFirstSubresource)
{
    Texture2d texture(gpu.device(), stagingDesc(DXGI_FORMAT_R8G8B8A8_UNORM));
    const std::uint8_t first[4] = {1, 1, 1, 1}, other[4] = {4, 4, 4, 4};
    texture.load(gpu.device(), 1, 1, 4,
                 std::vector<const char*>{reinterpret_cast<const char*>(first), reinterpret_cast<const char*>(other),
                                          reinterpret_cast<const char*>(other), reinterpret_cast<const char*>(other)});

    const auto read = texture.map(gpu.context(), D3D11_MAP_READ, 3);
    ASSERT_NE(read.pData, nullptr);
    EXPECT_EQ(static_cast<const std::uint8_t*>(read.pData)[0], 1);
    texture.unMap(gpu.context(), 3);

    const auto written = texture.map(gpu.context(), D3D11_MAP_WRITE, 2);
    std::memset(written.pData, 77, 4);
    texture.unMap(gpu.context(), 2);
    EXPECT_EQ(gpu.readBack(texture.get(), 4, 0), (Bytes{77, 77, 77, 77}));
    EXPECT_EQ(gpu.readBack(texture.get(), 4, 2), (Bytes{4, 4, 4, 4}));

    const Texture2d gpuOnly(gpu.device(), textureDesc(1, 1, bgra, D3D11_BIND_SHADER_RESOURCE));
    EXPECT_THROW(gpuOnly.map(gpu.context(), D3D11_MAP_READ, 0), Render::ComException);
}

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

TEST_F(Texture2dTest, CopiesWholeTexturesAndSubresourcesToAnOffset)
{
    const auto shaderDesc = textureDesc(0, 0, bgra, D3D11_BIND_SHADER_RESOURCE);
    Texture2d source(gpu.device(), shaderDesc);
    source.load(gpu.device(), std::vector<Graphics::ColorImage>{gradient(2, 2, 1), gradient(2, 2, 2)});

    const Texture2d whole(gpu.device(), shaderDesc, 2, 2, Math::Color(), 2);
    whole.copy(gpu.context(), source);
    EXPECT_EQ(gpu.readBack(whole.get(), 4, 0), gradientBytes(2, 2, 1));
    EXPECT_EQ(gpu.readBack(whole.get(), 4, 1), gradientBytes(2, 2, 2));

    const Bytes background = texel(0, 0, 0, 255);
    const Texture2d target(gpu.device(), shaderDesc, 5, 4, Math::Color::black(), 2);
    target.copySubRegion(gpu.context(), source, 3, 1, 0, 1, 1);
    EXPECT_EQ(gpu.readBack(target.get(), 4, 0), repeated(background, 20));
    Bytes expected = repeated(background, 20);
    const Bytes slice = gradientBytes(2, 2, 2);
    for (unsigned row = 0; row < 2; ++row)
        std::memcpy(&expected[((1 + row) * 5 + 3) * 4], &slice[row * 8], 8);
    EXPECT_EQ(gpu.readBack(target.get(), 4, 1), expected);
}

TEST_F(Texture2dTest, MovingCarriesTheDescription)
{
    Texture2d source(gpu.device(), textureDesc(0, 0, bgra, D3D11_BIND_SHADER_RESOURCE), 3, 5, 2);
    ID3D11Texture2D* const object = source.get();
    Texture2d constructed(std::move(source));
    EXPECT_EQ(source.get(), nullptr);
    EXPECT_EQ(constructed.desc().Height, 5u);
    EXPECT_EQ(constructed.desc().ArraySize, 2u);

    Texture2d assigned;
    assigned = std::move(constructed);
    EXPECT_EQ(assigned.get(), object);
    EXPECT_EQ(assigned.desc().Width, 3u);
    EXPECT_EQ(assigned.desc().Format, bgra);
    EXPECT_EQ(Render::Testing::referenceCount(object), 1u);
}

} // namespace
