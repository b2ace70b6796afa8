#include "MeshDrawer.h"

#include <lumaro/render/gpu/BufferByteWidth.h>
#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ConstantBuffer.h>
#include <lumaro/render/gpu/InputLayouts.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/VertexShader.h>

#include <vector>

namespace Render {

namespace {

constexpr UINT vertexStride = sizeof(VertexPosNormalTexCoordColor);
static_assert(vertexStride == 36);

class Direct3DMeshDrawer final : public MeshDrawer {
public:
    Direct3DMeshDrawer(const ComPtr<ID3D11Device>& device, const ComPtr<ID3D11DeviceContext>& context,
                       const MeshConstants& constants)
        : mDevice(device),
          mContext(context),
          mVertexShader(VertexShader::fromHlslResource(device, "shaders/mesh.hlsl", meshInputLayout())),
          mPixelShader(PixelShader::fromHlslResource(device, "shaders/mesh.hlsl")),
          mConstants(device.Get(), constants),
          mClipConstants(device.Get(), ClipVolumeConstants{})
    {}

    void addPart(const MeshLoader::Part& vertices) override
    {
        Part part;
        part.vertexCount = static_cast<UINT>(vertices.size());
        // A shape without faces is an empty part: Direct3D has no empty buffers, and nothing to draw.
        if (!vertices.empty()) {
            D3D11_BUFFER_DESC desc{};
            desc.ByteWidth = bufferByteWidth(vertices.size(), vertexStride, "mesh vertices");
            desc.Usage = D3D11_USAGE_IMMUTABLE;
            desc.BindFlags = D3D11_BIND_VERTEX_BUFFER;
            D3D11_SUBRESOURCE_DATA data{};
            data.pSysMem = vertices.data();
            throwIfFailed(mDevice->CreateBuffer(&desc, &data, &part.buffer));
        }
        mParts.push_back(std::move(part));
    }

    void draw(const MeshConstants& constants, bool constantsChanged) override
    {
        ID3D11DeviceContext* context = mContext.Get();
        if (constantsChanged)
            mConstants.set(constants);
        mVertexShader.begin(context);
        mPixelShader.begin(context);
        mConstants.begin(context, ShaderConfiguration::Vertex | ShaderConfiguration::Pixel, 0);
        mClipConstants.begin(context, ShaderConfiguration::Pixel, 3);
        context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
        const UINT offset = 0;
        for (const Part& part : mParts) {
            if (!part.buffer)
                continue;
            ID3D11Buffer* buffer = part.buffer.Get();
            context->IASetVertexBuffers(0, 1, &buffer, &vertexStride, &offset);
            context->Draw(part.vertexCount, 0);
            ID3D11Buffer* none = nullptr;
            const UINT zero = 0;
            context->IASetVertexBuffers(0, 1, &none, &zero, &zero);
        }
        context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_UNDEFINED);
        mClipConstants.end(context);
        mConstants.end(context);
        mPixelShader.end(context);
        mVertexShader.end(context);
    }

    void setClipVolumes(const ClipVolumeConstants& constants) override { mClipConstants.set(constants); }

private:
    struct Part {
        UINT vertexCount = 0;
        ComPtr<ID3D11Buffer> buffer;
    };

    ComPtr<ID3D11Device> mDevice;
    ComPtr<ID3D11DeviceContext> mContext;
    VertexShader mVertexShader;
    PixelShader mPixelShader;
    ConstantBuffer<MeshConstants> mConstants;
    ConstantBuffer<ClipVolumeConstants> mClipConstants;
    std::vector<Part> mParts;
};

} // namespace

std::unique_ptr<MeshDrawer> createMeshDrawer(const ComPtr<ID3D11Device>& device,
                                             const ComPtr<ID3D11DeviceContext>& context, const MeshConstants& constants)
{
    if (!device || !context)
        return nullptr;
    return std::make_unique<Direct3DMeshDrawer>(device, context, constants);
}

} // namespace Render
