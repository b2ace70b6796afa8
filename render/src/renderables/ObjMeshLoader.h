#pragma once

#include <lumaro/render/renderables/MeshLoader.h>

#include <filesystem>

namespace Render {

// Reads a Wavefront OBJ file with tinyobjloader (see createObjMeshLoader). Faces without a normal
// at one of their corners take their face normal at all three; colour channels are scaled by 255
// and wrap to their low 8 bits (a channel of 1.2 is 306, stored as 50).
class ObjMeshLoader : public MeshLoader {
public:
    explicit ObjMeshLoader(std::filesystem::path path);

    void load(std::function<void(const Part&)> onPart) override;

    const std::filesystem::path& path() const { return mPath; }

private:
    std::filesystem::path mPath;
};

} // namespace Render
