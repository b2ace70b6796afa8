#include <lumaro/core/BrotliDecode.h>

#include <brotli/decode.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace Core {

namespace {

struct DecoderDeleter {
    void operator()(BrotliDecoderState* state) const { BrotliDecoderDestroyInstance(state); }
};
using Decoder = std::unique_ptr<BrotliDecoderState, DecoderDeleter>;

Decoder makeDecoder()
{
    Decoder decoder(BrotliDecoderCreateInstance(nullptr, nullptr, nullptr));
    if (!decoder)
        throw std::runtime_error("Brotli: cannot create a decoder");
    return decoder;
}

std::runtime_error decodeError(BrotliDecoderState* state)
{
    return std::runtime_error(std::string("Brotli: corrupt data (")
                              + BrotliDecoderErrorString(BrotliDecoderGetErrorCode(state)) + ")");
}

} // namespace

std::string brotliDecode(std::string_view compressed, std::size_t maxDecodedSize)
{
    auto decoder = makeDecoder();
    // One byte beyond the limit lets the decoder prove that the data is longer than allowed; a
    // buffer of exactly the limit could not tell that from a stream that ends right there.
    const std::size_t bufferLimit = maxDecodedSize == SIZE_MAX ? SIZE_MAX : maxDecodedSize + 1;
    const std::size_t firstGuess = compressed.size() > SIZE_MAX / 4 ? SIZE_MAX : compressed.size() * 4;
    std::string decoded(std::min(std::max<std::size_t>(firstGuess, 1024), bufferLimit), '\0');
    auto availableIn = compressed.size();
    auto nextIn = reinterpret_cast<const std::uint8_t*>(compressed.data());
    std::size_t produced = 0;
    for (;;) {
        auto availableOut = decoded.size() - produced;
        auto nextOut = reinterpret_cast<std::uint8_t*>(decoded.data()) + produced;
        const auto result =
            BrotliDecoderDecompressStream(decoder.get(), &availableIn, &nextIn, &availableOut, &nextOut, nullptr);
        produced = decoded.size() - availableOut;
        if (produced > maxDecodedSize
            || (result == BROTLI_DECODER_RESULT_NEEDS_MORE_OUTPUT && decoded.size() >= bufferLimit))
            throw std::runtime_error("Brotli: the data decompresses to more than " + std::to_string(maxDecodedSize)
                                     + " bytes");
        if (result == BROTLI_DECODER_RESULT_SUCCESS) {
            if (availableIn != 0)
                throw std::runtime_error("Brotli: " + std::to_string(availableIn)
                                         + " bytes after the end of the stream");
            decoded.resize(produced);
            return decoded;
        }
        if (result == BROTLI_DECODER_RESULT_ERROR)
            throw decodeError(decoder.get());
        if (result == BROTLI_DECODER_RESULT_NEEDS_MORE_INPUT)
            throw std::runtime_error("Brotli: the stream is truncated");
        decoded.resize(decoded.size() > bufferLimit / 2 ? bufferLimit : decoded.size() * 2);
    }
}

void brotliDecodeExact(std::string_view compressed, std::span<std::byte> decoded)
{
    auto decoder = makeDecoder();
    auto availableIn = compressed.size();
    auto nextIn = reinterpret_cast<const std::uint8_t*>(compressed.data());
    auto availableOut = decoded.size();
    auto nextOut = reinterpret_cast<std::uint8_t*>(decoded.data());
    const auto result =
        BrotliDecoderDecompressStream(decoder.get(), &availableIn, &nextIn, &availableOut, &nextOut, nullptr);
    switch (result) {
    case BROTLI_DECODER_RESULT_SUCCESS:
        if (availableIn != 0)
            throw std::runtime_error("Brotli: " + std::to_string(availableIn) + " bytes after the end of the stream");
        if (availableOut != 0)
            throw std::runtime_error("Brotli: the data decompresses to " + std::to_string(decoded.size() - availableOut)
                                     + " bytes, expected " + std::to_string(decoded.size()));
        return;
    case BROTLI_DECODER_RESULT_NEEDS_MORE_OUTPUT:
        throw std::runtime_error("Brotli: the data decompresses to more than the expected "
                                 + std::to_string(decoded.size()) + " bytes");
    case BROTLI_DECODER_RESULT_NEEDS_MORE_INPUT: throw std::runtime_error("Brotli: the stream is truncated");
    default: throw decodeError(decoder.get());
    }
}

} // namespace Core
