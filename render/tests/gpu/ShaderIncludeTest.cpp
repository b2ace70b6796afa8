#include <lumaro/render/gpu/EmbeddedShaderTable.h>
#include <lumaro/render/gpu/ShaderInclude.h>

#include "HlslTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <system_error>

namespace {

using Render::ShaderInclude;

struct OpenedFile {
    HRESULT result = E_UNEXPECTED;
    std::string text;
};

OpenedFile open(ShaderInclude& include, const char* name)
{
    LPCVOID data = reinterpret_cast<LPCVOID>(1);
    UINT bytes = 12345;
    OpenedFile opened;
    opened.result = include.Open(D3D_INCLUDE_LOCAL, name, nullptr, &data, &bytes);
    if (SUCCEEDED(opened.result)) {
        if (bytes > 0)
            opened.text.assign(static_cast<const char*>(data), bytes);
        EXPECT_EQ(include.Close(data), S_OK);
    }
    return opened;
}

TEST(ShaderInclude, HandsOutACopyOfTheEmbeddedText)
{
    ShaderInclude include;
    const OpenedFile pointCloud = open(include, "shaders/pointcloud.hlsl");
    ASSERT_EQ(pointCloud.result, S_OK);
    EXPECT_EQ(pointCloud.text, Render::EmbeddedShaderTable::fileContent("shaders/pointcloud.hlsl"));

    const OpenedFile colors = open(include, "/shaders//colorprocessing.hlsl");
    ASSERT_EQ(colors.result, S_OK);
    EXPECT_EQ(colors.text, Render::EmbeddedShaderTable::fileContent("shaders/colorprocessing.hlsl"));
    EXPECT_NE(colors.text.find("float4 colorize("), std::string::npos);
}

TEST(ShaderInclude, UnknownNamesFailWithoutThrowing)
{
    ShaderInclude include;
    EXPECT_EQ(open(include, "shaders/missing.hlsl").result, E_FAIL);
    EXPECT_EQ(open(include, "shaders/PointCloud.hlsl").result, E_FAIL);
    EXPECT_EQ(open(include, "colorprocessing.hlsl").result, E_FAIL);
}

TEST(ShaderInclude, TheDirectoryEntryIsNoFile)
{
    ShaderInclude include;
    LPCVOID data = nullptr;
    UINT bytes = 0;
    try {
        include.Open(D3D_INCLUDE_LOCAL, "/shaders/", nullptr, &data, &bytes);
        ADD_FAILURE() << "the directory was opened";
    } catch (const std::system_error& error) {
        // By value: the library carries its own copy of the standard category objects on MinGW.
        EXPECT_EQ(error.code().value(), static_cast<int>(std::errc::no_such_file_or_directory));
        EXPECT_EQ(std::string(error.what()).rfind("/shaders/", 0), 0u) << error.what();
    }
}

TEST(ShaderInclude, LetsTheCompilerPullInTheColourLibrary)
{
    const std::string source = "#include \"shaders/colorprocessing.hlsl\"\n"
                               "float4 ps_main() : SV_Target { return coolwarm(0.5); }\n";
    const auto compiled = Render::Testing::compileWithEmbeddedIncludes(source, "ps_main", "ps_5_0");
    EXPECT_HRESULT_SUCCEEDED(compiled.result) << compiled.messages;
    EXPECT_FALSE(compiled.code.empty());
}

TEST(ShaderInclude, AnUnknownIncludeFailsTheCompilationWithAMessage)
{
    const std::string source = "#include \"shaders/nothere.hlsl\"\n"
                               "float4 ps_main() : SV_Target { return 1.0; }\n";
    const auto compiled = Render::Testing::compileWithEmbeddedIncludes(source, "ps_main", "ps_5_0");
    EXPECT_TRUE(FAILED(compiled.result));
    EXPECT_TRUE(compiled.code.empty());
    EXPECT_NE(compiled.messages.find("nothere.hlsl"), std::string::npos) << compiled.messages;
}

} // namespace
