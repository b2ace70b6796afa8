#pragma once

#include <lumaro/render/Export.h>

#include <cstdint>
#include <exception>
#include <string>

namespace Render {

// A failed Direct3D or COM call: its HRESULT and the system's text for it.
class LUMARO_RENDER_API ComException : public std::exception {
public:
    explicit ComException(std::int32_t result);

    const char* what() const noexcept override;
    std::int32_t result() const noexcept { return mResult; }

private:
    std::int32_t mResult;
    std::string mMessage;
};

// Throws ComException when `result` reports a failure (is negative).
inline void throwIfFailed(std::int32_t result)
{
    if (result < 0)
        throw ComException(result);
}

} // namespace Render
