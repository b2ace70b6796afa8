#pragma once

#include <lumaro/render/gpu/ComPtr.h>

namespace Render {

// Move assignment of COM ownership for the wrapper classes: when both already hold the same
// object nothing changes (the source keeps its reference too); otherwise the target takes the
// source's reference, the source becomes null and the target's old reference is released.
// Written with Swap because MinGW's ComPtr move assignment copies (AddRef) instead of moving.
template <class T>
void moveComPtr(ComPtr<T>& target, ComPtr<T>& source) noexcept
{
    if (target.Get() == source.Get())
        return;
    ComPtr<T> taken;
    taken.Swap(source);
    target.Swap(taken);
}

} // namespace Render
