#pragma once

#include <lumaro/render/Export.h>

#include <d3d11.h>

#include <vector>

namespace Render {

// Input-element tables that describe the vertex records to the vertex shaders.

// VertexPosColorIntensityClassIndexScanIndexDistance, one instance per point.
LUMARO_RENDER_API const std::vector<D3D11_INPUT_ELEMENT_DESC>& pointCloudInputLayout();

// BoxWithColor, one instance per box.
LUMARO_RENDER_API const std::vector<D3D11_INPUT_ELEMENT_DESC>& boxInputLayout();

// VertexPosNormalTexCoordColor, per vertex.
LUMARO_RENDER_API const std::vector<D3D11_INPUT_ELEMENT_DESC>& meshInputLayout();

} // namespace Render
