#pragma once

#include <wrl/client.h>

namespace Render {

// The one owner of every COM reference the library holds (Windows Runtime Library smart pointer:
// same semantics as ATL's CComPtr, and available with both MSVC and MinGW).
template <class T>
using ComPtr = Microsoft::WRL::ComPtr<T>;

} // namespace Render
