#include <lumaro/render/gpu/InputLayouts.h>

namespace Render {

namespace {

constexpr UINT append = D3D11_APPEND_ALIGNED_ELEMENT;

D3D11_INPUT_ELEMENT_DESC perInstance(const char* semantic, DXGI_FORMAT format, UINT offset)
{
    return {semantic, 0, format, 0, offset, D3D11_INPUT_PER_INSTANCE_DATA, 1};
}

D3D11_INPUT_ELEMENT_DESC perVertex(const char* semantic, DXGI_FORMAT format, UINT offset)
{
    return {semantic, 0, format, 0, offset, D3D11_INPUT_PER_VERTEX_DATA, 0};
}

} // namespace

const std::vector<D3D11_INPUT_ELEMENT_DESC>& pointCloudInputLayout()
{
    static const std::vector<D3D11_INPUT_ELEMENT_DESC> layout{
        perInstance("POS", DXGI_FORMAT_R32G32B32_FLOAT, 0),     perInstance("COL", DXGI_FORMAT_B8G8R8A8_UNORM, append),
        perInstance("INTENSITY", DXGI_FORMAT_R8_UNORM, append), perInstance("CLASSINDEX", DXGI_FORMAT_R8_UINT, append),
        perInstance("SCANINDEX", DXGI_FORMAT_R16_UINT, append), perInstance("DISTANCE", DXGI_FORMAT_R32_FLOAT, append),
    };
    return layout;
}

const std::vector<D3D11_INPUT_ELEMENT_DESC>& boxInputLayout()
{
    static const std::vector<D3D11_INPUT_ELEMENT_DESC> layout{
        perInstance("POS_MIN", DXGI_FORMAT_R32G32B32_FLOAT, 0),
        perInstance("POS_MAX", DXGI_FORMAT_R32G32B32_FLOAT, append),
        perInstance("COL", DXGI_FORMAT_B8G8R8A8_UNORM, append),
    };
    return layout;
}

const std::vector<D3D11_INPUT_ELEMENT_DESC>& meshInputLayout()
{
    static const std::vector<D3D11_INPUT_ELEMENT_DESC> layout{
        perVertex("POS", DXGI_FORMAT_R32G32B32_FLOAT, 0),
        perVertex("NML", DXGI_FORMAT_R32G32B32_FLOAT, 12),
        perVertex("UV", DXGI_FORMAT_R32G32_FLOAT, 24),
        perVertex("COL", DXGI_FORMAT_B8G8R8A8_UNORM, 32),
    };
    return layout;
}

} // namespace Render
