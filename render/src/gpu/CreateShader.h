#pragma once

#include <lumaro/render/gpu/ComException.h>
#include <lumaro/render/gpu/ComPtr.h>

#include <d3d11.h>

#include <string>

namespace Render {

// A device method that makes one kind of shader from byte code (CreatePixelShader, ...).
template <class Shader>
using CreateShaderMethod = HRESULT (STDMETHODCALLTYPE ID3D11Device::*)(const void*, SIZE_T, ID3D11ClassLinkage*,
                                                                       Shader**);

// The common end of every shader factory: byte code to shader object, without class linkage.
// Throws ComException when the device rejects the byte code.
template <class Shader>
ComPtr<Shader> createShader(ID3D11Device* device, CreateShaderMethod<Shader> create, const std::string& bytecode)
{
    ComPtr<Shader> shader;
    throwIfFailed((device->*create)(bytecode.data(), bytecode.size(), nullptr, &shader));
    return shader;
}

} // namespace Render
