#include <lumaro/render/gpu/ComException.h>

#include <windows.h>

#include <cstdio>

namespace Render {

namespace {

// The system message for an HRESULT, with the fallbacks COM's own error objects use when the
// system has no text for it.
std::string messageOf(std::int32_t result)
{
    char* systemText = nullptr;
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, static_cast<DWORD>(result), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                       reinterpret_cast<LPSTR>(&systemText), 0, nullptr);
    if (systemText != nullptr && length > 0) {
        std::string text(systemText, length);
        LocalFree(systemText);
        if (text.size() >= 2 && text.back() == '\n') {
            text.pop_back();
            if (text.back() == '\r')
                text.pop_back();
        }
        return text;
    }
    if (systemText != nullptr)
        LocalFree(systemText);

    char buffer[32] = {};
    const auto code = static_cast<std::uint32_t>(result);
    if (code >= 0x80040200u && code < 0x80050000u && (code & 0xFFFFu) != 0x0200u)
        std::snprintf(buffer, sizeof buffer, "IDispatch error #%d", static_cast<int>((code & 0xFFFFu) - 0x200u));
    else
        std::snprintf(buffer, sizeof buffer, "Unknown error 0x%0lX", static_cast<unsigned long>(code));
    return buffer;
}

} // namespace

ComException::ComException(std::int32_t result) : mResult(result), mMessage(messageOf(result)) {}

const char* ComException::what() const noexcept
{
    return mMessage.c_str();
}

} // namespace Render
