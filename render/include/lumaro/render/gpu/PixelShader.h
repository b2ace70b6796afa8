#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/MoveComPtr.h>

#include <d3d11.h>

#include <filesystem>
#include <string>

namespace Render {

// A pixel shader ("ps_main", ps_5_0), made only by the factories. "Resource" names are entries
// of the embedded shader table.
class LUMARO_RENDER_API PixelShader {
public:
    PixelShader() = default;
    PixelShader(PixelShader&&) noexcept = default;
    PixelShader& operator=(PixelShader&& other) noexcept
    {
        moveComPtr(mShader, other.mShader);
        return *this;
    }
    PixelShader(const PixelShader&) = delete;
    PixelShader& operator=(const PixelShader&) = delete;

    static PixelShader fromHlslResource(const ComPtr<ID3D11Device>& device, const std::string& name);
    static PixelShader fromHlslFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path);
    static PixelShader fromCsoResource(const ComPtr<ID3D11Device>& device, const std::string& name);
    static PixelShader fromCsoFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path);
    static PixelShader fromCsoString(const ComPtr<ID3D11Device>& device, const std::string& bytecode);

    void begin(ID3D11DeviceContext* context) const;
    void end(ID3D11DeviceContext* context) const;

    ID3D11PixelShader* get() const { return mShader.Get(); }

private:
    explicit PixelShader(ComPtr<ID3D11PixelShader> shader);

    ComPtr<ID3D11PixelShader> mShader;
};

} // namespace Render
