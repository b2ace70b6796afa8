#include "TestDevice.h"

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/Texture1d.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

using Render::Texture1d;

D3D11_TEXTURE1D_DESC rowDesc(D3D11_USAGE usage, unsigned cpuAccess, unsigned bindFlags)
{
    D3D11_TEXTURE1D_DESC desc{};
    desc.Width = 8;
    desc.MipLevels = 1;
    desc.ArraySize = 1;
    desc.Format = DXGI_FORMAT_R32_UINT;
    desc.Usage = usage;
    desc.BindFlags = bindFlags;
    desc.CPUAccessFlags = cpuAccess;
    return desc;
}

class Texture1dTest : public Render::Testing::GpuTest {};

TEST_F(Texture1dTest, IsCreatedFromItsDescription)
{
    const Texture1d texture(gpu.device(), rowDesc(D3D11_USAGE_DEFAULT, 0, D3D11_BIND_SHADER_RESOURCE));
    D3D11_TEXTURE1D_DESC desc{};
    texture.get()->GetDesc(&desc);
    EXPECT_EQ(desc.Width, 8u);
    EXPECT_EQ(desc.Format, DXGI_FORMAT_R32_UINT);
    EXPECT_EQ(desc.BindFlags, static_cast<unsigned>(D3D11_BIND_SHADER_RESOURCE));

    auto invalid = rowDesc(D3D11_USAGE_DEFAULT, 0, D3D11_BIND_SHADER_RESOURCE);
    invalid.Width = 0;
    EXPECT_THROW(Texture1d(gpu.device(), invalid), Render::ComException);
}

TEST_F(Texture1dTest, MappedWritesTravelThroughCopy)
{
    const Texture1d upload(gpu.device(), rowDesc(D3D11_USAGE_STAGING, D3D11_CPU_ACCESS_WRITE, 0));
    const Texture1d middle(gpu.device(), rowDesc(D3D11_USAGE_DEFAULT, 0, D3D11_BIND_SHADER_RESOURCE));
    const Texture1d download(gpu.device(), rowDesc(D3D11_USAGE_STAGING, D3D11_CPU_ACCESS_READ, 0));

    const std::uint32_t values[8] = {1, 1, 2, 3, 5, 8, 13, 21};
    const auto written = upload.map(gpu.context(), D3D11_MAP_WRITE);
    ASSERT_NE(written.pData, nullptr);
    std::memcpy(written.pData, values, sizeof values);
    upload.unMap(gpu.context());

    middle.copy(gpu.context(), upload);
    download.copy(gpu.context(), middle);

    const auto read = download.map(gpu.context(), D3D11_MAP_READ);
    std::uint32_t result[8] = {};
    std::memcpy(result, read.pData, sizeof result);
    download.unMap(gpu.context());
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(result[i], values[i]) << "texel " << i;
}

TEST_F(Texture1dTest, MappingWithoutCpuAccessThrows)
{
    const Texture1d texture(gpu.device(), rowDesc(D3D11_USAGE_DEFAULT, 0, D3D11_BIND_SHADER_RESOURCE));
    EXPECT_THROW(texture.map(gpu.context(), D3D11_MAP_READ), Render::ComException);
}

} // namespace
