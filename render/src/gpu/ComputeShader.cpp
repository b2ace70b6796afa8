#include <lumaro/render/gpu/ComputeShader.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/render/gpu/EmbeddedShaderTable.h>

#include "gpu/CreateShader.h"
#include "gpu/ShaderCompiler.h"

#include <utility>

namespace Render {

namespace {
constexpr ShaderCompiler::EntryPoint entryPoint{"cs_main", "cs_5_0"};
} // namespace

ComputeShader::ComputeShader(ComPtr<ID3D11ComputeShader> shader) : mShader(std::move(shader)) {}

ComputeShader ComputeShader::fromHlslResource(const ComPtr<ID3D11Device>& device, const std::string& name)
{
    return fromCsoString(device, ShaderCompiler::compileEmbedded(name, entryPoint));
}

ComputeShader ComputeShader::fromHlslFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path)
{
    return fromCsoString(device, ShaderCompiler::compileFile(path, entryPoint));
}

ComputeShader ComputeShader::fromCsoResource(const ComPtr<ID3D11Device>& device, const std::string& name)
{
    return fromCsoString(device, EmbeddedShaderTable::fileContent(name));
}

ComputeShader ComputeShader::fromCsoFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path)
{
    return fromCsoString(device, Core::readLocalFile(path));
}

ComputeShader ComputeShader::fromCsoString(const ComPtr<ID3D11Device>& device, const std::string& bytecode)
{
    return ComputeShader(createShader(device.Get(), &ID3D11Device::CreateComputeShader, bytecode));
}

void ComputeShader::begin(ID3D11DeviceContext* context) const
{
    context->CSSetShader(mShader.Get(), nullptr, 0);
}

void ComputeShader::end(ID3D11DeviceContext* context) const
{
    context->CSSetShader(nullptr, nullptr, 0);
}

} // namespace Render
