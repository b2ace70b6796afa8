#pragma once

#include "InputSet.h"
#include "RecordConverter.h"

#include <cstdint>
#include <memory>

namespace Index {

// Reads a run of an input's points, as output records, a block at a time; several readers may
// read one file at once. LAS records are read and converted directly, LAZ points through LASzip,
// which starts decompressing at the chunk that holds the run's first point.
class SegmentReader {
public:
    virtual ~SegmentReader() = default;
    // Up to `maximum` records into `out`; 0 at the end of the run. Throws std::runtime_error
    // naming the file and the point when it is truncated or corrupt.
    virtual std::size_t read(char* out, std::size_t maximum) = 0;

    static std::unique_ptr<SegmentReader> open(const InputFile& input, const PointLayout& layout, std::uint64_t first,
                                               std::uint64_t count);
};

} // namespace Index
