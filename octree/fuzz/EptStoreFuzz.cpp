// A whole EPT store from one input: ept.json, hierarchy files and node data of any of the three
// encodings (see Fuzz::splitFiles), opened and walked as the renderer and `lumaro points` do.
// Opening and every node either succeed or fail with std::runtime_error; anything else is a
// finding.
#include "MemoryStore.h"

#include <lumaro/octree/entwine/EntwineTree.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Fuzz::openAndWalk<Entwine::EntwineTree>("/memory", Fuzz::splitFiles({reinterpret_cast<const char*>(data), size}),
                                            Fuzz::decodeStoredPoints<Entwine::EntwineTree>);
    return 0;
}
