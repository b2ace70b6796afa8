#pragma once

#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Pieces of Potree 2.0 stores, written byte by byte for tests that build damaged or unusual stores.
namespace TestSupport {

// One 22-byte hierarchy record, little-endian.
std::string hierarchyRecord(std::uint8_t type, std::uint8_t childMask, std::uint32_t pointCount,
                            std::uint64_t byteOffset, std::uint64_t byteSize, std::uint8_t visibility = 0);

// A valid Brotli stream that stores `data` without compression (uncompressed meta-blocks), so
// tests can make node chunks without an encoder.
std::string brotliStored(std::string_view data);

// Encoders of the Brotli layout's codes, written bit by bit from the format's description.
std::string positionCode(std::uint32_t x, std::uint32_t y, std::uint32_t z);
std::string colorCode(std::uint16_t red, std::uint16_t green, std::uint16_t blue);

// Little-endian bytes of a value.
template <typename T>
std::string bytesOf(T value)
{
    std::string bytes(sizeof(T), '\0');
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        bytes[i] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 0xFFu);
    }
    return bytes;
}

// metadata.json of a small store: cube [0, 16]^3, scale 0.01, offset 0, spacing 0.125, with
// the given encoding ("BROTLI" or "DEFAULT") and attributes (name and size pairs in order).
nlohmann::json syntheticMetadata(const std::string& encoding,
                                 const std::vector<std::pair<std::string, int>>& attributes, std::uint64_t points,
                                 std::uint64_t firstChunkSize);

} // namespace TestSupport
