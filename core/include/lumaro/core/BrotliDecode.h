#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace Core {

// Decompresses a complete Brotli stream. Throws std::runtime_error when the data is corrupt or
// truncated, or when it would decompress to more than `maxDecodedSize` bytes.
std::string brotliDecode(std::string_view compressed, std::size_t maxDecodedSize = std::size_t(1) << 32);

// Decompresses into a caller-owned buffer that must receive exactly `decoded.size()` bytes;
// throws when the stream is corrupt or decodes to any other length.
void brotliDecodeExact(std::string_view compressed, std::span<std::byte> decoded);

} // namespace Core
