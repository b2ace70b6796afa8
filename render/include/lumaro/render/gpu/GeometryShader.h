#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/MoveComPtr.h>

#include <d3d11.h>

#include <filesystem>
#include <string>

namespace Render {

// A geometry shader, made only by the factories. fromHlslFile compiles "gs_main" (gs_5_0), but
// fromHlslResource compiles "ps_main" with ps_5_0, so creating a geometry shader from that byte
// code fails with ComException. The asymmetry is part of the published behaviour; keep it.
class LUMARO_RENDER_API GeometryShader {
public:
    GeometryShader() = default;
    GeometryShader(GeometryShader&&) noexcept = default;
    GeometryShader& operator=(GeometryShader&& other) noexcept
    {
        moveComPtr(mShader, other.mShader);
        return *this;
    }
    GeometryShader(const GeometryShader&) = delete;
    GeometryShader& operator=(const GeometryShader&) = delete;

    static GeometryShader fromHlslResource(const ComPtr<ID3D11Device>& device, const std::string& name);
    static GeometryShader fromHlslFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path);
    static GeometryShader fromCsoResource(const ComPtr<ID3D11Device>& device, const std::string& name);
    static GeometryShader fromCsoFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path);
    static GeometryShader fromCsoString(const ComPtr<ID3D11Device>& device, const std::string& bytecode);

    void begin(ID3D11DeviceContext* context) const;
    void end(ID3D11DeviceContext* context) const;

    ID3D11GeometryShader* get() const { return mShader.Get(); }

private:
    explicit GeometryShader(ComPtr<ID3D11GeometryShader> shader);

    ComPtr<ID3D11GeometryShader> mShader;
};

} // namespace Render
