#pragma once

#include <lumaro/testsupport/render/TestDevice.h>

#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/ShaderInclude.h>

#include <d3dcompiler.h>
#include <windows.h>

#include <stdexcept>
#include <string>

namespace Render::Testing {

struct CompileResult {
    HRESULT result = E_FAIL;
    std::string code;
    std::string messages;
};

// Compiles a test shader written in the test itself; its includes resolve in the embedded
// shader table, as the library's own shaders do.
inline CompileResult compileWithEmbeddedIncludes(const std::string& source, const char* entryPoint, const char* profile)
{
    ShaderInclude include;
    ComPtr<ID3DBlob> code;
    ComPtr<ID3DBlob> errors;
    CompileResult compiled;
    compiled.result = D3DCompile(source.data(), source.size(), "test.hlsl", nullptr, &include, entryPoint, profile,
                                 D3DCOMPILE_ENABLE_STRICTNESS, 0, &code, &errors);
    if (code)
        compiled.code.assign(static_cast<const char*>(code->GetBufferPointer()), code->GetBufferSize());
    if (errors)
        compiled.messages.assign(static_cast<const char*>(errors->GetBufferPointer()), errors->GetBufferSize());
    return compiled;
}

// As above, but a failure is a test error carrying the compiler's messages.
inline std::string compiledOrThrow(const std::string& source, const char* entryPoint, const char* profile)
{
    CompileResult compiled = compileWithEmbeddedIncludes(source, entryPoint, profile);
    if (FAILED(compiled.result))
        throw std::runtime_error(std::string("test shader ") + entryPoint + " failed:\n" + compiled.messages);
    return compiled.code;
}

} // namespace Render::Testing
