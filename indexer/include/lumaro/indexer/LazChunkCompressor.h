#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Index {

// Compresses point records of LAS 1.4 format 6, 7 or 8 (with `extraBytes` extra bytes after the
// format's fields) into one LASzip chunk each, the unit of a COPC node. LASzip's public API writes
// whole LAZ files and cannot end a chunk of any size, so the records are written as a LAZ stream
// of their own whose one chunk holds them all, and that chunk's bytes are cut out of it.
class LazChunkCompressor {
public:
    LazChunkCompressor(unsigned format, std::size_t extraBytes);

    std::size_t recordLength() const { return mRecordLength; }

    // The chunk holding `count` records laid out back to back in `records`. Throws
    // std::runtime_error with LASzip's message when it fails.
    std::string compress(std::string_view records, std::size_t count) const;

    // The data of the LASzip record ("laszip encoded"/22204) that describes such chunks, with the
    // chunk size set to variable (0xFFFFFFFF) as COPC files have it.
    const std::string& laszipRecord() const { return mLaszipRecord; }

private:
    std::string compressAndFrame(std::string_view records, std::size_t count, std::string* laszipRecord) const;

    unsigned mFormat;
    std::size_t mExtraBytes;
    std::size_t mRecordLength;
    std::string mLaszipRecord;
};

} // namespace Index
