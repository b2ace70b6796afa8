// LAS headers, variable-length records and point records as the indexer reads them: any bytes
// must either parse, with every record converted within the file's bounds, or be refused with
// std::runtime_error; never crash, hang or read outside the input.
#include "LasHeader.h"
#include "PointRecord.h"
#include "RecordConverter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view file(reinterpret_cast<const char*>(data), size);
    try {
        const std::uint64_t needed = Index::LasHeader::bytesNeeded(file, size, "fuzz.las");
        const Index::LasHeader header = Index::LasHeader::parse(file.substr(0, needed), size, "fuzz.las");
        if (header.compressed) {
            return 0; // LASzip's own decoding is not ours to fuzz
        }
        const unsigned format = header.pointFormat;
        const Index::PointLayout layout{Index::lasFormatHasNearInfrared(format) ? 8u
                                            : Index::lasFormatHasColor(format)  ? 7u
                                                                                : 6u,
                                        header.extraBytes()};
        const Index::RecordConverter converter(format, header.recordLength, layout, {}, "fuzz.las");
        std::vector<char> out(layout.recordLength());
        const std::uint64_t count = std::min<std::uint64_t>(header.pointCount, 4096);
        for (std::uint64_t i = 0; i < count; ++i) {
            converter.fromLas(file.data() + header.pointDataOffset + i * header.recordLength, out.data(), i);
        }
    } catch (const std::runtime_error&) {
    }
    return 0;
}
