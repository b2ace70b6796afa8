// Absurd sizes are refused before anything is allocated for them: each case runs in a child
// process whose address space may grow by only 512 MiB, far less than the claim, and passes when
// the claim is refused with its message. Had the reader believed the claim, the allocation would
// fail instead (or the program would be killed), and the message would be another.
//
// The program and everything it reads with are built without sanitizers: they reserve terabytes of
// address space at start, which no address-space limit leaves room for.
#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>
#include <lumaro/graphics/ImagePanoramaLoader.h>
#include <lumaro/octree/Octree.h>
#include <lumaro/octree/copc/FileHead.h>
#include <lumaro/octree/potree/FileSystemLocation.h>
#include <lumaro/render/renderables/MeshLoader.h>

#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/testsupport/CopcFileWriter.h>
#include <lumaro/testsupport/EptStoreWriter.h>
#include <lumaro/testsupport/PotreeEncoding.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>

namespace {

using TestSupport::bytesOf;
using TestSupport::TemporaryFolder;

constexpr std::uint64_t HEADROOM = std::uint64_t{512} << 20;

// The address space this process has now, plus the headroom, as its limit.
void limitAddressSpace()
{
    long pages = 0;
    if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld", &pages) != 1)
            pages = 0;
        std::fclose(statm);
    }
    const rlim_t limit = static_cast<rlim_t>(pages) * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + HEADROOM;
    const rlimit bounds{limit, limit};
    if (pages == 0 || ::setrlimit(RLIMIT_AS, &bounds) != 0)
        std::_Exit(3);
}

// Runs `action` under the limit in a child; the child exits 0 with the refusal's message on stderr,
// 2 when an allocation failed, 1 when the claim was read without complaint.
template <typename Action>
void refuseUnderLimit(Action action)
{
    limitAddressSpace();
    try {
        action();
    } catch (const std::bad_alloc&) {
        std::cerr << "an allocation failed: the claim was believed";
        std::_Exit(2);
    } catch (const std::exception& error) {
        std::cerr << error.what();
        std::_Exit(0);
    }
    std::_Exit(1);
}

#define EXPECT_REFUSED(action, message)                                                                                \
    EXPECT_EXIT(refuseUnderLimit([&] { action; }), ::testing::ExitedWithCode(0), message)

void writeFile(const std::filesystem::path& path, const std::string& bytes)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

std::string bigEndian32(std::uint32_t value)
{
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

// A PNG of one IHDR that claims the size (8-bit RGBA, or grey), and a few bytes of pixel data
// (stb checks no CRCs).
std::string pngClaiming(std::uint32_t width, std::uint32_t height, bool grey = false)
{
    const std::string ihdr = bigEndian32(width) + bigEndian32(height)
        + std::string(grey ? "\x08\x00\x00\x00\x00" : "\x08\x06\x00\x00\x00", 5);
    const std::string idat("\x78\x01\x01\x00\x00\xff\xff\x00\x00\x00\x01", 11); // an empty stored zlib block
    return std::string("\x89PNG\r\n\x1a\n", 8) + bigEndian32(13) + "IHDR" + ihdr + "CRC!" + bigEndian32(11) + "IDAT"
        + idat + "CRC!" + bigEndian32(0) + "IEND" + "CRC!";
}

// A baseline JPEG whose frame header claims the size (16 bits a side at most).
std::string jpegClaiming(std::uint16_t width, std::uint16_t height)
{
    std::string quantization("\xFF\xDB\x00\x43\x00", 5);
    quantization += std::string(64, '\x01');
    const std::string frame = std::string("\xFF\xC0\x00\x0B\x08", 5) + static_cast<char>(height >> 8)
        + static_cast<char>(height & 0xFF) + static_cast<char>(width >> 8) + static_cast<char>(width & 0xFF)
        + std::string("\x01\x01\x11\x00", 4);
    return std::string("\xFF\xD8", 2) + quantization + frame + std::string("\xFF\xD9", 2);
}

std::string hdrClaiming(std::uint32_t width, std::uint32_t height)
{
    return "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y " + std::to_string(height) + " +X " + std::to_string(width) + "\n"
        + std::string(64, '\x01');
}

TEST(SizeLimit, ImageHeadersClaimingMorePixelsThanAnImageMayHave)
{
    const TemporaryFolder folder;
    // stb refuses PNG headers of more than a gigabyte of pixel bytes itself.
    const auto png = folder.write("huge.png", pngClaiming(100000, 100000));
    EXPECT_REFUSED(Graphics::ColorImage::read(png), "huge.png': ");
    // Below that, this grey image would be decoded into 3.6 GB of RGBA; and one just over the limit.
    const auto grey = folder.write("grey.png", pngClaiming(30000, 30000, true));
    const auto justOver = folder.write("just-over.png", pngClaiming(16385, 16385, true));
    const auto jpeg = folder.write("huge.jpg", jpegClaiming(65535, 65535));
    const auto hdr = folder.write("huge.hdr", hdrClaiming(100000, 100000));
    EXPECT_REFUSED(Graphics::ColorImage::read(grey), "grey.png' claims 30000 x 30000 pixels");
    EXPECT_REFUSED(Graphics::ColorImage::read(justOver), "just-over.png' claims 16385 x 16385 pixels");
    EXPECT_REFUSED(Graphics::ColorImage::read(jpeg), "huge.jpg' claims 65535 x 65535 pixels");
    EXPECT_REFUSED(Graphics::DepthImage::readHdr(hdr), "huge.hdr' claims 100000 x 100000 pixels");
    EXPECT_REFUSED(Graphics::ImagePanoramaLoader::equirectangular(grey, hdr), "grey.png' claims 30000 x 30000 pixels");
    EXPECT_REFUSED(Graphics::ImagePanoramaLoader::cubeMap({jpeg, jpeg, jpeg, jpeg, jpeg, jpeg}),
                   "huge.jpg' claims 65535 x 65535 pixels");
}

// An OBJ file as a pipe that a thread fills with `head` and then `line` a billion times (or until
// the reader closes it): a file of gigabytes that no disk has to hold.
class EndlessObj {
public:
    EndlessObj(const TemporaryFolder& folder, const std::string& name, std::string head, std::string line)
        : mPath(folder.path() / name)
    {
        if (::mkfifo(mPath.c_str(), 0600) != 0)
            throw std::runtime_error("cannot make the pipe " + mPath.string());
        mWriter = std::thread([path = mPath, head = std::move(head), line = std::move(line)] {
            std::signal(SIGPIPE, SIG_IGN);
            std::ofstream out(path, std::ios::binary);
            out << head;
            for (std::uint64_t n = 0; n < 1000000000 && out; ++n)
                out << line;
        });
    }
    ~EndlessObj() { mWriter.detach(); }
    const std::filesystem::path& path() const { return mPath; }

private:
    std::filesystem::path mPath;
    std::thread mWriter;
};

void loadObj(const std::filesystem::path& path)
{
    Render::createObjMeshLoader(path)->load([](const Render::MeshLoader::Part&) {});
}

TEST(SizeLimit, ObjFilesOfABillionFacesOrVertices)
{
    const TemporaryFolder folder;
    EXPECT_REFUSED(loadObj(EndlessObj(folder, "faces.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n", "f 1 2 3\n").path()),
                   "faces.obj: it has more than 33554432 triangles");
    EXPECT_REFUSED(loadObj(EndlessObj(folder, "vertices.obj", "", "v 0 0 0\n").path()),
                   "vertices.obj: it has more than 33554432 v records");
    // One polygon of a billion corners, on one line.
    EXPECT_REFUSED(loadObj(EndlessObj(folder, "polygon.obj", "v 0 0 0\nf", " 1").path()),
                   "polygon.obj: line 2 is longer than 16777216 bytes");
}

std::shared_ptr<Octree::Octree> open(const std::filesystem::path& store)
{
    return Octree::Octree::open(PoTree::FileSystemLocation(store));
}

void readRoot(const std::filesystem::path& store)
{
    open(store)->nodePointData(Octree::OctreeNodeId::root(), {});
}

TEST(SizeLimit, PotreeHierarchiesClaimingMoreThanTheirFilesHold)
{
    const TemporaryFolder folder;
    const std::vector<std::pair<std::string, int>> attributes{{"position", 12}, {"intensity", 2}};
    // metadata.json claims a first hierarchy chunk of a terabyte (fifty billion records).
    folder.write("chunk/metadata.json", TestSupport::syntheticMetadata("BROTLI", attributes, 2, 22ull << 40).dump());
    folder.write("chunk/hierarchy.bin", TestSupport::hierarchyRecord(0, 0, 2, 0, 10));
    folder.write("chunk/octree.bin", std::string(10, '\0'));
    EXPECT_REFUSED(open(folder.path() / "chunk"), "hierarchy.bin' \\(22 bytes\\)");
    // The root's child is a proxy whose chunk would be a terabyte.
    folder.write("proxy/metadata.json", TestSupport::syntheticMetadata("BROTLI", attributes, 2, 44).dump());
    folder.write("proxy/hierarchy.bin",
                 TestSupport::hierarchyRecord(0, 0x01, 2, 0, 10)
                     + TestSupport::hierarchyRecord(2, 0, 0, 0, 22ull << 40));
    folder.write("proxy/octree.bin", std::string(10, '\0'));
    EXPECT_REFUSED(open(folder.path() / "proxy")->children(Octree::OctreeNodeId::root().child(0)),
                   "hierarchy.bin' \\(44 bytes\\)");
    // The root claims four billion points of a store that claims a trillion.
    for (const char* encoding : {"BROTLI", "DEFAULT"}) {
        const std::string store = std::string("points-") + encoding;
        folder.write(store + "/metadata.json",
                     TestSupport::syntheticMetadata(encoding, attributes, 1ull << 40, 22).dump());
        folder.write(store + "/hierarchy.bin", TestSupport::hierarchyRecord(0, 0, 4000000000u, 0, 10));
        folder.write(store + "/octree.bin", std::string(10, '\0'));
        EXPECT_REFUSED(readRoot(folder.path() / store), "node r claims 4000000000 points of");
    }
}

TEST(SizeLimit, EptNodesClaimingMorePointsThanAnyNodeHolds)
{
    for (const char* dataType : {"binary", "zstandard", "laszip"}) {
        const TestSupport::EptTestStore store;
        const std::string extension = dataType == std::string("binary") ? "bin"
            : dataType == std::string("laszip")                         ? "laz"
                                                                        : "zst";
        store.writeJson("ept.json", TestSupport::eptTestMetadata(dataType, 1ull << 40));
        store.writeJson("ept-hierarchy/0-0-0-0.json", {{"0-0-0-0", 1ull << 36}});
        store.write("ept-data/0-0-0-0." + extension, std::string(100, '\0'));
        EXPECT_REFUSED(readRoot(store.path()), "node 0-0-0-0 claims 68719476736 points of 25 bytes");
    }
}

TEST(SizeLimit, CopcFilesClaimingMoreThanTheyHold)
{
    const TemporaryFolder folder;
    TestSupport::CopcNode root{"0-0-0-0", {}};
    for (std::int32_t i = 0; i < 16; ++i)
        root.points.push_back({{i, i, i}, 1, 2, 3, {4, 5, 6}, 0, {}});
    const auto original = folder.path() / "original.copc.laz";
    TestSupport::writeCopcFile(original, {root}, {});
    const std::string bytes = Core::readLocalFile(original);
    const Copc::FileHead head = Copc::FileHead::parse(bytes, bytes.size(), original);

    // The root's entry (the root page's first), its chunk and the header claim two billion points.
    std::string claimed = bytes;
    const std::uint32_t billions = 0x7FFFFFFF;
    claimed.replace(247, 8, bytesOf(std::uint64_t{billions}));
    claimed.replace(head.rootPageOffset + 28, 4, bytesOf(billions));
    std::uint64_t chunkOffset = 0;
    std::memcpy(&chunkOffset, bytes.data() + head.rootPageOffset + 16, sizeof chunkOffset);
    claimed.replace(chunkOffset + head.recordLength, 4, bytesOf(billions));
    const auto points = folder.write("points.copc.laz", claimed);
    EXPECT_REFUSED(readRoot(points),
                   "node 0-0-0-0 \\(the chunk at byte [0-9]+\\): claims 2147483647 points of 36 bytes");

    // The root page claims a terabyte.
    std::string page = bytes;
    page.replace(375 + 54 + 48, 8, bytesOf(std::uint64_t{32} << 40));
    const auto pages = folder.write("page.copc.laz", page);
    EXPECT_REFUSED(open(pages), "places the root hierarchy page \\(35184372088832 bytes");
}

} // namespace
