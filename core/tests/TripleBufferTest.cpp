#include <lumaro/core/TripleBuffer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// What a loader hands to the render thread: node table bytes and point vertices.
struct Frame {
    std::uint64_t sequence = 0;
    int writer = -1;
    std::vector<std::uint8_t> nodeTable;
    std::vector<float> vertices;
};

void fill(Frame& frame, std::uint64_t sequence, int writer = 0)
{
    frame.sequence = sequence;
    frame.writer = writer;
    frame.nodeTable.assign(sequence % 17 + 1, static_cast<std::uint8_t>(sequence));
    frame.vertices.assign(sequence % 31 + 1, static_cast<float>(sequence));
}

bool isWhole(const Frame& frame)
{
    const auto sequence = frame.sequence;
    if (frame.nodeTable.size() != sequence % 17 + 1 || frame.vertices.size() != sequence % 31 + 1)
        return false;
    for (auto byte : frame.nodeTable)
        if (byte != static_cast<std::uint8_t>(sequence))
            return false;
    for (auto vertex : frame.vertices)
        if (vertex != static_cast<float>(sequence))
            return false;
    return true;
}

// One thread writing and reading in turn: the reader sees only what was published, always the
// newest of it, in a slot that no write touches; a write that throws publishes nothing.
TEST(TripleBufferTest, TheReaderGetsTheNewestPublishedFrameInASlotNoWriteTouches)
{
    Core::TripleBuffer<Frame> buffer(Frame{7, 0, {}, {}});
    EXPECT_FALSE(buffer.swapRead());
    EXPECT_EQ(buffer.readSlot().sequence, 7u);
    fill(buffer.writeSlot(), 5);
    EXPECT_FALSE(buffer.swapRead()) << "written but not swapped";
    buffer.swapWrite();
    ASSERT_TRUE(buffer.swapRead());
    EXPECT_EQ(buffer.readSlot().sequence, 5u);
    EXPECT_FALSE(buffer.swapRead()) << "nothing newer";

    const Frame* reading = &buffer.readSlot();
    for (std::uint64_t sequence = 6; sequence <= 9; ++sequence)
        buffer.write([&](Frame& frame) {
            EXPECT_NE(&frame, reading);
            fill(frame, sequence);
        });
    EXPECT_EQ(reading->sequence, 5u);
    EXPECT_THROW(buffer.write([](Frame& frame) {
        fill(frame, 10);
        throw std::runtime_error("node failed");
    }),
                 std::runtime_error);
    ASSERT_TRUE(buffer.swapRead());
    EXPECT_EQ(buffer.readSlot().sequence, 9u);
    EXPECT_TRUE(isWhole(buffer.readSlot()));
    EXPECT_FALSE(buffer.swapRead());
}

// A loader publishing as fast as it can while the render thread reads: every frame the reader
// sees is complete, sequences only grow, and the last one always arrives.
TEST(TripleBufferTest, AConcurrentReaderSeesOnlyWholeFramesInOrder)
{
    constexpr std::uint64_t lastSequence = 20000;
    Core::TripleBuffer<Frame> buffer;
    std::jthread writer([&] {
        for (std::uint64_t sequence = 1; sequence <= lastSequence; ++sequence) {
            fill(buffer.writeSlot(), sequence);
            buffer.swapWrite();
        }
    });
    std::uint64_t seen = 0;
    std::uint64_t reads = 0;
    std::string fault;
    while (seen != lastSequence && fault.empty()) {
        if (!buffer.swapRead())
            continue;
        ++reads;
        const Frame& frame = buffer.readSlot();
        if (!isWhole(frame))
            fault = "torn frame " + std::to_string(frame.sequence);
        else if (frame.sequence <= seen)
            fault = "frame " + std::to_string(frame.sequence) + " after " + std::to_string(seen);
        seen = frame.sequence;
    }
    EXPECT_EQ(fault, "");
    EXPECT_GE(reads, 1u);
}

TEST(TripleBufferTest, SeveralWritersThroughWriteAreSerialised)
{
    constexpr std::uint64_t perWriter = 5000;
    Core::TripleBuffer<Frame> buffer;
    std::atomic<int> writersDone{0};
    std::vector<std::jthread> writers;
    for (int w = 0; w < 2; ++w)
        writers.emplace_back([&, w] {
            for (std::uint64_t i = 1; i <= perWriter; ++i)
                buffer.write([&](Frame& frame) { fill(frame, i * 2 + static_cast<std::uint64_t>(w), w); });
            ++writersDone;
        });
    std::uint64_t lastOf[2] = {0, 0};
    std::string fault;
    auto readOne = [&] {
        if (!buffer.swapRead())
            return;
        const Frame& frame = buffer.readSlot();
        if (!isWhole(frame) || frame.writer < 0 || frame.writer > 1)
            fault = "torn frame " + std::to_string(frame.sequence);
        else if (frame.sequence <= lastOf[frame.writer])
            fault = "writer " + std::to_string(frame.writer) + " went back";
        else
            lastOf[frame.writer] = frame.sequence;
    };
    while (writersDone < 2 && fault.empty())
        readOne();
    writers.clear();
    readOne();
    EXPECT_EQ(fault, "");
    // The last publication is the final frame of whichever writer finished last.
    const auto finalSequence = buffer.readSlot().sequence;
    EXPECT_TRUE(finalSequence == perWriter * 2 || finalSequence == perWriter * 2 + 1) << finalSequence;
}

// The serialisation made certain: the second writer starts while the first is still filling, and
// would be seen filling at the same time (within a second) if the writers were not serialised.
TEST(TripleBufferTest, ASecondWriterWaitsUntilTheFirstHasPublished)
{
    Core::TripleBuffer<Frame> buffer;
    std::atomic<bool> firstFilling{false};
    std::atomic<bool> secondFilled{false};
    std::atomic<bool> overlapped{false};
    std::binary_semaphore secondMayWrite{0};
    std::jthread first([&] {
        buffer.write([&](Frame& frame) {
            fill(frame, 1, 0);
            firstFilling = true;
            secondMayWrite.release();
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
            while (!secondFilled && std::chrono::steady_clock::now() < deadline)
                std::this_thread::yield();
            firstFilling = false;
        });
    });
    std::jthread second([&] {
        secondMayWrite.acquire();
        buffer.write([&](Frame& frame) {
            overlapped = firstFilling.load();
            fill(frame, 2, 1);
            secondFilled = true;
        });
    });
    first.join();
    second.join();
    EXPECT_FALSE(overlapped);
    ASSERT_TRUE(buffer.swapRead());
    EXPECT_EQ(buffer.readSlot().sequence, 2u) << "the second write published last";
    EXPECT_TRUE(isWhole(buffer.readSlot()));
}

} // namespace
