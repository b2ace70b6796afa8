#pragma once

#include "PanoConstants.h"

#include <lumaro/render/gpu/ComPtr.h>

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>
#include <lumaro/graphics/PanoramaLoader.h>

#include <cstddef>
#include <memory>

struct ID3D11Device;
struct ID3D11DeviceContext;

namespace Render {

// The Direct3D side of a panorama: "shaders/pano.hlsl", its constant buffer, a texture array per
// colour and depth level (padded with placeholder levels to four of each), an upload texture per
// level and the point sampler. Used on the render thread only.
class PanoDrawer {
public:
    virtual ~PanoDrawer() = default;

    // Writes a tile into the level's upload texture and copies that into array slice `slice`.
    virtual void uploadColorTile(std::size_t level, std::size_t slice, const Graphics::ColorImage& tile) = 0;
    virtual void uploadDepthTile(std::size_t level, std::size_t slice, const Graphics::DepthImage& tile) = 0;
    // Uploads the constants when they changed and draws the full-screen quad, unbinding after.
    virtual void draw(const PanoConstants& constants, bool constantsChanged) = 0;
};

// The drawer for a device and a loader's layout (without a loader: shaders and sampler only);
// nullptr in builds without Direct3D.
std::unique_ptr<PanoDrawer> createPanoDrawer(const ComPtr<ID3D11Device>& device,
                                             const ComPtr<ID3D11DeviceContext>& context,
                                             const Graphics::PanoramaLoader* loader, const PanoConstants& constants);

} // namespace Render
