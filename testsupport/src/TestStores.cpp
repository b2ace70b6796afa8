#include <lumaro/testsupport/TestStores.h>

#include <lumaro/core/ReadLocalFile.h>

#include <zstd.h>

#include <cstdlib>
#include <stdexcept>

namespace TestSupport {

std::filesystem::path testStore(const std::string& relativePath)
{
    return std::filesystem::path(LUMARO_TEST_DATA_DIR) / relativePath;
}

nlohmann::json storeFacts(const std::filesystem::path& store)
{
    return nlohmann::json::parse(Core::readLocalFile(store / "facts.json"));
}

std::optional<WebServers> webServers()
{
    const char* file = std::getenv("LUMARO_WEB_SERVER");
    if (!file)
        return std::nullopt;
    const nlohmann::json servers = nlohmann::json::parse(Core::readLocalFile(file));
    return WebServers{servers["http"], servers["https"], servers["faults"], servers["ca"]};
}

RestoredEptBinaryStore::RestoredEptBinaryStore()
{
    const std::filesystem::path binary = testStore("ept/ellipsoid-binary");
    mFolder.write("ept.json", Core::readLocalFile(binary / "ept.json"));
    mFolder.write("facts.json", Core::readLocalFile(binary / "facts.json"));
    mFolder.write("ept-hierarchy/0-0-0-0.json", Core::readLocalFile(binary / "ept-hierarchy" / "0-0-0-0.json"));
    const std::string packed = Core::readLocalFile(testStore("ept/ellipsoid-zstandard/ept-data/0-0-0-0.zst"));
    // 100000 records of 44 bytes.
    std::string records(100000 * 44, '\0');
    const std::size_t size = ZSTD_decompress(records.data(), records.size(), packed.data(), packed.size());
    if (ZSTD_isError(size) || size != records.size())
        throw std::runtime_error("cannot restore the binary node of ellipsoid-binary");
    mFolder.write("ept-data/0-0-0-0.bin", records);
}

} // namespace TestSupport
