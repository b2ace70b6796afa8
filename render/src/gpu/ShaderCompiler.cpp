#include "gpu/ShaderCompiler.h"

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/EmbeddedShaderTable.h>
#include <lumaro/render/gpu/ShaderInclude.h>

#include <d3dcompiler.h>

#include <stdexcept>

namespace Render::ShaderCompiler {

namespace {

// Warnings are errors and there is deliberately no debug variant: every build compiles the
// shaders the same way.
constexpr UINT compileFlags =
    D3DCOMPILE_ENABLE_STRICTNESS | D3DCOMPILE_OPTIMIZATION_LEVEL3 | D3DCOMPILE_WARNINGS_ARE_ERRORS;
static_assert(compileFlags == 0x48800);

std::string blobText(ID3DBlob* blob)
{
    if (blob == nullptr)
        return {};
    return std::string(static_cast<const char*>(blob->GetBufferPointer()), blob->GetBufferSize());
}

std::string compile(const std::string& source, const std::string& sourceName, ID3DInclude* include,
                    EntryPoint entryPoint)
{
    ComPtr<ID3DBlob> code;
    ComPtr<ID3DBlob> errors;
    const HRESULT result = D3DCompile(source.data(), source.size(), sourceName.c_str(), nullptr, include,
                                      entryPoint.function, entryPoint.profile, compileFlags, 0, &code, &errors);
    if (FAILED(result))
        throw std::runtime_error("Error: Compilation of hlsl shader failed\n" + blobText(errors.Get()));
    return blobText(code.Get());
}

} // namespace

std::string compileEmbedded(const std::string& name, EntryPoint entryPoint)
{
    const std::string source = EmbeddedShaderTable::fileContent(name);
    ShaderInclude include;
    return compile(source, name, &include, entryPoint);
}

std::string compileFile(const std::filesystem::path& path, EntryPoint entryPoint)
{
    const std::string source = Core::readLocalFile(path);
    return compile(source, path.string(), D3D_COMPILE_STANDARD_FILE_INCLUDE, entryPoint);
}

} // namespace Render::ShaderCompiler
