// Stores on web servers: nginx serves the test data over HTTP and HTTPS, and the tests' own
// fault-injecting server (scripts/fault-server.py) serves it with the faults of real networks.
// Both are started by the CTest fixture web_server, which writes their URLs to LUMARO_WEB_SERVER.
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/OperationCancelled.h>
#include <lumaro/octree/potree/FileSystemLocation.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/testsupport/TestStores.h>

#include "http/HttpStoreReader.h"
#include "SameStorePoints.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Octree::HttpStoreReader;
using Octree::OctreeNodeId;

const TestSupport::WebServers& webServer()
{
    static const TestSupport::WebServers servers = [] {
        const auto found = TestSupport::webServers();
        if (!found)
            throw std::runtime_error("LUMARO_WEB_SERVER is not set: run these tests through ctest");
        return *found;
    }();
    return servers;
}

class RemoteStore : public ::testing::TestWithParam<const char*> {};

TEST_P(RemoteStore, DecodesToExactlyThePointsOfTheSameStoreOnDisk)
{
    const auto local = Octree::Octree::open(PoTree::FileSystemLocation(TestSupport::testStore(GetParam())));
    const auto remote = Octree::Octree::open(Octree::WebLocation(webServer().http + "/" + GetParam()));
    EXPECT_EQ(remote->location().toString(), webServer().http + "/" + GetParam());
    expectSamePoints(*remote, *local);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RemoteStore,
                         ::testing::Values("potree2/1.2-with-color-brotli", "potree2/autzen_trim-default",
                                           "ept/lion_takanawa-laszip", "ept/ellipsoid-zstandard",
                                           "copc/1.2-with-color.copc.laz"));

// Native only: Schannel, the Windows build's TLS, checks certificates against Windows' store,
// which Wine's does not hold the tests' authority in; the CA bundle option is honoured by the
// OpenSSL build.
#ifndef _WIN32
TEST(RemoteStore, HttpsWithTheTestsOwnCertificateAuthority)
{
    ::setenv("CURL_CA_BUNDLE", webServer().ca.c_str(), 1);
    const auto local =
        Octree::Octree::open(PoTree::FileSystemLocation(TestSupport::testStore("copc/1.2-with-color.copc.laz")));
    const auto remote = Octree::Octree::open(Octree::WebLocation(webServer().https + "/copc/1.2-with-color.copc.laz"));
    expectSamePoints(*remote, *local);
    ::unsetenv("CURL_CA_BUNDLE");
    // Without the authority the certificate is refused, naming the URL.
    try {
        Octree::Octree::open(Octree::WebLocation(webServer().https + "/copc/1.2-with-color.copc.laz"));
        ADD_FAILURE() << "an unknown authority was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find(webServer().https), std::string::npos) << error.what();
    }
}
#endif

TEST(RemoteLocation, TwoUrlsOfOneStoreAreOneLocation)
{
    const Octree::WebLocation canonical("https://example.org/scans/site");
    for (const char* same :
         {"HTTPS://Example.ORG/scans/site", "https://example.org:443/scans/site/",
          "https://example.org/scans/site/metadata.json", "https://example.org/scans/site/ept.json"}) {
        EXPECT_EQ(Octree::WebLocation(same), canonical) << same;
        EXPECT_EQ(std::hash<Octree::Location>()(Octree::WebLocation(same)), std::hash<Octree::Location>()(canonical));
    }
    EXPECT_NE(Octree::WebLocation("http://example.org/scans/site"), canonical);
    EXPECT_NE(Octree::WebLocation("https://example.org/scans/Site"), canonical);
    EXPECT_TRUE(Octree::locationOf("http://example.org/a").isUrl());
    EXPECT_FALSE(Octree::locationOf("/data/a").isUrl());
    EXPECT_THROW(Octree::WebLocation("ftp://example.org/a"), std::invalid_argument);
}

// Each fault of the fault server, read as a range of the COPC file. Retried faults pass when they
// stop in time; the others fail at once, naming the URL and the problem.
struct Fault {
    const char* name;
    std::string prefix;
    const char* problem; // nullptr: the read succeeds
};

void PrintTo(const Fault& fault, std::ostream* out)
{
    *out << fault.name;
}

class RemoteFault : public ::testing::TestWithParam<Fault> {};

TEST_P(RemoteFault, IsRetriedOrFailsNamingTheUrl)
{
    Octree::HttpPolicy quick;
    quick.firstRetryDelay = 10ms;
    const std::string base = webServer().faults + "/" + GetParam().prefix + "/copc";
    const HttpStoreReader reader(base, quick);
    const std::string local = Core::readLocalFile(TestSupport::testStore("copc/1.2-with-color.copc.laz"));
    const std::uint64_t offset = 28853;
    const std::uint64_t size = 665;
    if (!GetParam().problem) {
        EXPECT_EQ(reader.readRange("1.2-with-color.copc.laz", offset, size, {}), local.substr(offset, size));
        return;
    }
    try {
        reader.readRange("1.2-with-color.copc.laz", offset, size, {});
        ADD_FAILURE() << "no failure";
    } catch (const std::runtime_error& error) {
        const std::string message = error.what();
        EXPECT_NE(message.find(base + "/1.2-with-color.copc.laz"), std::string::npos) << message;
        EXPECT_NE(message.find(GetParam().problem), std::string::npos) << message;
        if (std::string(GetParam().problem).find("attempts") == std::string::npos)
            EXPECT_EQ(message.find("attempts"), std::string::npos) << "retried: " << message;
    }
    // A server that sends the whole file is cut off at once.
    EXPECT_LT(reader.bytesReceived(), local.size());
}

INSTANTIATE_TEST_SUITE_P(
    Faults, RemoteFault,
    ::testing::Values(Fault{"Good", "ok", nullptr}, Fault{"TwoServiceUnavailable", "status/503/2", nullptr},
                      Fault{"OneDroppedConnection", "drop/1", nullptr},
                      Fault{"ServiceUnavailableForGood", "status/503/100", "HTTP 503 (after 4 attempts)"},
                      Fault{"NotFound", "status/404/100", "HTTP 404"}, Fault{"Forbidden", "status/403/100", "HTTP 403"},
                      Fault{"RangeIgnored", "ignore-range", "ignored the Range request"},
                      Fault{"WrongRange", "wrong-range", "answered with the range 'bytes 28854-29518"},
                      Fault{"TruncatedBody", "truncate", "after 4 attempts"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(RemoteFault, AStopEndsATransferInProgress)
{
    // The slow server sends a byte every 100 ms: the whole range would take a minute.
    const HttpStoreReader reader(webServer().faults + "/slow/copc");
    std::stop_source stop;
    std::chrono::steady_clock::time_point stopped;
    std::thread stopper([&] {
        std::this_thread::sleep_for(300ms);
        stopped = std::chrono::steady_clock::now();
        stop.request_stop();
    });
    EXPECT_THROW(reader.readRange("1.2-with-color.copc.laz", 0, 600, stop.get_token()), Octree::OperationCancelled);
    const auto ended = std::chrono::steady_clock::now();
    stopper.join();
    EXPECT_LT(ended - stopped, 1s) << "the transfer went on after the stop";
}

} // namespace
