#pragma once

#include <lumaro/render/Export.h>
#include <lumaro/render/gpu/ComPtr.h>
#include <lumaro/render/gpu/MoveComPtr.h>

#include <d3d11.h>

#include <filesystem>
#include <string>

namespace Render {

// A compute shader ("cs_main", cs_5_0), made only by the factories. "Resource" names are
// entries of the embedded shader table.
class LUMARO_RENDER_API ComputeShader {
public:
    ComputeShader() = default;
    ComputeShader(ComputeShader&&) noexcept = default;
    ComputeShader& operator=(ComputeShader&& other) noexcept
    {
        moveComPtr(mShader, other.mShader);
        return *this;
    }
    ComputeShader(const ComputeShader&) = delete;
    ComputeShader& operator=(const ComputeShader&) = delete;

    static ComputeShader fromHlslResource(const ComPtr<ID3D11Device>& device, const std::string& name);
    static ComputeShader fromHlslFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path);
    static ComputeShader fromCsoResource(const ComPtr<ID3D11Device>& device, const std::string& name);
    static ComputeShader fromCsoFile(const ComPtr<ID3D11Device>& device, const std::filesystem::path& path);
    static ComputeShader fromCsoString(const ComPtr<ID3D11Device>& device, const std::string& bytecode);

    void begin(ID3D11DeviceContext* context) const;
    void end(ID3D11DeviceContext* context) const;

    ID3D11ComputeShader* get() const { return mShader.Get(); }

private:
    explicit ComputeShader(ComPtr<ID3D11ComputeShader> shader);

    ComPtr<ID3D11ComputeShader> mShader;
};

} // namespace Render
