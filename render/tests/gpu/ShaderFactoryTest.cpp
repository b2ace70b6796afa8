#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ComputeShader.h>
#include <lumaro/render/gpu/GeometryShader.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/VertexShader.h>

#include <lumaro/testsupport/TemporaryFolder.h>

#include "HlslTestSupport.h"
#include "TestDevice.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace {

using namespace Render;

class ShaderFactory : public Render::Testing::GpuTest {};

const std::string compileFailure = "Error: Compilation of hlsl shader failed\n";

// Entry points of the vertex, pixel and compute stages; the vertex stage needs a helper from a
// file beside it.
const char* const stagesSource = R"(
#include "parts/scale.hlsl"
struct Vertex { float4 position : SV_Position; };
Vertex vs_main(float3 position : POSITION)
{
    Vertex v;
    v.position = float4(position * scale(), 1.0);
    return v;
}
float4 ps_main() : SV_Target { return float4(1.0, 0.0, 0.0, 1.0); }
RWBuffer<float> results : register(u0);
[numthreads(1, 1, 1)]
void cs_main(uint3 id : SV_DispatchThreadID) { results[id.x] = scale(); }
)";

// Wine's HLSL compiler cannot compile geometry shaders, so they live in a file of their own.
const char* const geometrySource = R"(
struct Vertex { float4 position : SV_Position; };
[maxvertexcount(3)]
void gs_main(triangle Vertex input[3], inout TriangleStream<Vertex> output)
{
    for (int i = 0; i < 3; ++i)
        output.Append(input[i]);
}
float4 ps_main() : SV_Target { return 1.0; }
)";

const VertexShader::Layout positionLayout{
    {"POSITION", 0, DXGI_FORMAT_R32G32B32_FLOAT, 0, 0, D3D11_INPUT_PER_VERTEX_DATA, 0}};

// A folder of HLSL files that disappears with the test.
class ShaderFiles {
public:
    ShaderFiles()
    {
        write("parts/scale.hlsl", "float scale() { return 2.0; }\n");
        write("stages.hlsl", stagesSource);
        write("geometry.hlsl", geometrySource);
    }

    std::filesystem::path write(const std::string& name, const std::string& text) const
    {
        return folder_.write(name, text);
    }
    std::filesystem::path path(const std::string& name) const { return folder_.path() / name; }

private:
    TestSupport::TemporaryFolder folder_;
};

// By value and category name: the library and the test program may each carry their own copy of
// the standard library's category objects (MinGW links it statically).
void expectNoSuchFileCode(const std::error_code& code)
{
    EXPECT_EQ(code.value(), static_cast<int>(std::errc::no_such_file_or_directory));
    EXPECT_STREQ(code.category().name(), std::generic_category().name());
}

template <class Call>
void expectNoSuchFile(Call call, const std::string& name)
{
    try {
        call();
        ADD_FAILURE() << name << " was found";
    } catch (const std::system_error& error) {
        expectNoSuchFileCode(error.code());
        EXPECT_EQ(std::string(error.what()).rfind(name, 0), 0u) << error.what();
    }
}

template <class Call>
void expectCompileFailure(Call call)
{
    try {
        call();
        ADD_FAILURE() << "compilation succeeded";
    } catch (const ComException& error) {
        ADD_FAILURE() << "compiled, but creation failed: " << error.what();
    } catch (const std::runtime_error& error) {
        const std::string text = error.what();
        EXPECT_EQ(text.rfind(compileFailure, 0), 0u) << text;
        EXPECT_GT(text.size(), compileFailure.size()) << "no compiler messages";
    }
}

TEST_F(ShaderFactory, ResourceFactoriesThrowNoSuchFileForNamesNotInTheTable)
{
    const auto& device = gpu.devicePtr();
    for (const std::string name : {"shaders/Box.hlsl", "box.hlsl", "shaders", "/shaders/", "shaders\\box.hlsl"}) {
        expectNoSuchFile([&] { VertexShader::fromHlslResource(device, name, {}); }, name);
        expectNoSuchFile([&] { VertexShader::fromCsoResource(device, name, {}); }, name);
        expectNoSuchFile([&] { PixelShader::fromHlslResource(device, name); }, name);
        expectNoSuchFile([&] { PixelShader::fromCsoResource(device, name); }, name);
        expectNoSuchFile([&] { GeometryShader::fromHlslResource(device, name); }, name);
        expectNoSuchFile([&] { GeometryShader::fromCsoResource(device, name); }, name);
        expectNoSuchFile([&] { ComputeShader::fromHlslResource(device, name); }, name);
        expectNoSuchFile([&] { ComputeShader::fromCsoResource(device, name); }, name);
    }
}

TEST_F(ShaderFactory, ResourceNamesAreNormalizedBeforeTheLookup)
{
    const auto vertex = VertexShader::fromHlslResource(gpu.devicePtr(), "/shaders//postprocessing.hlsl/", {});
    EXPECT_NE(vertex.get(), nullptr);
    // Found, but HLSL text is no byte code: the device refuses it rather than the table.
    EXPECT_THROW(PixelShader::fromCsoResource(gpu.devicePtr(), "/shaders//box.hlsl/"), ComException);
}

TEST_F(ShaderFactory, CompilationErrorsCarryTheCompilerMessages)
{
    // The colour library has no entry points at all.
    expectCompileFailure([&] { VertexShader::fromHlslResource(gpu.devicePtr(), "shaders/colorprocessing.hlsl", {}); });
    expectCompileFailure([&] { ComputeShader::fromHlslResource(gpu.devicePtr(), "shaders/postprocessing.hlsl"); });

    const ShaderFiles files;
    const auto broken = files.write("broken.hlsl", "float4 ps_main() : SV_Target { return undefinedThing; }\n");
    expectCompileFailure([&] { PixelShader::fromHlslFile(gpu.devicePtr(), broken); });
}

TEST_F(ShaderFactory, GeometryShaderResourceFormCompilesThePixelEntryPoint)
{
    // ps_main compiles, but pixel byte code makes no geometry shader.
    EXPECT_THROW(GeometryShader::fromHlslResource(gpu.devicePtr(), "shaders/postprocessing.hlsl"), ComException);
    // Without ps_main it is the compiler that fails.
    expectCompileFailure([&] { GeometryShader::fromHlslResource(gpu.devicePtr(), "shaders/colorprocessing.hlsl"); });
}

TEST_F(ShaderFactory, FileFactoriesUseTheirStageEntryPointsAndIncludeBesideTheFile)
{
    const ShaderFiles files;
    const auto& device = gpu.devicePtr();
    const auto vertex = VertexShader::fromHlslFile(device, files.path("stages.hlsl"), positionLayout);
    EXPECT_NE(vertex.get(), nullptr);
    EXPECT_NE(vertex.inputLayout(), nullptr);
    EXPECT_NE(PixelShader::fromHlslFile(device, files.path("stages.hlsl")).get(), nullptr);
    EXPECT_NE(ComputeShader::fromHlslFile(device, files.path("stages.hlsl")).get(), nullptr);

    EXPECT_THROW(PixelShader::fromHlslFile(device, files.path("missing.hlsl")), std::runtime_error);
}

TEST_F(ShaderFactory, GeometryShaderFileFormIgnoresThePixelEntryPoint)
{
    // Unlike its resource form, the file form never compiles ps_main.
    const ShaderFiles files;
    const auto pixelOnly = files.write("pixel.hlsl", "float4 ps_main() : SV_Target { return 1.0; }\n");
    expectCompileFailure([&] { GeometryShader::fromHlslFile(gpu.devicePtr(), pixelOnly); });
}

TEST_F(ShaderFactory, GeometryShaderFileFormCompilesGsMain)
{
    if (Render::Testing::runningUnderWine())
        GTEST_SKIP() << "Wine's HLSL compiler has no geometry shaders";
    const ShaderFiles files;
    const auto geometry = GeometryShader::fromHlslFile(gpu.devicePtr(), files.path("geometry.hlsl"));
    ASSERT_NE(geometry.get(), nullptr);

    auto* context = gpu.context();
    ComPtr<ID3D11GeometryShader> bound;
    geometry.begin(context);
    context->GSGetShader(&bound, nullptr, nullptr);
    EXPECT_EQ(bound.Get(), geometry.get());
    geometry.end(context);
    context->GSGetShader(bound.ReleaseAndGetAddressOf(), nullptr, nullptr);
    EXPECT_EQ(bound.Get(), nullptr);
}

TEST_F(ShaderFactory, ByteCodeFactoriesCreateFromCompiledShaders)
{
    const std::string source = "float4 ps_main() : SV_Target { return 0.5; }\n";
    const std::string byteCode = Render::Testing::compiledOrThrow(source, "ps_main", "ps_5_0");
    EXPECT_NE(PixelShader::fromCsoString(gpu.devicePtr(), byteCode).get(), nullptr);

    const ShaderFiles files;
    const auto csoFile = files.write("pixel.cso", byteCode);
    EXPECT_NE(PixelShader::fromCsoFile(gpu.devicePtr(), csoFile).get(), nullptr);
    EXPECT_THROW(PixelShader::fromCsoFile(gpu.devicePtr(), files.path("missing.cso")), std::runtime_error);

    EXPECT_THROW(PixelShader::fromCsoString(gpu.devicePtr(), "not byte code"), ComException);
    EXPECT_THROW(VertexShader::fromCsoString(gpu.devicePtr(), "not byte code", {}), ComException);
    EXPECT_THROW(ComputeShader::fromCsoString(gpu.devicePtr(), "not byte code"), ComException);
    EXPECT_THROW(GeometryShader::fromCsoString(gpu.devicePtr(), "not byte code"), ComException);
}

TEST_F(ShaderFactory, VertexShaderInputLayoutMustMatchTheShader)
{
    const std::string source = "float4 vs_main(float3 position : POSITION) : SV_Position { return 1.0; }\n";
    const std::string byteCode = Render::Testing::compiledOrThrow(source, "vs_main", "vs_5_0");
    const VertexShader::Layout wrongSemantic{
        {"NORMAL", 0, DXGI_FORMAT_R32G32B32_FLOAT, 0, 0, D3D11_INPUT_PER_VERTEX_DATA, 0}};
    EXPECT_THROW(VertexShader::fromCsoString(gpu.devicePtr(), byteCode, wrongSemantic), ComException);
    EXPECT_NE(VertexShader::fromCsoString(gpu.devicePtr(), byteCode, positionLayout).inputLayout(), nullptr);
}

TEST_F(ShaderFactory, VertexShaderWithoutLayoutLeavesTheBoundLayoutAlone)
{
    const ShaderFiles files;
    const auto withLayout = VertexShader::fromHlslFile(gpu.devicePtr(), files.path("stages.hlsl"), positionLayout);
    const auto withoutLayout = VertexShader::fromHlslResource(gpu.devicePtr(), "shaders/postprocessing.hlsl", {});
    ASSERT_EQ(withoutLayout.inputLayout(), nullptr);
    auto* context = gpu.context();

    withLayout.begin(context);
    withoutLayout.begin(context);
    ComPtr<ID3D11InputLayout> bound;
    context->IAGetInputLayout(&bound);
    EXPECT_EQ(bound.Get(), withLayout.inputLayout());
    ComPtr<ID3D11VertexShader> shader;
    context->VSGetShader(&shader, nullptr, nullptr);
    EXPECT_EQ(shader.Get(), withoutLayout.get());

    withoutLayout.end(context);
    context->IAGetInputLayout(bound.ReleaseAndGetAddressOf());
    EXPECT_EQ(bound.Get(), nullptr);
    context->VSGetShader(shader.ReleaseAndGetAddressOf(), nullptr, nullptr);
    EXPECT_EQ(shader.Get(), nullptr);
}

TEST_F(ShaderFactory, BeginBindsPixelAndComputeStagesAndEndClearsThem)
{
    const ShaderFiles files;
    auto* context = gpu.context();
    const auto pixel = PixelShader::fromHlslFile(gpu.devicePtr(), files.path("stages.hlsl"));
    const auto compute = ComputeShader::fromHlslFile(gpu.devicePtr(), files.path("stages.hlsl"));
    pixel.begin(context);
    compute.begin(context);

    ComPtr<ID3D11PixelShader> boundPixel;
    ComPtr<ID3D11ComputeShader> boundCompute;
    context->PSGetShader(&boundPixel, nullptr, nullptr);
    context->CSGetShader(&boundCompute, nullptr, nullptr);
    EXPECT_EQ(boundPixel.Get(), pixel.get());
    EXPECT_EQ(boundCompute.Get(), compute.get());

    pixel.end(context);
    compute.end(context);
    context->PSGetShader(boundPixel.ReleaseAndGetAddressOf(), nullptr, nullptr);
    context->CSGetShader(boundCompute.ReleaseAndGetAddressOf(), nullptr, nullptr);
    EXPECT_EQ(boundPixel.Get(), nullptr);
    EXPECT_EQ(boundCompute.Get(), nullptr);
}

TEST_F(ShaderFactory, ShadersMoveTheirDeviceObjects)
{
    auto vertex = VertexShader::fromHlslResource(gpu.devicePtr(), "shaders/postprocessing.hlsl", {});
    ID3D11VertexShader* const object = vertex.get();
    VertexShader moved(std::move(vertex));
    EXPECT_EQ(moved.get(), object);
    EXPECT_EQ(vertex.get(), nullptr);

    VertexShader assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.get(), object);
    EXPECT_EQ(moved.get(), nullptr);

    auto pixel = PixelShader::fromHlslResource(gpu.devicePtr(), "shaders/postprocessing.hlsl");
    PixelShader empty;
    EXPECT_EQ(empty.get(), nullptr);
    empty = std::move(pixel);
    EXPECT_NE(empty.get(), nullptr);
    EXPECT_EQ(pixel.get(), nullptr);
}

TEST_F(ShaderFactory, WarningsFailTheCompilation)
{
    if (Render::Testing::runningUnderWine())
        GTEST_SKIP() << "Wine's HLSL compiler ignores the compile flags, so warnings never fail there";
    const ShaderFiles files;
    // Implicit truncation of a vector is a warning only.
    const auto warning = files.write("warning.hlsl",
                                     "float4 ps_main() : SV_Target { float3 v = float4(1, 2, 3, 4); return v.xyzz; }\n");
    expectCompileFailure([&] { PixelShader::fromHlslFile(gpu.devicePtr(), warning); });
}

} // namespace
