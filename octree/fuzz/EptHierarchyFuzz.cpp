// EPT's JSON files: the same bytes as a hierarchy file and as ept.json. Parsing must either
// succeed or throw std::runtime_error.
#include <lumaro/octree/entwine/Hierarchy.h>
#include <lumaro/octree/entwine/Metadata.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        for (const auto& [key, count] : Entwine::Hierarchy::parseFile(text, "fuzz.json")) {
            // Every accepted key must name a node and print back to the text it came from.
            if (Entwine::Key::parse(key.toString()) != key || count < -1) {
                __builtin_trap();
            }
            key.nodeId();
        }
    } catch (const std::runtime_error&) {
    }
    try {
        Entwine::Metadata::parse(text, "ept.json");
    } catch (const std::runtime_error&) {
    }
    return 0;
}
