#pragma once

#include <lumaro/render/renderables/MeshLoader.h>

#include <functional>
#include <utility>
#include <vector>

namespace RenderTest {

// Delivers fixed parts, as a loader of a source other than OBJ files would.
class FixedMeshLoader : public Render::MeshLoader {
public:
    explicit FixedMeshLoader(std::vector<Part> parts) : mParts(std::move(parts)) {}

    void load(std::function<void(const Part&)> onPart) override
    {
        for (const Part& part : mParts)
            onPart(part);
    }

private:
    std::vector<Part> mParts;
};

} // namespace RenderTest
