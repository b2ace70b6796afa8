#include "SegmentReader.h"

#include <laszip/laszip_api.h>

#include <fstream>
#include <stdexcept>
#include <vector>

namespace Index {

namespace {

class LasSegmentReader final : public SegmentReader {
public:
    LasSegmentReader(const InputFile& input, const PointLayout& layout, std::uint64_t first, std::uint64_t count)
        : mInput(input),
          mLayout(layout),
          mConverter(input.header.pointFormat, input.header.recordLength, layout, input.grid, input.name),
          mStream(input.path, std::ios::binary),
          mNext(first),
          mEnd(first + count)
    {
        mStream.seekg(static_cast<std::streamoff>(input.header.pointDataOffset + first * input.header.recordLength));
        if (!mStream) {
            throw std::runtime_error(input.name + ": cannot open it for reading");
        }
    }

    std::size_t read(char* out, std::size_t maximum) override
    {
        const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(maximum, mEnd - mNext));
        const std::size_t inputLength = mInput.header.recordLength;
        mBuffer.resize(count * inputLength);
        mStream.read(mBuffer.data(), static_cast<std::streamsize>(mBuffer.size()));
        if (!mStream) {
            throw std::runtime_error(mInput.name + ": the file ends before point " + std::to_string(mNext + count)
                                     + " of the " + std::to_string(mInput.header.pointCount) + " its header counts");
        }
        const std::size_t outputLength = mLayout.recordLength();
        for (std::size_t i = 0; i < count; ++i) {
            mConverter.fromLas(mBuffer.data() + i * inputLength, out + i * outputLength, mNext + i);
        }
        mNext += count;
        return count;
    }

private:
    const InputFile& mInput;
    PointLayout mLayout;
    RecordConverter mConverter;
    std::ifstream mStream;
    std::vector<char> mBuffer;
    std::uint64_t mNext;
    std::uint64_t mEnd;
};

class LazSegmentReader final : public SegmentReader {
public:
    LazSegmentReader(const InputFile& input, const PointLayout& layout, std::uint64_t first, std::uint64_t count)
        : mInput(input),
          mLayout(layout),
          mConverter(input.header.pointFormat, input.header.recordLength, layout, input.grid, input.name),
          mStream(input.path, std::ios::binary),
          mNext(first),
          mEnd(first + count)
    {
        if (!mStream) {
            throw std::runtime_error(input.name + ": cannot open it for reading");
        }
        if (!mLaszip.handle) {
            throw std::runtime_error(input.name + ": cannot create a LASzip reader");
        }
        laszip_BOOL compressed = 0;
        check(laszip_open_reader_stream(mLaszip.handle, mStream, &compressed), "read it");
        mLaszip.open = true;
        laszip_header* header = nullptr;
        check(laszip_get_header_pointer(mLaszip.handle, &header), "give its header");
        const std::uint64_t total = header->number_of_point_records != 0 ? header->number_of_point_records
                                                                         : header->extended_number_of_point_records;
        if (total != input.header.pointCount) {
            throw std::runtime_error(input.name + ": LASzip counts " + std::to_string(total) + " points, its header "
                                     + std::to_string(input.header.pointCount));
        }
        if (first > 0) {
            check(laszip_seek_point(mLaszip.handle, static_cast<laszip_I64>(first)),
                  "find point " + std::to_string(first));
        }
        check(laszip_get_point_pointer(mLaszip.handle, &mPoint), "give its point");
    }

    std::size_t read(char* out, std::size_t maximum) override
    {
        const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(maximum, mEnd - mNext));
        const std::size_t outputLength = mLayout.recordLength();
        for (std::size_t i = 0; i < count; ++i) {
            check(laszip_read_point(mLaszip.handle), "decompress point " + std::to_string(mNext + i));
            mConverter.fromLaszip(*mPoint, out + i * outputLength, mNext + i);
        }
        mNext += count;
        return count;
    }

private:
    void check(laszip_I32 status, const std::string& action) const
    {
        if (status != 0) {
            laszip_CHAR* message = nullptr;
            laszip_get_error(mLaszip.handle, &message);
            throw std::runtime_error(mInput.name + ": LASzip cannot " + action + ": "
                                     + (message && *message ? message : "the file is truncated or corrupt"));
        }
    }

    const InputFile& mInput;
    PointLayout mLayout;
    RecordConverter mConverter;
    std::ifstream mStream;
    // Owns the LASzip reader, so that a constructor that fails half-way releases it.
    struct Laszip {
        Laszip() { laszip_create(&handle); }
        ~Laszip()
        {
            if (open) {
                laszip_close_reader(handle);
            }
            if (handle) {
                laszip_destroy(handle);
            }
        }
        Laszip(const Laszip&) = delete;
        Laszip& operator=(const Laszip&) = delete;
        laszip_POINTER handle = nullptr;
        bool open = false;
    } mLaszip;
    laszip_point* mPoint = nullptr;
    std::uint64_t mNext;
    std::uint64_t mEnd;
};

} // namespace

std::unique_ptr<SegmentReader> SegmentReader::open(const InputFile& input, const PointLayout& layout,
                                                   std::uint64_t first, std::uint64_t count)
{
    if (input.header.compressed) {
        return std::make_unique<LazSegmentReader>(input, layout, first, count);
    }
    return std::make_unique<LasSegmentReader>(input, layout, first, count);
}

} // namespace Index
