#pragma once

#include <lumaro/testsupport/TemporaryFolder.h>

#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <string>

namespace TestSupport {

// A store of the repository's test data, e.g. testStore("potree2/autzen_trim-brotli").
std::filesystem::path testStore(const std::string& relativePath);

// The reference facts that an independent reader recorded beside a store (facts.json).
nlohmann::json storeFacts(const std::filesystem::path& store);

// The base URLs of the tests' web servers (plain, TLS, and the one that injects faults) and the
// certificate authority of the TLS one, as the web_server fixture wrote them into the file that
// LUMARO_WEB_SERVER names; nothing when that variable is not set.
struct WebServers {
    std::string http;
    std::string https;
    std::string faults;
    std::string ca;
};
std::optional<WebServers> webServers();

// The ellipsoid-binary EPT store with its node file restored from the zstandard store's node,
// which the binary original is byte-identical to (the repository keeps only one of the two).
class RestoredEptBinaryStore {
public:
    RestoredEptBinaryStore();
    const std::filesystem::path& path() const { return mFolder.path(); }

private:
    TemporaryFolder mFolder;
};

} // namespace TestSupport
