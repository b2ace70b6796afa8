// Wavefront OBJ meshes through the renderer's loader: the input is the file, read as a mesh's
// parts (polygons triangulated, normals and colours filled in) and as the indexed triangle mesh
// that distances are measured against. Each either succeeds or fails with std::runtime_error or
// std::invalid_argument (a vertex that is not finite); anything else is a finding.
#include <lumaro/render/renderables/MeshLoader.h>

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <string>

namespace {

// The file the input becomes, one per fuzzing process.
const std::filesystem::path& inputFile()
{
    static const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("lumaro-obj-fuzz-" + std::to_string(::getpid()) + ".obj");
    return path;
}

// The loader prints the reader's warnings; thousands a second would drown libFuzzer's own output.
class Discard : public std::streambuf {
protected:
    int overflow(int c) override { return traits_type::not_eof(c); }
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    static Discard discard;
    std::cout.rdbuf(&discard);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    {
        std::ofstream file(inputFile(), std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    const auto loader = Render::createObjMeshLoader(inputFile());
    try {
        std::size_t corners = 0;
        loader->load([&](const Render::MeshLoader::Part& part) {
            if (part.size() % 3 != 0) {
                __builtin_trap(); // parts are whole triangles
            }
            corners += part.size();
        });
        const auto mesh = Render::loadTriangleMesh(*loader);
        if (mesh.triangleCount() * 3 != corners) {
            __builtin_trap(); // both readings see the same triangles
        }
        if (!mesh.empty()) {
            mesh.nearestPoint(mesh.vertices().front());
        }
    } catch (const std::runtime_error&) {
    } catch (const std::invalid_argument&) {
    }
    return 0;
}
