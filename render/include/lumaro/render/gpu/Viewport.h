#pragma once

#include <lumaro/render/Export.h>

#include <cstddef>
#include <cstdint>
#include <ostream>

struct ID3D11DeviceContext;

namespace Render {

// The pixel rectangle and depth range that rasterization maps clip space onto. A plain value:
// everything but binding it to a context works without Direct3D.
class LUMARO_RENDER_API Viewport {
public:
    Viewport() = default;
    Viewport(int x, int y, std::size_t width, std::size_t height);
    Viewport(std::size_t width, std::size_t height);

    // The depth range is kept by both forms of set.
    void set(int x, int y, std::size_t width, std::size_t height);
    void set(std::size_t width, std::size_t height);
    void setDepthRange(float minDepth, float maxDepth);

    int x() const { return mX; }
    int y() const { return mY; }
    std::size_t width() const { return mWidth; }
    std::size_t height() const { return mHeight; }
    float minDepth() const { return mMinDepth; }
    float maxDepth() const { return mMaxDepth; }

    // Computed in single precision and then widened, so it matches what the shaders see.
    double aspectRatio() const;

    // Binds this viewport as the context's only viewport.
    void set(ID3D11DeviceContext* context) const;

    // The rectangle alone: viewports that differ only in depth range are equal.
    bool operator==(const Viewport& other) const;
    bool operator!=(const Viewport& other) const;

private:
    std::int32_t mX = 0;
    std::int32_t mY = 0;
    std::size_t mWidth = 640;
    std::size_t mHeight = 480;
    float mMinDepth = 0.0f;
    float mMaxDepth = 1.0f;
};

// Writes "[x, y, width, height, minDepth, maxDepth]" with the stream's own formatting.
LUMARO_RENDER_API std::ostream& operator<<(std::ostream& stream, const Viewport& viewport);

} // namespace Render
