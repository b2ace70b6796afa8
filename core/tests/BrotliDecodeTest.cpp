#include <lumaro/core/BrotliDecode.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

// Streams put together bit by bit after RFC 7932, so that they need no encoder:
// - the empty stream: WBITS = 16 (bit 0 = 0), ISLAST = 1, ISLASTEMPTY = 1 -> 0b110;
// - "hello" in one stored meta-block: WBITS = 16 (0), ISLAST = 0, MNIBBLES = 4 (0b00),
//   MLEN - 1 = 4 in 16 bits (bits 4..19, so bit 6 set), ISUNCOMPRESSED = 1 (bit 20), zero padding
//   to the byte boundary, the five bytes, and then an empty last meta-block (ISLAST = 1,
//   ISLASTEMPTY = 1 -> 0b11).
const std::string emptyStream = "\x06"s;
const std::string helloStream = "\x40\x00\x10hello\x03"s;
// A metadata meta-block (MNIBBLES = 0b11) whose reserved bit (bit 4) is set, which RFC 7932
// forbids: 0b0001'1100.
const std::string reservedBitStream = "\x1c"s;

std::vector<std::byte> bytesOf(std::size_t size)
{
    return std::vector<std::byte>(size);
}

std::string textOf(const std::vector<std::byte>& bytes)
{
    return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

std::string failureOf(const std::string& compressed, std::size_t maxDecodedSize = std::size_t(1) << 32)
{
    try {
        Core::brotliDecode(compressed, maxDecodedSize);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no std::runtime_error";
}

std::string exactFailureOf(const std::string& compressed, std::size_t expectedSize)
{
    auto decoded = bytesOf(expectedSize);
    try {
        Core::brotliDecodeExact(compressed, decoded);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no std::runtime_error";
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

TEST(BrotliDecodeTest, DecodesHandMadeStreams)
{
    EXPECT_EQ(Core::brotliDecode(emptyStream), "");
    EXPECT_EQ(Core::brotliDecode(helloStream), "hello");
    auto decoded = bytesOf(5);
    Core::brotliDecodeExact(helloStream, decoded);
    EXPECT_EQ(textOf(decoded), "hello");
    auto nothing = bytesOf(0);
    EXPECT_NO_THROW(Core::brotliDecodeExact(emptyStream, nothing));
}

TEST(BrotliDecodeTest, CorruptTruncatedAndOverlongInputIsAnError)
{
    EXPECT_TRUE(contains(failureOf(reservedBitStream), "corrupt")) << failureOf(reservedBitStream);
    EXPECT_TRUE(contains(exactFailureOf(reservedBitStream, 5), "corrupt"));
    // Every proper prefix of a stream is truncated.
    for (std::size_t length = 0; length < helloStream.size(); ++length) {
        const auto prefix = helloStream.substr(0, length);
        EXPECT_TRUE(contains(failureOf(prefix), "truncated")) << length << ": " << failureOf(prefix);
        EXPECT_TRUE(contains(exactFailureOf(prefix, 5), "truncated")) << length;
    }
    EXPECT_TRUE(contains(failureOf(helloStream + "x"), "1 bytes after the end")) << failureOf(helloStream + "x");
    EXPECT_TRUE(contains(exactFailureOf(helloStream + "xy", 5), "2 bytes after the end"));
}

TEST(BrotliDecodeTest, TheDecodedSizeIsChecked)
{
    EXPECT_EQ(Core::brotliDecode(helloStream, 5), "hello");
    EXPECT_TRUE(contains(failureOf(helloStream, 4), "more than 4 bytes")) << failureOf(helloStream, 4);
    EXPECT_TRUE(contains(failureOf(helloStream, 0), "more than 0 bytes"));
    EXPECT_EQ(Core::brotliDecode(emptyStream, 0), "");

    EXPECT_TRUE(contains(exactFailureOf(helloStream, 4), "more than the expected 4 bytes"))
        << exactFailureOf(helloStream, 4);
    EXPECT_TRUE(contains(exactFailureOf(helloStream, 6), "decompresses to 5 bytes, expected 6"))
        << exactFailureOf(helloStream, 6);
}

} // namespace
