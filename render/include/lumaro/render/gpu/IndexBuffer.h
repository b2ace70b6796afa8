#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Render {

// An immutable buffer of 32-bit indices: a new index set means a new IndexBuffer.
class LUMARO_RENDER_API IndexBuffer {
public:
    IndexBuffer() = default;
    // Throws ComException when the device refuses the buffer (an empty index set included), and
    // std::invalid_argument, before touching the device, for more indices than a buffer can describe.
    IndexBuffer(ID3D11Device* device, const unsigned int* indices, std::size_t count);
    IndexBuffer(ID3D11Device* device, const std::vector<unsigned int>& indices);

    IndexBuffer(const IndexBuffer&) = delete;
    IndexBuffer& operator=(const IndexBuffer&) = delete;
    IndexBuffer(IndexBuffer&& other) noexcept;
    IndexBuffer& operator=(IndexBuffer&& other) noexcept;

    void begin(ID3D11DeviceContext* context, unsigned offset);
    void end(ID3D11DeviceContext* context);

    std::size_t count() const { return mCount; }
    std::uint32_t offset() const { return mOffset; }
    ID3D11Buffer* get() const { return mBuffer.Get(); }

private:
    std::size_t mCount = 0;
    ComPtr<ID3D11Buffer> mBuffer;
    std::uint32_t mOffset = 0;
};

} // namespace Render
