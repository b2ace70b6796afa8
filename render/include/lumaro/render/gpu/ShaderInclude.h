#pragma once

#include <lumaro/render/Export.h>

#include <d3dcommon.h>

namespace Render {

// Resolves `#include` in HLSL against the library's embedded shader table, so one embedded
// source can pull in another ("shaders/colorprocessing.hlsl"). Stateless: each opened file is a
// copy that Close frees.
class LUMARO_RENDER_API ShaderInclude : public ID3DInclude {
public:
    // E_FAIL for a name that is not in the table (the compiler then reports the failed include);
    // throws std::system_error for a name that is a directory of the table.
    HRESULT STDMETHODCALLTYPE Open(D3D_INCLUDE_TYPE type, LPCSTR fileName, LPCVOID parentData, LPCVOID* data,
                                   UINT* bytes) override;
    HRESULT STDMETHODCALLTYPE Close(LPCVOID data) override;
};

} // namespace Render
