#include <lumaro/render/gpu/ShaderInclude.h>

#include <lumaro/render/gpu/EmbeddedShaderTable.h>

#include <windows.h>

#include <cstring>
#include <new>
#include <system_error>

namespace Render {

HRESULT STDMETHODCALLTYPE ShaderInclude::Open(D3D_INCLUDE_TYPE, LPCSTR fileName, LPCVOID, LPCVOID* data, UINT* bytes)
{
    const EmbeddedShaderTable::Entry* entry = EmbeddedShaderTable::find(fileName);
    if (entry == nullptr)
        return E_FAIL;
    if (!entry->isFile)
        throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory), fileName);

    const auto size = static_cast<std::size_t>(entry->end - entry->begin);
    if (size == 0) {
        *data = nullptr;
        *bytes = 0;
        return S_OK;
    }
    // The compiler holds on to the text until Close, so it gets its own copy.
    void* buffer = ::operator new(size);
    std::memcpy(buffer, entry->begin, size);
    *data = buffer;
    *bytes = static_cast<UINT>(size);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE ShaderInclude::Close(LPCVOID data)
{
    ::operator delete(const_cast<void*>(data));
    return S_OK;
}

} // namespace Render
