#include <lumaro/render/gpu/VertexShader.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/EmbeddedShaderTable.h>

#include "gpu/CreateShader.h"
#include "gpu/ShaderCompiler.h"

#include <utility>

namespace Render {

namespace {
constexpr ShaderCompiler::EntryPoint entryPoint{"vs_main", "vs_5_0"};
} // namespace

VertexShader::VertexShader(ComPtr<ID3D11VertexShader> shader, ComPtr<ID3D11InputLayout> inputLayout)
    : mShader(std::move(shader)), mInputLayout(std::move(inputLayout))
{}

VertexShader VertexShader::fromHlslResource(const ComPtr<ID3D11Device>& device, const std::string& name,
                                            const Layout& layout)
{
    return fromCsoString(device, ShaderCompiler::compileEmbedded(name, entryPoint), layout);
}

VertexShader VertexShader::fromHlslFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path,
                                        const Layout& layout)
{
    return fromCsoString(device, ShaderCompiler::compileFile(path, entryPoint), layout);
}

VertexShader VertexShader::fromCsoResource(const ComPtr<ID3D11Device>& device, const std::string& name,
                                           const Layout& layout)
{
    return fromCsoString(device, EmbeddedShaderTable::fileContent(name), layout);
}

VertexShader VertexShader::fromCsoFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path,
                                       const Layout& layout)
{
    return fromCsoString(device, Core::readLocalFile(path), layout);
}

VertexShader VertexShader::fromCsoString(const ComPtr<ID3D11Device>& device, const std::string& bytecode,
                                         const Layout& layout)
{
    ComPtr<ID3D11VertexShader> shader = createShader(device.Get(), &ID3D11Device::CreateVertexShader, bytecode);
    ComPtr<ID3D11InputLayout> inputLayout;
    if (!layout.empty())
        throwIfFailed(device->CreateInputLayout(layout.data(), static_cast<UINT>(layout.size()), bytecode.data(),
                                                bytecode.size(), &inputLayout));
    return VertexShader(std::move(shader), std::move(inputLayout));
}

void VertexShader::begin(ID3D11DeviceContext* context) const
{
    if (mInputLayout)
        context->IASetInputLayout(mInputLayout.Get());
    context->VSSetShader(mShader.Get(), nullptr, 0);
}

void VertexShader::end(ID3D11DeviceContext* context) const
{
    context->IASetInputLayout(nullptr);
    context->VSSetShader(nullptr, nullptr, 0);
}

} // namespace Render
