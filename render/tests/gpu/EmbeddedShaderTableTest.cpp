#include <lumaro/render/gpu/EmbeddedShaderTable.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

namespace {

using Render::EmbeddedShaderTable;

std::string sourceOnDisk(const std::string& fileName)
{
    const auto path = std::filesystem::path(LUMARO_TEST_DATA_DIR) / ".." / "shaders" / fileName;
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << path;
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

const std::vector<std::string> shaderFiles{"box.hlsl",           "colorprocessing.hlsl", "pointcloud.hlsl",
                                           "postprocessing.hlsl", "pano.hlsl",            "mesh.hlsl"};

TEST(EmbeddedShaderTable, NormalizationStripsOuterSlashesAndCollapsesRuns)
{
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("shaders/box.hlsl"), "shaders/box.hlsl");
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("/shaders//box.hlsl/"), "shaders/box.hlsl");
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("///shaders////box.hlsl///"), "shaders/box.hlsl");
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("a//b///c"), "a/b/c");
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("/"), "");
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("////"), "");
    EXPECT_EQ(EmbeddedShaderTable::normalizePath(""), "");
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("x"), "x");
}

TEST(EmbeddedShaderTable, NormalizationKeepsCaseDotsAndBackslashes)
{
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("Shaders/Box.HLSL"), "Shaders/Box.HLSL");
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("shaders\\box.hlsl"), "shaders\\box.hlsl");
    EXPECT_EQ(EmbeddedShaderTable::normalizePath("./shaders/../box.hlsl"), "./shaders/../box.hlsl");
}

TEST(EmbeddedShaderTable, HoldsTheSixSourcesUnderTheShadersDirectory)
{
    const auto& entries = EmbeddedShaderTable::entries();
    EXPECT_EQ(entries.size(), shaderFiles.size() + 1);

    const auto* directory = EmbeddedShaderTable::find("shaders");
    ASSERT_NE(directory, nullptr);
    EXPECT_FALSE(directory->isFile);

    for (const std::string& file : shaderFiles) {
        const auto* entry = EmbeddedShaderTable::find("shaders/" + file);
        ASSERT_NE(entry, nullptr) << file;
        EXPECT_TRUE(entry->isFile) << file;
        EXPECT_EQ(entry->text(), sourceOnDisk(file)) << file;
        EXPECT_EQ(EmbeddedShaderTable::fileContent("shaders/" + file), sourceOnDisk(file)) << file;
    }
}

TEST(EmbeddedShaderTable, LookupNormalizesButIsExactOtherwise)
{
    EXPECT_EQ(EmbeddedShaderTable::find("/shaders//box.hlsl/"), EmbeddedShaderTable::find("shaders/box.hlsl"));
    EXPECT_NE(EmbeddedShaderTable::find("/shaders//box.hlsl/"), nullptr);
    EXPECT_EQ(EmbeddedShaderTable::find("shaders/Box.hlsl"), nullptr);
    EXPECT_EQ(EmbeddedShaderTable::find("box.hlsl"), nullptr);
    EXPECT_EQ(EmbeddedShaderTable::find("shaders\\box.hlsl"), nullptr);
    EXPECT_EQ(EmbeddedShaderTable::find(""), nullptr);
    EXPECT_EQ(EmbeddedShaderTable::find("/"), nullptr);
    EXPECT_NE(EmbeddedShaderTable::find("/shaders/"), nullptr);
}

TEST(EmbeddedShaderTable, MissingFilesAndDirectoriesThrowNoSuchFileWithTheNameAsGiven)
{
    for (const std::string name : {"shaders/Box.hlsl", "box.hlsl", "shaders", "//shaders/"}) {
        try {
            EmbeddedShaderTable::fileContent(name);
            ADD_FAILURE() << name << " was found";
        } catch (const std::system_error& error) {
            // By value and category name: with MinGW the library carries its own copy of the
            // standard category objects, so they differ from the test program's by address.
            EXPECT_EQ(error.code().value(), static_cast<int>(std::errc::no_such_file_or_directory)) << name;
            EXPECT_STREQ(error.code().category().name(), std::generic_category().name()) << name;
            EXPECT_EQ(std::string(error.what()).rfind(name, 0), 0u) << error.what();
        }
    }
}

TEST(EmbeddedShaderTable, IsBuiltOnceAndSharedByAllCallers)
{
    EXPECT_EQ(&EmbeddedShaderTable::entries(), &EmbeddedShaderTable::entries());
    const auto* first = EmbeddedShaderTable::find("shaders/mesh.hlsl");
    EXPECT_EQ(first, EmbeddedShaderTable::find("shaders/mesh.hlsl"));
}

} // namespace
