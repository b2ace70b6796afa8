#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ComputeShader.h>
#include <lumaro/render/gpu/GeometryShader.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/VertexShader.h>

#include <lumaro/testsupport/TemporaryFolder.h>

#include <lumaro/testsupport/render/HlslTestSupport.h>
#include <lumaro/testsupport/render/TestDevice.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace {

using namespace Render;

class ShaderFactory : public Render::Testing::GpuTest {};

const std::string compileFailure = "Error: Compilation of hlsl shader failed\n";

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

TEST_F(ShaderFactory, CompilationErrorsCarryTheCompilerMessages)
{
    // The colour library has no entry points at all.
    expectCompileFailure([&] { VertexShader::fromHlslResource(gpu.devicePtr(), "shaders/colorprocessing.hlsl", {}); });
    expectCompileFailure([&] { ComputeShader::fromHlslResource(gpu.devicePtr(), "shaders/postprocessing.hlsl"); });

    const TestSupport::TemporaryFolder files;
    const auto broken = files.write("broken.hlsl", "float4 ps_main() : SV_Target { return undefinedThing; }\n");
    expectCompileFailure([&] { PixelShader::fromHlslFile(gpu.devicePtr(), broken); });
}

} // namespace
