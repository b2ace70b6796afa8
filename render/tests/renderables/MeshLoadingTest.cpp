// Reading OBJ meshes and what a mesh renderable knows of itself without a device: OBJ files
// written here with values worked out by hand, and the shared test meshes against their
// recorded facts.
#include <lumaro/testsupport/render/FixedMeshLoader.h>

#include <lumaro/render/renderables/MeshLoader.h>
#include <lumaro/render/renderables/MeshRenderable.h>

#include <lumaro/render/core/Camera.h>

#include <lumaro/testsupport/TemporaryFolder.h>
#include <lumaro/testsupport/TestStores.h>

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <d3d11.h> // the null device pointers handed to init are COM pointers there
#endif

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Render::MeshLoader;
using Render::MeshRenderable;
using Vertex = Render::VertexPosNormalTexCoordColor;
using P = Math::Point<float, 3>;

std::vector<MeshLoader::Part> readParts(const std::filesystem::path& path)
{
    std::vector<MeshLoader::Part> parts;
    Render::createObjMeshLoader(path)->load([&](const MeshLoader::Part& part) { parts.push_back(part); });
    return parts;
}

TEST(ObjMeshLoader, TriangulatesAndTakesNormalsTextureCoordinatesAndWrappedColours)
{
    const TestSupport::TemporaryFolder folder;
    const auto path = folder.write("mesh.obj",
                                   "o first\n"
                                   "v 0 0 0 1.2 0.5 0\n" // 306 wraps to 50; 127.5 truncates to 127
                                   "v 2 0 0 0 1 0.999\n" // 254.745 truncates to 254
                                   "v 2 2 0 0.1 0.2 0.3\n" // 25.5, 51, 76.5
                                   "v 0 2 0 1 1 1\n"
                                   "v 0 0 3 1 1 1\n"
                                   "vn 0 0 1\n"
                                   "vt 0.25 0.75\n"
                                   "f 1/1/1 2/1/1 3/1/1 4/1/1\n" // a quad: a fan of two triangles
                                   "l 1 2\n" // lines are ignored
                                   "o second\n"
                                   "f 1//1 2 5\n" // a corner without normal: face normal
                                   "f 1 2 1\n"); // degenerate: zero normal
    const std::vector<MeshLoader::Part> parts = readParts(path);
    ASSERT_EQ(parts.size(), 2u);
    ASSERT_EQ(parts[0].size(), 6u);
    ASSERT_EQ(parts[1].size(), 6u);

    // The quad becomes two triangles of its corners (which two is the reader's choice) that
    // together cover its area of 4; colours belong to the vertices.
    const std::map<std::pair<float, float>, Math::Color> colors{{{0.0f, 0.0f}, Math::Color(50, 127, 0, 255)},
                                                                {{2.0f, 0.0f}, Math::Color(0, 255, 254, 255)},
                                                                {{2.0f, 2.0f}, Math::Color(25, 51, 76, 255)},
                                                                {{0.0f, 2.0f}, Math::Color(255, 255, 255, 255)}};
    float area = 0.0f;
    for (std::size_t t = 0; t < 2; ++t) {
        const Eigen::Vector3f a = parts[0][3 * t].position;
        area += 0.5f
            * (Eigen::Vector3f(parts[0][3 * t + 1].position) - a)
                  .cross(Eigen::Vector3f(parts[0][3 * t + 2].position) - a)
                  .norm();
    }
    EXPECT_EQ(area, 4.0f);
    for (const Vertex& corner : parts[0]) {
        const auto color = colors.find({corner.position.x(), corner.position.y()});
        ASSERT_NE(color, colors.end()) << corner.position.transpose();
        EXPECT_EQ(corner.color, color->second) << corner.position.transpose();
        EXPECT_EQ(corner.normal, Eigen::Vector3f(0, 0, 1));
        EXPECT_EQ(corner.texCoord, (Math::Point<float, 2>(0.25f, 0.75f)));
    }

    // (2, 0, 0) x (0, 0, 3) = (0, -6, 0): unit length, for all three corners, even the one that
    // had its own normal; no texture coordinates read as (0, 0).
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(parts[1][i].normal, Eigen::Vector3f(0, -1, 0)) << i;
        EXPECT_EQ(parts[1][i].texCoord, (Math::Point<float, 2>(0, 0))) << i;
    }
    for (std::size_t i = 3; i < 6; ++i)
        EXPECT_EQ(parts[1][i].normal, Eigen::Vector3f::Zero()) << i;
}

TEST(ObjMeshLoader, ReadsTheSharedMeshes)
{
    // The box: six quads, no normals, no colours. Each triangle's face normal is the outward axis
    // of its side of the cube, which its centroid lies on (|coordinate| = 0.5).
    const std::vector<MeshLoader::Part> box = readParts(TestSupport::testStore("obj/box.obj"));
    ASSERT_EQ(box.size(), 1u);
    ASSERT_EQ(box[0].size(), 36u);
    for (std::size_t t = 0; t < 12; ++t) {
        const Eigen::Vector3f centroid =
            (Eigen::Vector3f(box[0][3 * t].position) + box[0][3 * t + 1].position + box[0][3 * t + 2].position) / 3.0f;
        Eigen::Index axis = 0;
        centroid.cwiseAbs().maxCoeff(&axis);
        EXPECT_EQ(box[0][3 * t].normal, Eigen::Vector3f::Unit(axis) * (centroid[axis] > 0 ? 1.0f : -1.0f)) << t;
        for (std::size_t c = 0; c < 3; ++c)
            EXPECT_EQ(box[0][3 * t + c].color, Math::Color(255, 255, 255, 255));
    }

    // The terrain of 1.2-with-color: 1672 triangles with the file's own normals and colours.
    const Math::TriangleMesh<float> terrain =
        Render::loadTriangleMesh(*Render::createObjMeshLoader(TestSupport::testStore("obj/1.2-with-color.obj")), 0.5);
    EXPECT_EQ(terrain.triangles().size(), 1672u);
    EXPECT_EQ(terrain.boundingBox(),
              (Math::NBoundingBox<float, 3>(P(635619.875f, 848899.6875f, 406.59f) * 0.5f,
                                            P(638982.5625f, 853535.4375f, 583.73f) * 0.5f)));
}

TEST(ObjMeshLoader, RefusesWhatItCannotRead)
{
    const TestSupport::TemporaryFolder folder;
    try {
        readParts(folder.path() / "missing.obj");
        FAIL() << "a missing file was read";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()).rfind("TinyObjReader: ", 0), 0u) << error.what();
        EXPECT_NE(std::string(error.what()).find("missing.obj"), std::string::npos) << error.what();
    }
    EXPECT_THROW(readParts(folder.write("far.obj", "v 0 0 0\nv 1 0 0\nf 1 2 9\n")), std::runtime_error);
    EXPECT_THROW(Render::createObjMeshLoader(folder.write("one.obj", "v 0 0 0\nf 1 1 1\n"))->load(nullptr),
                 std::bad_function_call);
    // A file without faces is no error: nothing to draw.
    EXPECT_EQ(Render::loadTriangleMesh(*Render::createObjMeshLoader(folder.write("empty.obj", "v 1 2 3\n")))
                  .triangles()
                  .size(),
              0u);
}

} // namespace
