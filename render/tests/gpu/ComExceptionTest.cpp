#include <lumaro/render/gpu/ComException.h>

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

namespace {

// What the machine's own message table says for a code, without its line break.
std::string systemText(DWORD code)
{
    char* buffer = nullptr;
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
        MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<LPSTR>(&buffer), 0, nullptr);
    std::string text = buffer ? std::string(buffer, length) : std::string();
    LocalFree(buffer);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

TEST(ComException, CarriesTheSystemTextWithoutItsLineBreak)
{
    const Render::ComException error(E_FAIL);
    const std::string expected = systemText(static_cast<DWORD>(E_FAIL));
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(error.what(), expected);
    EXPECT_EQ(error.result(), E_FAIL);
    EXPECT_NE(std::string(error.what()).back(), '\n');
}

TEST(ComException, FallsBackToIDispatchNumbersAndUnknownErrors)
{
    ASSERT_TRUE(systemText(0x80040201u).empty()) << "this system has a text for 0x80040201";
    EXPECT_STREQ(Render::ComException(static_cast<std::int32_t>(0x80040201u)).what(), "IDispatch error #1");
    EXPECT_STREQ(Render::ComException(static_cast<std::int32_t>(0x80040264u)).what(), "IDispatch error #100");

    ASSERT_TRUE(systemText(0x8004FE00u).empty());
    EXPECT_STREQ(Render::ComException(static_cast<std::int32_t>(0x8004FE00u)).what(), "IDispatch error #64512");
    // The low word 0x0200 itself is excluded from the IDispatch range.
    ASSERT_TRUE(systemText(0x80040200u).empty());
    EXPECT_STREQ(Render::ComException(static_cast<std::int32_t>(0x80040200u)).what(), "Unknown error 0x80040200");
}

TEST(ComException, IsAnOrdinaryCopyableValue)
{
    const Render::ComException original(E_INVALIDARG);
    Render::ComException copy = original;
    EXPECT_STREQ(copy.what(), original.what());
    EXPECT_EQ(copy.result(), E_INVALIDARG);
    try {
        throw copy;
    } catch (const std::exception& caught) {
        EXPECT_STREQ(caught.what(), original.what());
    }
}

} // namespace
