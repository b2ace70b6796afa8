#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/MoveComPtr.h>

#include <d3d11.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Render {

// A vertex shader ("vs_main", vs_5_0) with the input layout of its vertex records; made only by
// the factories. "Resource" names are entries of the embedded shader table. Without a layout
// (vertices generated from SV_VertexID) there is no input layout object.
class LUMARO_RENDER_API VertexShader {
public:
    using Layout = std::vector<D3D11_INPUT_ELEMENT_DESC>;

    VertexShader() = default;
    VertexShader(VertexShader&&) noexcept = default;
    VertexShader& operator=(VertexShader&& other) noexcept
    {
        moveComPtr(mShader, other.mShader);
        moveComPtr(mInputLayout, other.mInputLayout);
        return *this;
    }
    VertexShader(const VertexShader&) = delete;
    VertexShader& operator=(const VertexShader&) = delete;

    static VertexShader fromHlslResource(const ComPtr<ID3D11Device>& device, const std::string& name,
                                         const Layout& layout);
    static VertexShader fromHlslFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path,
                                     const Layout& layout);
    static VertexShader fromCsoResource(const ComPtr<ID3D11Device>& device, const std::string& name,
                                        const Layout& layout);
    static VertexShader fromCsoFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path,
                                    const Layout& layout);
    static VertexShader fromCsoString(const ComPtr<ID3D11Device>& device, const std::string& bytecode,
                                      const Layout& layout);

    // Binds the input layout (only when there is one) and the shader.
    void begin(ID3D11DeviceContext* context) const;
    // Clears the input layout and the shader.
    void end(ID3D11DeviceContext* context) const;

    ID3D11VertexShader* get() const { return mShader.Get(); }
    ID3D11InputLayout* inputLayout() const { return mInputLayout.Get(); }

private:
    VertexShader(ComPtr<ID3D11VertexShader> shader, ComPtr<ID3D11InputLayout> inputLayout);

    ComPtr<ID3D11VertexShader> mShader;
    ComPtr<ID3D11InputLayout> mInputLayout;
};

} // namespace Render
