#include <lumaro/indexer/Indexer.h>

#include <lumaro/indexer/LazChunkCompressor.h>
#include <lumaro/octree/OperationCancelled.h>

#include "CopcWriter.h"
#include "GridSampler.h"
#include "InputSet.h"
#include "MemoryBudget.h"
#include "NodeFiles.h"
#include "PointCode.h"
#include "SegmentReader.h"
#include "TemporaryPaths.h"
#include "ThreadPool.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <set>
#include <stdexcept>
#include <thread>
#include <unordered_map>

namespace Index {

namespace {

using Octree::OctreeNodeId;
using Reservation = MemoryBudget::Reservation;

constexpr std::uint64_t MIB = std::uint64_t{1} << 20;
constexpr std::size_t READ_BLOCK_POINTS = 16384;
constexpr std::uint64_t SEGMENT_POINTS = std::uint64_t{1} << 20;
// Beyond the buffers: the runtime, thread stacks, the hierarchy and LASzip's readers.
constexpr std::uint64_t FIXED_OVERHEAD = 8 * MIB;
// Working memory of a chunk's octree per point beyond its records twice (sorted and unsorted):
// its code, order, pending lists and the sampler's tables.
constexpr std::uint64_t CHUNK_BYTES_PER_POINT = 64;
// Past this, sorting a chunk costs more than another pass over its temporary file.
constexpr std::uint64_t MAX_CHUNK_POINTS = std::uint64_t{8} << 20;
constexpr std::uint64_t MAX_DISTRIBUTION_BYTES = 16 * MIB;
constexpr std::size_t MAX_CHUNKS = 4096;
constexpr std::size_t MIN_NODE_POINTS = 1000;
constexpr auto POLL = std::chrono::milliseconds(100);
// LASzip seeks with a 32-bit point index.
constexpr std::uint64_t MAX_LAZ_SEEK = 0xFFFFFFFFu;

// Records of points in memory, with the reservation that admitted them; released together when
// the last task that reads them is done.
struct Records {
    std::string bytes;
    Reservation reservation;
};

// A node's points that its parent may still take, as indices into a Records buffer, and whether
// the hierarchy lists any node below it.
struct Pending {
    std::vector<std::uint32_t> points;
    bool listedBelow = false;
};

struct Child {
    OctreeNodeId node;
    Pending pending;
};

// How the memory limit is spent.
struct Plan {
    unsigned threads = 1;
    std::size_t recordLength = 0;
    std::size_t maxNodePoints = 0;
    std::uint64_t budget = 0;
    std::uint64_t maxChunkPoints = 0;
    std::uint64_t distributionBytes = 0;
    unsigned chunkLevel = 0;
};

std::uint64_t perThreadBytes(std::size_t nodePoints, std::size_t recordLength)
{
    // A node's records gathered for LASzip and LASzip's stream, and LASzip's own state.
    return nodePoints * recordLength * 2 + 2 * MIB;
}

Plan makePlan(const IndexOptions& options, const InputSet& inputs)
{
    if (options.memoryLimitMiB < IndexOptions::MIN_MEMORY_LIMIT_MIB) {
        throw std::invalid_argument("the memory limit must be at least "
                                    + std::to_string(IndexOptions::MIN_MEMORY_LIMIT_MIB) + " MiB, not "
                                    + std::to_string(options.memoryLimitMiB));
    }
    if (options.maxNodePoints < 16) {
        throw std::invalid_argument("nodes must be allowed at least 16 points, not "
                                    + std::to_string(options.maxNodePoints));
    }
    Plan plan;
    plan.recordLength = inputs.layout.recordLength();
    const std::uint64_t limit = std::uint64_t{options.memoryLimitMiB} * MIB;
    const std::uint64_t perPoint = plan.recordLength + CHUNK_BYTES_PER_POINT;
    plan.maxNodePoints =
        std::min<std::size_t>(options.maxNodePoints, std::max<std::uint64_t>(MIN_NODE_POINTS, limit / (32 * perPoint)));
    plan.threads = options.threads != 0 ? options.threads : std::max(1u, std::thread::hardware_concurrency());
    // Fewer threads rather than a failure when each one's working memory would not fit.
    while (plan.threads > 1
           && FIXED_OVERHEAD + plan.threads * perThreadBytes(plan.maxNodePoints, plan.recordLength) > limit / 2) {
        --plan.threads;
    }
    plan.budget = limit - FIXED_OVERHEAD - plan.threads * perThreadBytes(plan.maxNodePoints, plan.recordLength);
    plan.maxChunkPoints = std::min(MAX_CHUNK_POINTS, plan.budget / (plan.recordLength + perPoint) / 2);
    plan.distributionBytes = std::min(MAX_DISTRIBUTION_BYTES, plan.budget / (4 * plan.threads));

    // Chunks of the size the budget takes if the points spread over the footprint evenly; where
    // they do not, chunks that are too large are split again later.
    std::array<double, 3> extent{};
    for (int axis = 0; axis < 3; ++axis) {
        double low = inputs.cube.minimum[axis] + inputs.cube.edge;
        double high = inputs.cube.minimum[axis];
        for (const InputFile& input : inputs.files) {
            if (input.header.pointCount > 0) {
                low = std::min(low, input.header.minimum[axis]);
                high = std::max(high, input.header.maximum[axis]);
            }
        }
        extent[axis] = std::max(0.0, high - low) / inputs.cube.edge;
    }
    for (unsigned level = 1; level <= 8; ++level) {
        double cells = 1;
        for (int axis = 0; axis < 3; ++axis) {
            cells *= std::max(1.0, std::ceil(extent[axis] * double(1u << level)));
        }
        if (cells > MAX_CHUNKS) {
            break;
        }
        plan.chunkLevel = level;
        if (double(inputs.pointCount) / (cells / 2) <= double(plan.maxChunkPoints)) {
            break;
        }
    }
    return plan;
}

class IndexRun {
public:
    IndexRun(const InputSet& inputs, const Plan& plan, const std::filesystem::path& temporary, CopcWriter& writer,
             const LazChunkCompressor& compressor, const std::function<void(const Progress&)>& progress)
        : mInputs(inputs),
          mPlan(plan),
          mCoder(inputs.cube, inputs.scale, inputs.offset),
          mSampler(mCoder, plan.recordLength, plan.maxNodePoints),
          mChunks(temporary, "chunk", plan.recordLength),
          mPending(temporary, "pending", plan.recordLength),
          mWriter(writer),
          mCompressor(compressor),
          mProgress(progress),
          mBudget(plan.budget),
          mPool(plan.threads)
    {}

    void requestStop() { mPool.requestStop(); }
    std::uint64_t peakAccountedBytes() const { return mBudget.peak(); }

    void run()
    {
        read();
        splitLargeChunks();
        indexChunks();
        indexUpperLevels();
        report(Phase::Writing, 0);
    }

private:
    void report(Phase phase, double fraction) const
    {
        if (mProgress) {
            mProgress(Progress{phase, std::clamp(fraction, 0.0, 1.0)});
        }
    }

    void report(Phase phase) const
    {
        const double total = static_cast<double>(mInputs.pointCount);
        report(phase,
               static_cast<double>(phase == Phase::Reading ? mPointsRead.load() : mPointsWritten.load()) / total);
    }

    // Waits for every task given so far, reporting progress; rethrows a task's failure.
    void drain(Phase phase)
    {
        while (!mPool.waitFor(POLL)) {
            report(phase);
        }
        report(phase);
        if (mPool.stopToken().stop_requested()) {
            throw Octree::OperationCancelled();
        }
    }

    // Waits until `bytes` fit the budget, reporting progress.
    std::shared_ptr<Reservation> admit(std::uint64_t bytes, Phase phase)
    {
        for (;;) {
            if (std::optional<Reservation> reservation = mBudget.tryReserve(bytes, POLL)) {
                return std::make_shared<Reservation>(std::move(*reservation));
            }
            report(phase);
            if (mPool.stopToken().stop_requested()) {
                drain(phase);
                throw Octree::OperationCancelled();
            }
        }
    }

    static void checkStop(std::stop_token stop)
    {
        if (stop.stop_requested()) {
            throw Octree::OperationCancelled();
        }
    }

    // Appends records to per-node buffers and hands them to node files when they grow large.
    class Distributor {
    public:
        Distributor(NodeFiles& files, std::size_t recordLength, std::uint64_t limit)
            : mFiles(files), mRecordLength(recordLength), mLimit(limit)
        {}
        void add(OctreeNodeId node, const char* record)
        {
            mBuffers[node.value()].append(record, mRecordLength);
            mBuffered += mRecordLength;
            if (mBuffered >= mLimit) {
                flush();
            }
        }
        void flush()
        {
            for (auto& [value, buffer] : mBuffers) {
                mFiles.append(OctreeNodeId::fromValue(value), buffer);
            }
            mBuffers.clear();
            mBuffered = 0;
        }

    private:
        NodeFiles& mFiles;
        std::size_t mRecordLength;
        std::uint64_t mLimit;
        std::unordered_map<std::uint64_t, std::string> mBuffers;
        std::uint64_t mBuffered = 0;
    };

    // Reading: every input in runs of points, each run decoded and spread over the chunk files by
    // the cell of the chunk level that holds each point.
    void read()
    {
        const std::size_t length = mPlan.recordLength;
        for (const InputFile& input : mInputs.files) {
            std::uint64_t step = SEGMENT_POINTS;
            const std::uint32_t lazChunk = input.header.lazChunkSize;
            if (input.header.compressed && lazChunk != 0 && lazChunk != 0xFFFFFFFFu) {
                step = std::max<std::uint64_t>(1, SEGMENT_POINTS / lazChunk) * lazChunk;
            }
            for (std::uint64_t first = 0; first < input.header.pointCount; first += step) {
                std::uint64_t count = std::min(step, input.header.pointCount - first);
                if (input.header.compressed && first + step > MAX_LAZ_SEEK) {
                    count = input.header.pointCount - first; // the rest in one run: no seek can reach beyond
                }
                const auto reservation =
                    admit(READ_BLOCK_POINTS * (input.header.recordLength + length) + 2 * mPlan.distributionBytes,
                          Phase::Reading);
                mPool.submit([this, &input, first, count, reservation](std::stop_token stop) {
                    readSegment(input, first, count, stop);
                });
                if (count != std::min(step, input.header.pointCount - first)) {
                    break;
                }
            }
        }
        drain(Phase::Reading);
    }

    void readSegment(const InputFile& input, std::uint64_t first, std::uint64_t count, std::stop_token stop)
    {
        const std::size_t length = mPlan.recordLength;
        const std::unique_ptr<SegmentReader> reader = SegmentReader::open(input, mInputs.layout, first, count);
        std::string block(READ_BLOCK_POINTS * length, '\0');
        Distributor distributor(mChunks, length, mPlan.distributionBytes);
        std::uint64_t index = first;
        while (const std::size_t read = reader->read(block.data(), READ_BLOCK_POINTS)) {
            checkStop(stop);
            for (std::size_t i = 0; i < read; ++i, ++index) {
                const char* record = block.data() + i * length;
                std::uint64_t code = 0;
                if (!input.holds(record) || !mCoder.code(record, code)) {
                    throw std::runtime_error(
                        input.name + ": point " + std::to_string(index)
                        + " lies outside the bounds its header gives; the header or the point is corrupt");
                }
                distributor.add(PointCoder::nodeAt(code, mPlan.chunkLevel), record);
            }
            mPointsRead += read;
        }
        distributor.flush();
    }

    // Chunks with more points than the budget takes are spread over their children, again and
    // again, until every chunk fits.
    void splitLargeChunks()
    {
        for (;;) {
            bool split = false;
            for (const auto& [chunk, count] : mChunks.counts()) {
                if (count > mPlan.maxChunkPoints && chunk.level() < PointCoder::DEPTH) {
                    const auto reservation =
                        admit(READ_BLOCK_POINTS * mPlan.recordLength + 2 * mPlan.distributionBytes, Phase::Indexing);
                    mPool.submit(
                        [this, chunk, count, reservation](std::stop_token stop) { splitChunk(chunk, count, stop); });
                    split = true;
                }
            }
            if (!split) {
                return;
            }
            drain(Phase::Indexing);
        }
    }

    void splitChunk(OctreeNodeId chunk, std::uint64_t count, std::stop_token stop)
    {
        const std::size_t length = mPlan.recordLength;
        std::string block(READ_BLOCK_POINTS * length, '\0');
        Distributor distributor(mChunks, length, mPlan.distributionBytes);
        for (std::uint64_t first = 0; first < count; first += READ_BLOCK_POINTS) {
            checkStop(stop);
            const std::size_t read =
                static_cast<std::size_t>(std::min<std::uint64_t>(READ_BLOCK_POINTS, count - first));
            mChunks.read(chunk, first, read, block.data());
            for (std::size_t i = 0; i < read; ++i) {
                std::uint64_t code = 0;
                mCoder.code(block.data() + i * length, code);
                distributor.add(PointCoder::nodeAt(code, static_cast<unsigned>(chunk.level()) + 1),
                                block.data() + i * length);
            }
        }
        distributor.flush();
        mChunks.remove(chunk);
    }

    // Indexing: each chunk's points sorted into their octree, built from the leaves up. What the
    // chunk's own node keeps waits in a pending file for the levels above.
    void indexChunks()
    {
        for (const auto& [chunk, count] : mChunks.counts()) {
            const auto reservation = admit(count * (2 * mPlan.recordLength + CHUNK_BYTES_PER_POINT), Phase::Indexing);
            mPool.submit([this, chunk, count, reservation](std::stop_token stop) mutable {
                indexChunk(chunk, count, std::move(*reservation), stop);
            });
        }
        drain(Phase::Indexing);
    }

    void indexChunk(OctreeNodeId chunk, std::uint64_t count, Reservation reservation, std::stop_token stop)
    {
        const std::size_t length = mPlan.recordLength;
        const auto n = static_cast<std::size_t>(count);
        std::string unsorted(n * length, '\0');
        mChunks.read(chunk, 0, count, unsorted.data());
        mChunks.remove(chunk);
        // Codes and indices side by side, so that sorting moves neither records nor scattered reads.
        std::vector<std::pair<std::uint64_t, std::uint32_t>> order(n);
        for (std::size_t i = 0; i < n; ++i) {
            mCoder.code(unsorted.data() + i * length, order[i].first);
            order[i].second = static_cast<std::uint32_t>(i);
        }
        std::sort(order.begin(), order.end());
        auto records = std::make_shared<Records>();
        records->reservation = std::move(reservation);
        records->bytes.resize(n * length);
        std::vector<std::uint64_t> sortedCodes(n);
        for (std::size_t i = 0; i < n; ++i) {
            std::memcpy(records->bytes.data() + i * length, unsorted.data() + std::size_t{order[i].second} * length,
                        length);
            sortedCodes[i] = order[i].first;
        }
        unsorted = std::string();
        order = {};

        const Pending pending = buildSubtree(chunk, records, sortedCodes, 0, n, stop);
        keepPending(chunk, *records, pending);
    }

    Pending buildSubtree(OctreeNodeId node, const std::shared_ptr<const Records>& records,
                         const std::vector<std::uint64_t>& codes, std::size_t begin, std::size_t end,
                         std::stop_token stop)
    {
        checkStop(stop);
        const auto level = static_cast<unsigned>(node.level());
        if (end - begin <= mPlan.maxNodePoints || level == PointCoder::DEPTH) {
            Pending leaf;
            leaf.points.resize(end - begin);
            std::iota(leaf.points.begin(), leaf.points.end(), static_cast<std::uint32_t>(begin));
            return leaf;
        }
        std::vector<Child> children;
        const unsigned shift = 3 * (PointCoder::DEPTH - level - 1);
        for (std::size_t first = begin; first < end;) {
            const auto index = static_cast<std::size_t>((codes[first] >> shift) & 7u);
            std::size_t last = first;
            while (last < end && ((codes[last] >> shift) & 7u) == index) {
                ++last;
            }
            const OctreeNodeId child = node.child(index);
            children.push_back(Child{child, buildSubtree(child, records, codes, first, last, stop)});
            first = last;
        }
        return finishNode(node, records, children);
    }

    // The node takes its sample from its children's pending points; what each child keeps of
    // its own is final and goes to the output.
    Pending finishNode(OctreeNodeId node, const std::shared_ptr<const Records>& records,
                       const std::vector<Child>& children)
    {
        std::vector<std::uint32_t> candidates;
        for (const Child& child : children) {
            candidates.insert(candidates.end(), child.pending.points.begin(), child.pending.points.end());
        }
        const std::vector<std::uint32_t> kept = mSampler.sample(node, records->bytes.data(), candidates);
        std::vector<char> taken(candidates.size(), 0);
        Pending result;
        for (const std::uint32_t position : kept) {
            taken[position] = 1;
            result.points.push_back(candidates[position]);
        }
        std::size_t position = 0;
        for (const Child& child : children) {
            std::vector<std::uint32_t> own;
            for (const std::uint32_t point : child.pending.points) {
                if (!taken[position++]) {
                    own.push_back(point);
                }
            }
            if (!own.empty()) {
                emit(child.node, records, std::move(own));
                result.listedBelow = true;
            } else if (child.pending.listedBelow) {
                mWriter.addEmptyNode(child.node);
                result.listedBelow = true;
            }
        }
        return result;
    }

    // Compresses a node's final points on a worker and adds them to the output.
    void emit(OctreeNodeId node, std::shared_ptr<const Records> records, std::vector<std::uint32_t> points)
    {
        mPool.submit([this, node, records = std::move(records),
                      points = std::move(points)](std::stop_token stop) mutable {
            checkStop(stop);
            const std::size_t length = mPlan.recordLength;
            // In the order they were recorded, points follow scan lines: LASzip codes each point
            // against the one before, and codes such neighbours smaller and faster.
            auto timeOf = [&](std::uint32_t point) {
                return loadField<double>(records->bytes.data() + std::size_t{point} * length, RecordField::GPS_TIME);
            };
            std::stable_sort(points.begin(), points.end(),
                             [&](std::uint32_t a, std::uint32_t b) { return timeOf(a) < timeOf(b); });
            std::string gathered(points.size() * length, '\0');
            PointStats stats;
            for (std::size_t i = 0; i < points.size(); ++i) {
                const char* record = records->bytes.data() + std::size_t{points[i]} * length;
                std::memcpy(gathered.data() + i * length, record, length);
                stats.add(record);
            }
            const std::string chunk = mCompressor.compress(gathered, points.size());
            mWriter.addNode(node, static_cast<std::uint32_t>(points.size()), chunk, stats);
            mPointsWritten += points.size();
        });
    }

    void keepPending(OctreeNodeId node, const Records& records, const Pending& pending)
    {
        const std::size_t length = mPlan.recordLength;
        std::string bytes(pending.points.size() * length, '\0');
        for (std::size_t i = 0; i < pending.points.size(); ++i) {
            std::memcpy(bytes.data() + i * length, records.bytes.data() + std::size_t{pending.points[i]} * length,
                        length);
        }
        mPending.append(node, bytes);
        std::lock_guard lock(mListedMutex);
        mListedBelow[node] = pending.listedBelow;
    }

    // The levels above the chunks, deepest first: each node samples its children's pending
    // points; the root's own are final.
    void indexUpperLevels()
    {
        std::map<OctreeNodeId, std::uint64_t> pending = mPending.counts();
        std::map<unsigned, std::set<OctreeNodeId>> upper;
        for (const auto& [node, count] : pending) {
            for (OctreeNodeId ancestor = node; !ancestor.isRoot();) {
                ancestor = ancestor.parent();
                upper[static_cast<unsigned>(ancestor.level())].insert(ancestor);
            }
        }
        for (auto level = upper.rbegin(); level != upper.rend(); ++level) {
            pending = mPending.counts();
            for (const OctreeNodeId node : level->second) {
                std::vector<std::pair<OctreeNodeId, std::uint64_t>> children;
                std::uint64_t total = 0;
                for (std::size_t index = 0; index < 8; ++index) {
                    const auto found = pending.find(node.child(index));
                    if (found != pending.end()) {
                        children.push_back(*found);
                        total += found->second;
                    }
                }
                const auto reservation = admit(total * (mPlan.recordLength + CHUNK_BYTES_PER_POINT), Phase::Indexing);
                mPool.submit([this, node, children, total, reservation](std::stop_token stop) mutable {
                    checkStop(stop);
                    indexUpperNode(node, children, total, std::move(*reservation));
                });
            }
            drain(Phase::Indexing);
        }

        const OctreeNodeId root = OctreeNodeId::root();
        const std::uint64_t count = mPending.count(root);
        auto records = std::make_shared<Records>();
        records->reservation = std::move(*admit(count * mPlan.recordLength, Phase::Indexing));
        records->bytes.resize(count * mPlan.recordLength);
        mPending.read(root, 0, count, records->bytes.data());
        std::vector<std::uint32_t> all(count);
        std::iota(all.begin(), all.end(), 0u);
        emit(root, std::move(records), std::move(all));
        drain(Phase::Indexing);
    }

    void indexUpperNode(OctreeNodeId node, const std::vector<std::pair<OctreeNodeId, std::uint64_t>>& children,
                        std::uint64_t total, Reservation reservation)
    {
        auto records = std::make_shared<Records>();
        records->reservation = std::move(reservation);
        records->bytes.resize(total * mPlan.recordLength);
        std::vector<Child> pending;
        std::uint32_t first = 0;
        for (const auto& [child, count] : children) {
            mPending.read(child, 0, count, records->bytes.data() + std::size_t{first} * mPlan.recordLength);
            mPending.remove(child);
            Child entry{child, {}};
            entry.pending.points.resize(count);
            std::iota(entry.pending.points.begin(), entry.pending.points.end(), first);
            {
                std::lock_guard lock(mListedMutex);
                entry.pending.listedBelow = mListedBelow[child];
            }
            pending.push_back(std::move(entry));
            first += static_cast<std::uint32_t>(count);
        }
        const Pending kept = finishNode(node, records, pending);
        keepPending(node, *records, kept);
    }

    const InputSet& mInputs;
    const Plan& mPlan;
    PointCoder mCoder;
    GridSampler mSampler;
    NodeFiles mChunks;
    NodeFiles mPending;
    CopcWriter& mWriter;
    const LazChunkCompressor& mCompressor;
    const std::function<void(const Progress&)>& mProgress;
    std::atomic<std::uint64_t> mPointsRead{0};
    std::atomic<std::uint64_t> mPointsWritten{0};
    std::mutex mListedMutex;
    std::map<OctreeNodeId, bool> mListedBelow;
    MemoryBudget mBudget;
    // Last, so that its threads are joined before anything they use goes.
    ThreadPool mPool;
};

void checkOutput(const std::filesystem::path& output, const InputSet& inputs)
{
    std::error_code error;
    const std::filesystem::path folder = output.has_parent_path() ? output.parent_path() : std::filesystem::path(".");
    if (!std::filesystem::is_directory(folder, error)) {
        throw std::runtime_error("cannot write " + output.string() + ": the folder " + folder.string()
                                 + " does not exist");
    }
    for (const InputFile& input : inputs.files) {
        if (std::filesystem::equivalent(input.path, output, error)) {
            throw std::invalid_argument("the output " + output.string() + " would overwrite the input " + input.name);
        }
    }
}

} // namespace

std::string_view phaseName(Phase phase)
{
    switch (phase) {
    case Phase::Reading: return "reading";
    case Phase::Indexing: return "indexing";
    case Phase::Writing: return "writing";
    }
    return "?";
}

IndexReport indexToCopc(const std::vector<std::filesystem::path>& inputPaths, const std::filesystem::path& output,
                        const IndexOptions& options, const std::function<void(const Progress&)>& progress,
                        std::stop_token stop)
{
    const InputSet inputs = InputSet::open(inputPaths, options.warning ? options.warning : [](const std::string&) {});
    checkOutput(output, inputs);
    const Plan plan = makePlan(options, inputs);
    const std::filesystem::path outputFolder =
        output.has_parent_path() ? output.parent_path() : std::filesystem::path(".");
    TemporaryFolder temporary(options.temporaryFolder.empty() ? outputFolder : options.temporaryFolder);
    PartialFile partial(output);
    const LazChunkCompressor compressor(inputs.layout.format, inputs.layout.extraBytes);
    CopcWriter writer(partial.path(), inputs, compressor.laszipRecord());

    IndexReport report;
    {
        IndexRun run(inputs, plan, temporary.path(), writer, compressor, progress);
        std::stop_callback forwardStop(stop, [&run] { run.requestStop(); });
        run.run();
        report.peakAccountedBytes = run.peakAccountedBytes();
    }
    if (writer.pointCount() != inputs.pointCount) {
        throw std::logic_error("the index holds " + std::to_string(writer.pointCount()) + " points of "
                               + std::to_string(inputs.pointCount));
    }
    writer.finish();
    partial.commit();
    if (progress) {
        progress(Progress{Phase::Writing, 1.0});
    }
    report.points = writer.pointCount();
    report.nodes = writer.nodeCount();
    report.pointFormat = inputs.layout.format;
    report.threads = plan.threads;
    report.maxNodePoints = plan.maxNodePoints;
    report.memoryLimitBytes = std::uint64_t{options.memoryLimitMiB} * MIB;
    return report;
}

} // namespace Index
