#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/VertexRecords.h>

#include <lumaro/math/TriangleMesh.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace Render {

// A source of mesh geometry: delivers a whole mesh, synchronously, as parts of unindexed
// triangle lists (three vertices a triangle, none shared).
class LUMARO_RENDER_API MeshLoader {
public:
    using Part = std::vector<VertexPosNormalTexCoordColor>;

    MeshLoader() = default;
    MeshLoader(const MeshLoader&) = default;
    MeshLoader& operator=(const MeshLoader&) = default;

    virtual ~MeshLoader();
    // Calls onPart once per part, in order, and returns when the mesh is complete. Throws
    // std::bad_function_call for an empty callback, and what reading the source throws.
    virtual void load(std::function<void(const Part&)> onPart) = 0;
};

// A loader of the Wavefront OBJ file at `path` (read when load is called): polygons are
// triangulated, vertex colours kept, lines and points ignored, one part per shape. Reading errors
// are std::runtime_error "TinyObjReader: ", the path and the reader's text; a file of more than
// 2^25 vertices or triangles, or with a line longer than 16 MiB, is refused naming the file
// before it is read, and so is a triangle with a vertex that is not finite as a float.
LUMARO_RENDER_API std::shared_ptr<MeshLoader> createObjMeshLoader(const std::filesystem::path& path);

// The loader's whole mesh as one indexed triangle mesh (for distance colorization), its
// positions multiplied by `unitScale`.
LUMARO_RENDER_API Math::TriangleMesh<float> loadTriangleMesh(MeshLoader& loader, double unitScale = 1.0);

} // namespace Render
