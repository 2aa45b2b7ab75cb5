#include "tests/support/testing.h"

#include <tarnkit/heap_manager.h>
#include <tarnkit/pool_allocators.h>

using namespace Tarn;

namespace {

constexpr CCapability kAddressSanitizer{
    TARNKIT_ADDRESS_SANITIZER != 0 ? nullptr : "the build has no address sanitizer"};

void touch(void* block, int offset) { static_cast<volatile char*>(block)[offset] = 1; }

} // namespace

TEST(AddressSanitizer, ReportsAccessToWhatBelongsToNoBlock) {
    TARNKIT_TEST_NEEDS(kAddressSanitizer);
    CBlockManager pool(20, 0x10000);
    CStackManager stack;
    CSizeClassAllocator bodies;
    CHeapManager heap;
    heap.Create();
    int bodySize;
    constexpr int kLarge = 0x100001;
    void *const inPool = pool.Alloc(), *const inStack = stack.Alloc(20), *const inHeap = heap.Alloc(20);
    void *const body = bodies.Alloc(33, bodySize), *const largeInHeap = heap.Alloc(kLarge);
    CStackManagerState mark;
    stack.GetState(mark);
    void* const aboveMark = stack.Alloc(100);
    stack.Alloc(100'000);
    stack.Reset(mark);
    const std::pair<const char*, std::function<void()>> mistakes[] = {
        {"a block of a pool used after it is freed", [&] { pool.Free(inPool), touch(inPool, 0); }},
        {"freed twice", [&] { pool.Free(inPool), pool.Free(inPool); }},
        {"used after a reset", [&] { pool.Reset(), touch(inPool, 19); }},
        {"beyond its end", [&] { touch(inPool, 20); }},
        {"beyond all blocks", [&] { touch(inPool, 1000); }},
        {"beyond a block of a stack", [&] { touch(inStack, 20); }},
        {"above the mark", [&] { touch(aboveMark, 99); }},
        {"beyond the body of a string", [&] { touch(body, bodySize); }},
        {"a block of a heap used after it is freed", [&] { heap.Free(inHeap), touch(inHeap, 10); }},
        {"beyond its end", [&] { touch(inHeap, 20); }},
        {"in front of it", [&] { touch(inHeap, -1); }},
        {"beyond a large one", [&] { touch(largeInHeap, kLarge); }}};
    for (const auto& [name, mistake] : mistakes) {
        SCOPED_TRACE(name);
        EXPECT_DEATH(mistake(), "use-after-poison");
    }
    pool.Free(inPool);
    heap.Free(inHeap);
    for (void* block : {inStack, pool.Alloc(), stack.Alloc(20), heap.Alloc(20)})
        std::memset(block, 1, 20);
}
