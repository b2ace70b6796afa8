#include "PointCloudDrawer.h"

#include <lumaro/render/gpu/Boxes.h>
#include <lumaro/render/gpu/BufferByteWidth.h>
#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ConstantBuffer.h>
#include <lumaro/render/gpu/InputLayouts.h>
#include <lumaro/render/gpu/PixelShader.h>
#include <lumaro/render/gpu/ShaderResourceView.h>
#include <lumaro/render/gpu/Texture1d.h>
#include <lumaro/render/gpu/VertexShader.h>
#include <lumaro/render/pointcloud/NodePrioritizer.h>

#include "gpu/ShaderCompiler.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

namespace Render {

namespace {

constexpr const char* shaderName = "shaders/pointcloud.hlsl";
constexpr UINT vertexStride = sizeof(PointCloudBuffers::Vertex);
// The prioritizer never publishes more nodes than this, so the node table and the box set are
// made once at their largest.
constexpr UINT nodeTexels = static_cast<UINT>(maxNodesPerUpdate);

D3D11_TEXTURE1D_DESC nodeTableDesc()
{
    D3D11_TEXTURE1D_DESC desc{};
    desc.Width = nodeTexels;
    desc.MipLevels = 1;
    desc.ArraySize = 1;
    // Normalised bytes: the shader multiplies a channel by 255 to get the byte back.
    desc.Format = DXGI_FORMAT_R8G8B8A8_UNORM;
    desc.Usage = D3D11_USAGE_DYNAMIC;
    desc.BindFlags = D3D11_BIND_SHADER_RESOURCE;
    desc.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;
    return desc;
}

// One texel per class: its colour, and alpha 0 where the class is hidden. B8G8R8A8 is the byte
// order of Math::Color.
D3D11_TEXTURE1D_DESC classTableDesc()
{
    D3D11_TEXTURE1D_DESC desc = nodeTableDesc();
    desc.Width = static_cast<UINT>(pointClassCount);
    desc.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
    return desc;
}

class Direct3DPointCloudDrawer final : public PointCloudDrawer {
public:
    Direct3DPointCloudDrawer(const ComPtr<ID3D11Device>& device, const ComPtr<ID3D11DeviceContext>& context)
        : mDevice(device),
          mContext(context),
          mVertexShader(VertexShader::fromHlslResource(device, shaderName, pointCloudInputLayout())),
          mPixelShader(PixelShader::fromHlslResource(device, shaderName)),
          mFrameConstants(device.Get(), PointCloudFrameConstants{}),
          mNodeConstants(device.Get(), PointCloudNodeConstants{}),
          mClipConstants(device.Get(), ClipVolumeConstants{}),
          mNodeTable(device.Get(), nodeTableDesc()),
          mNodeTableView(device.Get(), mNodeTable.get(), nullptr),
          mClassTable(device.Get(), classTableDesc()),
          mClassTableView(device.Get(), mClassTable.get(), nullptr)
    {
        setPointClasses(PointClasses());
    }

    void draw(const PointCloudBuffers& buffers, bool fresh, const PointCloudFrameConstants& constants,
              bool constantsChanged, const std::optional<Math::Color>& boxColor) override
    {
        if (fresh) {
            upload(buffers);
            mBoxesCurrent = false;
        }
        if (constantsChanged)
            mFrameConstants.set(constants);
        if (buffers.nodes.empty() || mVertexCount < buffers.vertices.size())
            return;
        drawNodes(buffers, mVertexShader, mPixelShader);

        if (boxColor)
            drawBoxes(buffers, constants, *boxColor);
    }

    void drawSplats(const PointCloudBuffers& buffers) override
    {
        if (buffers.nodes.empty() || mVertexCount < buffers.vertices.size())
            return;
        // Made at the first use: most pictures never need them.
        if (!mSplatVertexShader) {
            mSplatVertexShader = VertexShader::fromCsoString(
                mDevice, ShaderCompiler::compileEmbedded(shaderName, {"vs_splat", "vs_5_0"}), pointCloudInputLayout());
            mSplatPixelShader = PixelShader::fromCsoString(
                mDevice, ShaderCompiler::compileEmbedded(shaderName, {"ps_splat", "ps_5_0"}));
        }
        drawNodes(buffers, *mSplatVertexShader, *mSplatPixelShader);
    }

    void setPointClasses(const PointClasses& classes) override
    {
        ID3D11DeviceContext* context = mContext.Get();
        const D3D11_MAPPED_SUBRESOURCE mapped = mClassTable.map(context, D3D11_MAP_WRITE_DISCARD);
        auto* texels = static_cast<Math::Color*>(mapped.pData);
        for (std::size_t c = 0; c < pointClassCount; ++c) {
            const auto classIndex = static_cast<std::uint8_t>(c);
            const Math::Color& color = classes.color(classIndex);
            // Alpha 0 hides the class's points in the vertex shader.
            texels[c] = Math::Color(color.r(), color.g(), color.b(), classes.isShown(classIndex) ? 255 : 0);
        }
        mClassTable.unMap(context);
    }

    void setClipVolumes(const ClipVolumeConstants& constants) override { mClipConstants.set(constants); }

private:
    // One instanced draw per node of the draw list with the given shaders.
    void drawNodes(const PointCloudBuffers& buffers, VertexShader& vertexShader, PixelShader& pixelShader)
    {
        ID3D11DeviceContext* context = mContext.Get();
        vertexShader.begin(context);
        pixelShader.begin(context);
        context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLESTRIP);
        ID3D11Buffer* vertexBuffer = mVertexBuffer.Get();
        const UINT offset = 0;
        context->IASetVertexBuffers(0, 1, &vertexBuffer, &vertexStride, &offset);
        mFrameConstants.begin(context, ShaderConfiguration::Vertex | ShaderConfiguration::Pixel, 0);
        mNodeTableView.begin(context, ShaderConfiguration::Vertex, 0);
        mClassTableView.begin(context, ShaderConfiguration::Vertex, 1);
        mClipConstants.begin(context, ShaderConfiguration::Vertex, 3);
        for (const PointCloudBuffers::DrawNode& node : buffers.nodes) {
            PointCloudNodeConstants& perNode = mNodeConstants.modify();
            std::copy_n(node.cube.min().data(), 3, perNode.nodeMin);
            perNode.nodeIndex = node.texel;
            perNode.nodeDepth = node.level;
            mNodeConstants.begin(context, ShaderConfiguration::Vertex, 1);
            context->DrawInstanced(4, node.pointCount, 0, node.firstPoint);
            mNodeConstants.end(context);
        }
        mClipConstants.end(context);
        mClassTableView.end(context);
        mNodeTableView.end(context);
        mFrameConstants.end(context);
        context->IASetVertexBuffers(0, 0, nullptr, nullptr, nullptr);
        context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_UNDEFINED);
        pixelShader.end(context);
        vertexShader.end(context);
    }

    void upload(const PointCloudBuffers& buffers)
    {
        ID3D11DeviceContext* context = mContext.Get();
        const D3D11_MAPPED_SUBRESOURCE table = mNodeTable.map(context, D3D11_MAP_WRITE_DISCARD);
        std::memcpy(table.pData, buffers.nodeTexels.data(),
                    std::min<std::size_t>(buffers.nodeTexels.size(), nodeTexels * PointCloudBuffers::bytesPerTexel));
        mNodeTable.unMap(context);

        const std::size_t count = buffers.vertices.size();
        if (count == 0)
            return;
        if (count > mVertexCapacity) {
            // Room to grow, so that a walk filling the budget step by step does not re-create the
            // buffer at every publication.
            const std::size_t capacity = std::max(count, mVertexCapacity + mVertexCapacity / 2);
            D3D11_BUFFER_DESC desc{};
            desc.ByteWidth = bufferByteWidth(capacity, vertexStride, "point vertices");
            desc.Usage = D3D11_USAGE_DYNAMIC;
            desc.BindFlags = D3D11_BIND_VERTEX_BUFFER;
            desc.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;
            mVertexBuffer.Reset();
            mVertexCapacity = 0;
            mVertexCount = 0;
            throwIfFailed(mDevice->CreateBuffer(&desc, nullptr, &mVertexBuffer));
            mVertexCapacity = capacity;
        }
        D3D11_MAPPED_SUBRESOURCE mapped{};
        throwIfFailed(context->Map(mVertexBuffer.Get(), 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped));
        std::memcpy(mapped.pData, buffers.vertices.data(), count * vertexStride);
        context->Unmap(mVertexBuffer.Get(), 0);
        mVertexCount = count;
    }

    void drawBoxes(const PointCloudBuffers& buffers, const PointCloudFrameConstants& constants,
                   const Math::Color& color)
    {
        if (!mBoxes)
            mBoxes.emplace(mDevice, maxNodesPerUpdate);
        if (!mBoxesCurrent || color != mBoxColor) {
            std::vector<BoxWithColor> boxes;
            boxes.reserve(buffers.nodes.size());
            for (const PointCloudBuffers::DrawNode& node : buffers.nodes)
                boxes.push_back({node.cube.min(), node.cube.max(), color});
            mBoxes->update(mContext.Get(), boxes);
            mBoxesCurrent = true;
            mBoxColor = color;
        }
        mBoxes->setModelViewProjection(Eigen::Map<const Eigen::Matrix4f>(constants.modelViewProj));
        mBoxes->draw(mContext.Get());
    }

    ComPtr<ID3D11Device> mDevice;
    ComPtr<ID3D11DeviceContext> mContext;
    VertexShader mVertexShader;
    PixelShader mPixelShader;
    ConstantBuffer<PointCloudFrameConstants> mFrameConstants;
    ConstantBuffer<PointCloudNodeConstants> mNodeConstants;
    ConstantBuffer<ClipVolumeConstants> mClipConstants;
    Texture1d mNodeTable;
    ShaderResourceView mNodeTableView;
    Texture1d mClassTable;
    ShaderResourceView mClassTableView;
    std::optional<VertexShader> mSplatVertexShader;
    std::optional<PixelShader> mSplatPixelShader;
    ComPtr<ID3D11Buffer> mVertexBuffer;
    std::size_t mVertexCapacity = 0;
    std::size_t mVertexCount = 0;
    std::optional<Boxes> mBoxes;
    bool mBoxesCurrent = false;
    Math::Color mBoxColor;
};

} // namespace

std::unique_ptr<PointCloudDrawer> createPointCloudDrawer(const ComPtr<ID3D11Device>& device,
                                                         const ComPtr<ID3D11DeviceContext>& context)
{
    if (!device || !context)
        return nullptr;
    return std::make_unique<Direct3DPointCloudDrawer>(device, context);
}

} // namespace Render
