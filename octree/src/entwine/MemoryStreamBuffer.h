#pragma once

#include <ios>
#include <streambuf>
#include <string_view>

namespace Entwine {

// A read-only, seekable stream buffer over bytes in memory, so that readers that want a
// std::istream can read a file that is already loaded without copying it.
class MemoryStreamBuffer : public std::streambuf {
public:
    explicit MemoryStreamBuffer(std::string_view bytes)
    {
        // The get area is never written through; std::streambuf just has no const variant.
        char* begin = const_cast<char*>(bytes.data());
        setg(begin, begin, begin + bytes.size());
    }

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode which) override
    {
        if (!(which & std::ios_base::in)) {
            return pos_type(off_type(-1));
        }
        off_type base = 0;
        if (direction == std::ios_base::cur) {
            base = gptr() - eback();
        } else if (direction == std::ios_base::end) {
            base = egptr() - eback();
        }
        const off_type target = base + offset;
        if (target < 0 || target > egptr() - eback()) {
            return pos_type(off_type(-1));
        }
        setg(eback(), eback() + target, egptr());
        return pos_type(target);
    }

    pos_type seekpos(pos_type position, std::ios_base::openmode which) override
    {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }
};

} // namespace Entwine
