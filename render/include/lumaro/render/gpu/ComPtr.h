#pragma once

#if defined(_WIN32)

#include <wrl/client.h>

namespace Render {

// The one owner of every COM reference the library holds (Windows Runtime Library smart pointer:
// same semantics as ATL's CComPtr, and available with both MSVC and MinGW).
template <class T>
using ComPtr = Microsoft::WRL::ComPtr<T>;

} // namespace Render

#else

#include <cstddef>

namespace Render {

// The device-independent parts of the library also build on Linux, where no COM object can exist.
// Interfaces shared with the Windows build (such as Renderable::init) still name ComPtr; there it
// is always null, so it needs no reference counting and no complete interface type.
template <class T>
class ComPtr {
public:
    ComPtr() noexcept = default;
    ComPtr(std::nullptr_t) noexcept {}

    // Get and Reset keep the names of Microsoft::WRL::ComPtr, which the Windows build uses.
    T* Get() const noexcept { return nullptr; } // NOLINT(readability-identifier-naming)
    explicit operator bool() const noexcept { return false; }
    void Reset() noexcept {} // NOLINT(readability-identifier-naming)
};

} // namespace Render

#endif
