#include <lumaro/core/BrotliDecode.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#ifdef LUMARO_HAVE_BROTLI_ENCODER
#include <brotli/encode.h>
#endif

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

std::vector<std::byte> bytesOf(std::size_t size) { return std::vector<std::byte>(size); }

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

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

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

#ifdef LUMARO_HAVE_BROTLI_ENCODER

std::string compress(const std::string& data, int quality = 9)
{
    std::string compressed(BrotliEncoderMaxCompressedSize(data.size()), '\0');
    std::size_t size = compressed.size();
    const bool ok = BrotliEncoderCompress(quality, BROTLI_DEFAULT_WINDOW, BROTLI_MODE_GENERIC, data.size(),
                                          reinterpret_cast<const std::uint8_t*>(data.data()), &size,
                                          reinterpret_cast<std::uint8_t*>(compressed.data()));
    if (!ok)
        throw std::runtime_error("test encoder failed");
    compressed.resize(size);
    return compressed;
}

// Something like node data: repeating records with slowly changing fields and some noise.
std::string recordLikeData(std::size_t records)
{
    std::string data;
    std::uint32_t noise = 12345;
    for (std::size_t i = 0; i < records; ++i) {
        noise = noise * 1103515245u + 12345u;
        const std::int32_t fields[4] = {static_cast<std::int32_t>(i * 3), static_cast<std::int32_t>(i / 7),
                                        static_cast<std::int32_t>(noise >> 16), 42};
        data.append(reinterpret_cast<const char*>(fields), sizeof(fields));
    }
    return data;
}

TEST(BrotliDecodeTest, RoundTripsEncoderOutput)
{
    for (const auto& data : {std::string(), std::string("a"), recordLikeData(50000), std::string(5'000'000, '\0')}) {
        const auto compressed = compress(data);
        const auto decoded = Core::brotliDecode(compressed);
        ASSERT_EQ(decoded.size(), data.size());
        EXPECT_TRUE(decoded == data);

        auto exact = bytesOf(data.size());
        Core::brotliDecodeExact(compressed, exact);
        EXPECT_TRUE(textOf(exact) == data);

        EXPECT_EQ(Core::brotliDecode(compressed, data.size()).size(), data.size()) << "a limit equal to the size";
        if (!data.empty())
            EXPECT_THROW(Core::brotliDecode(compressed, data.size() - 1), std::runtime_error);
    }
}

// Damaged chunks of a store must end in an exception or in some output, never in a crash (the
// sanitizers watch the decoder's reads and writes here).
TEST(BrotliDecodeTest, DamagedEncoderOutputNeverCrashes)
{
    const auto data = recordLikeData(2000);
    const auto compressed = compress(data);
    std::size_t detected = 0;
    for (std::size_t position = 0; position < compressed.size(); position += 3) {
        auto damaged = compressed;
        damaged[position] = static_cast<char>(damaged[position] ^ 0x5a);
        try {
            if (Core::brotliDecode(damaged, data.size() * 2) != data)
                ++detected;
        } catch (const std::runtime_error&) {
            ++detected;
        }
    }
    EXPECT_GT(detected, compressed.size() / 6) << "most damage must be noticed";
    EXPECT_THROW(Core::brotliDecode(compressed.substr(0, compressed.size() / 2)), std::runtime_error);
}

#endif

} // namespace
