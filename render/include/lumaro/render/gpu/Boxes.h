#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/ConstantBuffer.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/VertexRecords.h>
#include <lumaro/render/gpu/VertexShader.h>

#include <lumaro/math/NBoundingBox.h>

#include <Eigen/Core>

#include <d3d11.h>

#include <cstddef>
#include <vector>

namespace Render {

// A batch of coloured wire-frame boxes drawn with one instanced call: each box is an instance
// whose 12 edges the vertex shader builds from the vertex id, so no corner buffers exist.
class LUMARO_RENDER_API Boxes {
public:
    // Both set constructors throw std::invalid_argument, before compiling anything, when the boxes
    // need a buffer wider than 32 bits can describe.
    // A fixed set (immutable on the GPU; update throws). An empty set is refused by the device.
    Boxes(const ComPtr<ID3D11Device>& device, std::vector<BoxWithColor> boxes);
    // An updatable set for up to `capacity` boxes; draws nothing before the first update.
    Boxes(const ComPtr<ID3D11Device>& device, std::size_t capacity);
    Boxes(const ComPtr<ID3D11Device>& device, const Math::NBoundingBox<float, 3>& box, const Math::Color& color);

    Boxes(const Boxes&) = delete;
    Boxes& operator=(const Boxes&) = delete;
    Boxes(Boxes&& other) noexcept;
    Boxes& operator=(Boxes&& other) noexcept;

    // Replaces the boxes of an updatable set; the caller never passes more than the capacity.
    void update(ID3D11DeviceContext* context, const std::vector<BoxWithColor>& boxes);
    // Uploaded at the next draw, once however often it is set before.
    void setModelViewProjection(const Eigen::Matrix4f& matrix);
    // Draws into whatever targets and states the caller has set, and unbinds what it bound.
    void draw(ID3D11DeviceContext* context);

    std::size_t boxCount() const { return mBoxCount; }
    std::size_t instanceCapacity() const { return mInstanceCapacity; }
    ID3D11Buffer* instanceBuffer() const { return mInstanceBuffer.Get(); }

private:
    // `initialBoxes` null: no initial data.
    Boxes(const ComPtr<ID3D11Device>& device, const D3D11_BUFFER_DESC& desc, const void* initialBoxes,
          std::size_t capacity, std::size_t count);

    VertexShader mVertexShader;
    PixelShader mPixelShader;
    ConstantBuffer<Eigen::Matrix4f> mModelViewProjection;
    std::size_t mInstanceCapacity = 0;
    ComPtr<ID3D11Buffer> mInstanceBuffer;
    std::size_t mBoxCount = 0;
};

} // namespace Render
