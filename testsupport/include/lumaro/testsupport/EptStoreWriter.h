#pragma once

#include <lumaro/testsupport/PotreeEncoding.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace TestSupport {

// One point of the small schema that synthetic EPT stores use.
struct EptTestPoint {
    std::int32_t x = 0, y = 0, z = 0; // stored integers
    std::uint16_t intensity = 0;
    std::uint8_t classification = 0;
    std::uint16_t red = 0, green = 0, blue = 0;
    std::uint32_t originId = 0;
};

// The schema of EptTestPoint records: X, Y, Z int32 with scale 0.01 and offsets 100, 200, 300;
// Intensity uint16; Classification uint8; Red, Green, Blue uint16; OriginId uint32 (25 bytes).
nlohmann::json eptTestSchema();

// The record of a point in that schema, packed little-endian by hand.
std::string eptTestRecord(const EptTestPoint& point);

// ept.json of a store whose root cube is [100, 116] x [200, 216] x [300, 316], span 16.
nlohmann::json eptTestMetadata(const std::string& dataType, std::uint64_t points);

// An EPT store in a temporary folder; files are written with their folders.
class EptTestStore {
public:
    EptTestStore() = default;
    const std::filesystem::path& path() const { return mFolder.path(); }
    void write(const std::string& relativePath, std::string_view bytes) const;
    void writeJson(const std::string& relativePath, const nlohmann::json& json) const
    {
        write(relativePath, json.dump());
    }

private:
    TemporaryFolder mFolder;
};

} // namespace TestSupport
