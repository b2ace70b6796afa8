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
        : m_input(input),
          m_layout(layout),
          m_converter(input.header.pointFormat, input.header.recordLength, layout, input.grid, input.name),
          m_stream(input.path, std::ios::binary),
          m_next(first),
          m_end(first + count)
    {
        m_stream.seekg(static_cast<std::streamoff>(input.header.pointDataOffset + first * input.header.recordLength));
        if (!m_stream) {
            throw std::runtime_error(input.name + ": cannot open it for reading");
        }
    }

    std::size_t read(char* out, std::size_t maximum) override
    {
        const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(maximum, m_end - m_next));
        const std::size_t inputLength = m_input.header.recordLength;
        m_buffer.resize(count * inputLength);
        m_stream.read(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
        if (!m_stream) {
            throw std::runtime_error(m_input.name + ": the file ends before point " + std::to_string(m_next + count)
                                     + " of the " + std::to_string(m_input.header.pointCount) + " its header counts");
        }
        const std::size_t outputLength = m_layout.recordLength();
        for (std::size_t i = 0; i < count; ++i) {
            m_converter.fromLas(m_buffer.data() + i * inputLength, out + i * outputLength, m_next + i);
        }
        m_next += count;
        return count;
    }

private:
    const InputFile& m_input;
    PointLayout m_layout;
    RecordConverter m_converter;
    std::ifstream m_stream;
    std::vector<char> m_buffer;
    std::uint64_t m_next;
    std::uint64_t m_end;
};

class LazSegmentReader final : public SegmentReader {
public:
    LazSegmentReader(const InputFile& input, const PointLayout& layout, std::uint64_t first, std::uint64_t count)
        : m_input(input),
          m_layout(layout),
          m_converter(input.header.pointFormat, input.header.recordLength, layout, input.grid, input.name),
          m_stream(input.path, std::ios::binary),
          m_next(first),
          m_end(first + count)
    {
        if (!m_stream) {
            throw std::runtime_error(input.name + ": cannot open it for reading");
        }
        if (!m_laszip.handle) {
            throw std::runtime_error(input.name + ": cannot create a LASzip reader");
        }
        laszip_BOOL compressed = 0;
        check(laszip_open_reader_stream(m_laszip.handle, m_stream, &compressed), "read it");
        m_laszip.open = true;
        laszip_header* header = nullptr;
        check(laszip_get_header_pointer(m_laszip.handle, &header), "give its header");
        const std::uint64_t total = header->number_of_point_records != 0 ? header->number_of_point_records
                                                                         : header->extended_number_of_point_records;
        if (total != input.header.pointCount) {
            throw std::runtime_error(input.name + ": LASzip counts " + std::to_string(total) + " points, its header "
                                     + std::to_string(input.header.pointCount));
        }
        if (first > 0) {
            check(laszip_seek_point(m_laszip.handle, static_cast<laszip_I64>(first)), "find point " + std::to_string(first));
        }
        check(laszip_get_point_pointer(m_laszip.handle, &m_point), "give its point");
    }

    std::size_t read(char* out, std::size_t maximum) override
    {
        const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(maximum, m_end - m_next));
        const std::size_t outputLength = m_layout.recordLength();
        for (std::size_t i = 0; i < count; ++i) {
            check(laszip_read_point(m_laszip.handle), "decompress point " + std::to_string(m_next + i));
            m_converter.fromLaszip(*m_point, out + i * outputLength, m_next + i);
        }
        m_next += count;
        return count;
    }

private:
    void check(laszip_I32 status, const std::string& action) const
    {
        if (status != 0) {
            laszip_CHAR* message = nullptr;
            laszip_get_error(m_laszip.handle, &message);
            throw std::runtime_error(m_input.name + ": LASzip cannot " + action + ": "
                                     + (message && *message ? message : "the file is truncated or corrupt"));
        }
    }

    const InputFile& m_input;
    PointLayout m_layout;
    RecordConverter m_converter;
    std::ifstream m_stream;
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
    } m_laszip;
    laszip_point* m_point = nullptr;
    std::uint64_t m_next;
    std::uint64_t m_end;
};

} // namespace

std::unique_ptr<SegmentReader> SegmentReader::open(const InputFile& input, const PointLayout& layout, std::uint64_t first,
                                                   std::uint64_t count)
{
    if (input.header.compressed) {
        return std::make_unique<LazSegmentReader>(input, layout, first, count);
    }
    return std::make_unique<LasSegmentReader>(input, layout, first, count);
}

} // namespace Index
