// A whole COPC file as the input: header, COPC info, LASzip record, hierarchy pages anywhere in
// the file and the node chunks, each framed as a LAZ file of its own and decoded by LASzip. Opened
// and walked as the renderer and `lumaro points` do; opening and every node either succeed or fail
// with std::runtime_error, anything else is a finding.
#include "MemoryStore.h"

#include <lumaro/octree/copc/CopcTree.h>

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // The store is one file, named by the empty name.
    Fuzz::openAndWalk<Copc::CopcTree>("/memory.copc.laz",
                                      {{"", std::string(reinterpret_cast<const char*>(data), size)}},
                                      Fuzz::decodeStoredPoints<Copc::CopcTree>);
    return 0;
}
