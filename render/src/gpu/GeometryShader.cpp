#include <lumaro/render/gpu/GeometryShader.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/render/gpu/EmbeddedShaderTable.h>

#include "gpu/CreateShader.h"
#include "gpu/ShaderCompiler.h"

#include <utility>

namespace Render {

namespace {
// The resource form compiles the pixel entry point on purpose (see the class comment).
constexpr ShaderCompiler::EntryPoint resourceEntryPoint{"ps_main", "ps_5_0"};
constexpr ShaderCompiler::EntryPoint fileEntryPoint{"gs_main", "gs_5_0"};
} // namespace

GeometryShader::GeometryShader(ComPtr<ID3D11GeometryShader> shader) : mShader(std::move(shader)) {}

GeometryShader GeometryShader::fromHlslResource(const ComPtr<ID3D11Device>& device, const std::string& name)
{
    return fromCsoString(device, ShaderCompiler::compileEmbedded(name, resourceEntryPoint));
}

GeometryShader GeometryShader::fromHlslFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path)
{
    return fromCsoString(device, ShaderCompiler::compileFile(path, fileEntryPoint));
}

GeometryShader GeometryShader::fromCsoResource(const ComPtr<ID3D11Device>& device, const std::string& name)
{
    return fromCsoString(device, EmbeddedShaderTable::fileContent(name));
}

GeometryShader GeometryShader::fromCsoFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path)
{
    return fromCsoString(device, Core::readLocalFile(path));
}

GeometryShader GeometryShader::fromCsoString(const ComPtr<ID3D11Device>& device, const std::string& bytecode)
{
    return GeometryShader(createShader(device.Get(), &ID3D11Device::CreateGeometryShader, bytecode));
}

void GeometryShader::begin(ID3D11DeviceContext* context) const
{
    context->GSSetShader(mShader.Get(), nullptr, 0);
}

void GeometryShader::end(ID3D11DeviceContext* context) const
{
    context->GSSetShader(nullptr, nullptr, 0);
}

} // namespace Render
