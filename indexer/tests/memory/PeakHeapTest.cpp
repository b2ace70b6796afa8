// The memory limit against what the process really allocates: this program counts every byte the
// C++ heap hands out (operator new and delete are replaced here), and indexing an input larger
// than a small limit must not raise the peak of live bytes by more than the limit. The indexer's
// own accounting bounds its large buffers; this catches what it forgets (a copy, a vector that
// doubles, LASzip's streams). Blocks come from malloc, so AddressSanitizer still watches them.
#include <lumaro/indexer/Indexer.h>
#include <lumaro/testsupport/SyntheticLas.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iostream>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> liveBytes{0};
std::atomic<std::size_t> peakBytes{0};

// Each block carries its size and the start of what malloc gave just in front of it.
void* allocate(std::size_t size, std::size_t alignment)
{
    alignment = std::max(alignment, alignof(std::max_align_t));
    constexpr std::size_t header = 2 * sizeof(std::uintptr_t);
    void* raw = std::malloc(size + header + alignment);
    if (!raw) {
        throw std::bad_alloc();
    }
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(raw) + header;
    auto* user = reinterpret_cast<std::uintptr_t*>((start + alignment - 1) / alignment * alignment);
    user[-1] = size;
    user[-2] = reinterpret_cast<std::uintptr_t>(raw);
    const std::size_t now = liveBytes += size;
    std::size_t peak = peakBytes.load();
    while (now > peak && !peakBytes.compare_exchange_weak(peak, now)) {
    }
    return user;
}

void release(void* pointer) noexcept
{
    if (!pointer) {
        return;
    }
    auto* user = static_cast<std::uintptr_t*>(pointer);
    liveBytes -= user[-1];
    std::free(reinterpret_cast<void*>(user[-2]));
}

} // namespace

void* operator new(std::size_t size)
{
    return allocate(size, alignof(std::max_align_t));
}
void* operator new[](std::size_t size)
{
    return allocate(size, alignof(std::max_align_t));
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return allocate(size, alignof(std::max_align_t));
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept
{
    return operator new(size, tag);
}
void operator delete(void* pointer) noexcept
{
    release(pointer);
}
void operator delete[](void* pointer) noexcept
{
    release(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept
{
    release(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept
{
    release(pointer);
}
void operator delete(void* pointer, std::align_val_t) noexcept
{
    release(pointer);
}
void operator delete[](void* pointer, std::align_val_t) noexcept
{
    release(pointer);
}
void operator delete(void* pointer, std::size_t, std::align_val_t) noexcept
{
    release(pointer);
}
void operator delete[](void* pointer, std::size_t, std::align_val_t) noexcept
{
    release(pointer);
}
void operator delete(void* pointer, const std::nothrow_t&) noexcept
{
    release(pointer);
}
void operator delete[](void* pointer, const std::nothrow_t&) noexcept
{
    release(pointer);
}

namespace {

TEST(PeakHeap, IndexingALargerInputRaisesThePeakByLessThanTheLimit)
{
    TestSupport::TemporaryFolder folder;
    TestSupport::SyntheticLas recipe;
    recipe.minor = 4;
    recipe.format = 7;
    const auto input = folder.path() / "large.las";
    TestSupport::writeSyntheticLas(input, recipe, 1200000); // 43 MB of records
    Index::IndexOptions options;
    options.memoryLimitMiB = 32;
    options.threads = 2;

    const std::size_t before = liveBytes.load();
    peakBytes = before;
    const Index::IndexReport report = Index::indexToCopc({input}, folder.path() / "large.copc.laz", options);
    const std::size_t raised = peakBytes.load() - before;

    EXPECT_EQ(report.points, 1200000u);
    EXPECT_LE(raised, report.memoryLimitBytes) << "the heap grew by " << (raised >> 20) << " MiB";
    EXPECT_GT(raised, report.memoryLimitBytes / 8) << "the heap grew by " << (raised >> 20) << " MiB";
    std::cout << "heap peak raised by " << (raised >> 20) << " MiB, the indexer's accounting peaked at "
              << (report.peakAccountedBytes >> 20) << " MiB of " << (report.memoryLimitBytes >> 20) << " MiB\n";
}

} // namespace
