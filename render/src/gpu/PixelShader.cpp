#include <lumaro/render/gpu/PixelShader.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/render/gpu/EmbeddedShaderTable.h>

#include "gpu/CreateShader.h"
#include "gpu/ShaderCompiler.h"

#include <utility>

namespace Render {

namespace {
constexpr ShaderCompiler::EntryPoint entryPoint{"ps_main", "ps_5_0"};
} // namespace

PixelShader::PixelShader(ComPtr<ID3D11PixelShader> shader) : mShader(std::move(shader)) {}

PixelShader PixelShader::fromHlslResource(const ComPtr<ID3D11Device>& device, const std::string& name)
{
    return fromCsoString(device, ShaderCompiler::compileEmbedded(name, entryPoint));
}

PixelShader PixelShader::fromHlslFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path)
{
    return fromCsoString(device, ShaderCompiler::compileFile(path, entryPoint));
}

PixelShader PixelShader::fromCsoResource(const ComPtr<ID3D11Device>& device, const std::string& name)
{
    return fromCsoString(device, EmbeddedShaderTable::fileContent(name));
}

PixelShader PixelShader::fromCsoFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path)
{
    return fromCsoString(device, Core::readLocalFile(path));
}

PixelShader PixelShader::fromCsoString(const ComPtr<ID3D11Device>& device, const std::string& bytecode)
{
    return PixelShader(createShader(device.Get(), &ID3D11Device::CreatePixelShader, bytecode));
}

void PixelShader::begin(ID3D11DeviceContext* context) const
{
    context->PSSetShader(mShader.Get(), nullptr, 0);
}

void PixelShader::end(ID3D11DeviceContext* context) const
{
    context->PSSetShader(nullptr, nullptr, 0);
}

} // namespace Render
