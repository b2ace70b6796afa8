#include <lumaro/render/gpu/EmbeddedShaderTable.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/ShaderInclude.h>
#include <lumaro/render/gpu/VertexShader.h>

#include <lumaro/testsupport/render/TestDevice.h>

// Defines the reflection interface identifiers in this file instead of needing dxguid.
#include <initguid.h>
#include <d3d11shader.h>
#include <d3dcompiler.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

class PostProcessingShader : public Render::Testing::GpuTest {};

// The host mirrors cbConstant field by field; the byte offsets are the contract between them.
TEST_F(PostProcessingShader, ConstantBufferHasTheAgreedLayout)
{
    const std::string source = Render::EmbeddedShaderTable::fileContent("shaders/postprocessing.hlsl");
    Render::ShaderInclude include;
    Render::ComPtr<ID3DBlob> code;
    Render::ComPtr<ID3DBlob> errors;
    ASSERT_HRESULT_SUCCEEDED(D3DCompile(source.data(), source.size(), "shaders/postprocessing.hlsl", nullptr, &include,
                                        "ps_main", "ps_5_0", 0, 0, &code, &errors));
    Render::ComPtr<ID3D11ShaderReflection> reflection;
    ASSERT_HRESULT_SUCCEEDED(D3DReflect(code->GetBufferPointer(), code->GetBufferSize(), IID_ID3D11ShaderReflection,
                                        reinterpret_cast<void**>(reflection.GetAddressOf())));
    ID3D11ShaderReflectionConstantBuffer* buffer = reflection->GetConstantBufferByName("cbConstant");
    D3D11_SHADER_BUFFER_DESC bufferDesc{};
    ASSERT_HRESULT_SUCCEEDED(buffer->GetDesc(&bufferDesc));
    EXPECT_EQ(bufferDesc.Size, 80u);
    EXPECT_EQ(bufferDesc.Variables, 12u);

    const std::pair<const char*, unsigned> expected[] = {
        {"width", 0},
        {"height", 4},
        {"brightness", 8},
        {"contrast", 12},
        {"bg_color", 16},
        {"opacity", 32},
        {"point_render_mode", 36},
        {"edl_strength", 40},
        {"edl_radius", 44},
        {"depth_rows", 48},
        {"edl_orthographic_scale", 64},
        {"normalize_splats", 68},
    };
    for (const auto& [name, offset] : expected) {
        D3D11_SHADER_VARIABLE_DESC variable{};
        ASSERT_HRESULT_SUCCEEDED(buffer->GetVariableByName(name)->GetDesc(&variable)) << name;
        EXPECT_EQ(variable.StartOffset, offset) << name;
    }

    // The renderer binds the depth buffer and the splats' sums at these slots.
    for (const auto& [name, slot] :
         {std::pair("cbConstant", 0u), std::pair("depthTexture", 3u), std::pair("splatTexture", 4u)}) {
        D3D11_SHADER_INPUT_BIND_DESC binding{};
        ASSERT_HRESULT_SUCCEEDED(reflection->GetResourceBindingDescByName(name, &binding)) << name;
        EXPECT_EQ(binding.BindPoint, slot) << name;
    }
}

} // namespace
