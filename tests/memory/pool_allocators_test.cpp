#include "tests/support/failure.h"

#include <tarnkit/pool_allocators.h>

using namespace Tarn;

namespace {

char* at(void* block, int offset) { return static_cast<char*>(block) + offset; }

// Links a page that the system did not allocate after a page of a pool, so that releasing the pool fails.
void linkNoPage(void* page) {
    static void* noPage[8];
    *static_cast<void**>(page) = noPage;
}

} // namespace

TEST(BlockManager, CutsPagesIntoAlignedBlocksInAscendingOrder) {
    const int cases[][3] = {{3, kAllocationUnit, (65536 - kAllocationUnit) / kAllocationUnit},
                            {128, 128, 512},
                            {70000, RoundUp(70000, kAllocationUnit), 1}};
    for (auto& [blockSize, stride, blocksInPage] : cases) {
        CBlockManager pool(blockSize, 65536);
        char* first = at(pool.Alloc(), 0);
        for (int i = 1; i < blocksInPage; i++)
            ASSERT_EQ(pool.Alloc(blockSize), first + i * stride) << blockSize;
        char* beyond = at(pool.Alloc(), 0);
        EXPECT_TRUE(beyond < first || beyond >= first + blocksInPage * stride);
        EXPECT_EQ(pool.AllocatedBlocksSize(), (blocksInPage + 1) * blockSize);
    }
}

TEST(BlockManager, ReusesFreedBlocksLastInFirstOut) {
    CBlockManager pool(20, 4096);
    void* blocks[] = {pool.Alloc(), pool.Alloc(), pool.Alloc()};
    pool.Free(blocks[0]);
    EXPECT_EQ(pool.AllocatedBlocksSize(), 40);
    EXPECT_EQ(pool.FreeBlocksSize(), 20);
    pool.Free(blocks[2]);
    pool.Free(nullptr);
    EXPECT_EQ(pool.Alloc(), blocks[2]);
    EXPECT_EQ(pool.Alloc(), blocks[0]);
    EXPECT_EQ(pool.FreeBlocksSize(), 0);
    EXPECT_EQ(FailureOf([&] { pool.Alloc(21); }), "assertion");
}

TEST(BlockManager, ResetKeepsThePagesForReuse) {
    CBlockManager pool(128, 65536);
    std::vector<void*> before(1024);
    for (void*& block : before)
        block = pool.Alloc();
    pool.Free(before.back());
    pool.Reset();
    EXPECT_EQ(pool.AllocatedBlocksSize(), 0);
    EXPECT_EQ(pool.FreeBlocksSize(), 0);
    // The newest page becomes a spare page first, so the oldest is reused first.
    for (void* block : before)
        ASSERT_EQ(pool.Alloc(), block);
}

TEST(BlockManager, HugeBlocksDoNotShareAPage) {
    constexpr int kHuge = 0x50000000;
    CBlockManager pool(kHuge, 65536);
    FailureOf([&] { // some targets do not have that much memory
        char* first = at(pool.Alloc(), 0);
        EXPECT_NE(pool.Alloc(), first + kHuge) << "beyond the end of the page";
    });
}

TEST(StackManager, RoundsUpSizesButCountsThoseRequested) {
    CStackManager stack;
    char* first = at(stack.Alloc(1), 0);
    EXPECT_EQ(stack.Alloc(1), first + kAllocationUnit);
    stack.Free(first);
    EXPECT_EQ(stack.Alloc(0), first + 2 * kAllocationUnit);
    for (int size : {-1, INT_MIN, INT_MAX})
        EXPECT_EQ(FailureOf([&] { stack.Alloc(size); }), "memory") << size;
    EXPECT_EQ(stack.AllocatedSize(), 2);
}

TEST(StackManager, ReusesTheSameAddressesAfterAReset) {
    CStackManager stack(1024);
    void* const oldest = stack.Alloc(100);
    CStackManagerState state;
    stack.GetState(state);
    void* first = stack.Alloc(500);
    void* second = stack.Alloc(900);         // opens a second block
    std::memset(stack.Alloc(5000), 7, 5000); // opens a third block, just for itself
    stack.Reset(state);
    EXPECT_EQ(stack.AllocatedSize(), 100);
    EXPECT_EQ(stack.Alloc(500), first);
    EXPECT_EQ(stack.Alloc(900), second) << "the block nearest to the state is the first to be reused";
    stack.Reset();
    EXPECT_EQ(stack.AllocatedSize(), 0);
    EXPECT_NE(stack.Alloc(2000), oldest) << "which has no room for it";
    stack.Reset();
    stack.GetState(state);
    EXPECT_TRUE(state.block == nullptr && state.used == 0);
    state.used = 4;
    EXPECT_EQ(FailureOf([&] { stack.Reset(state); }), "assertion");
}

TEST(StackManager, OnlyTheHeadOfTheFreeListIsTried) {
    CStackManager stack;
    char* large = at(stack.Alloc(100000), 0);
    void* small = stack.Alloc(10);
    stack.Reset();
    // The older, large block was freed last and is the head of the list.
    EXPECT_EQ(stack.Alloc(10), large);
    // More than a new minimal block would hold.
    EXPECT_EQ(stack.Alloc(99980), large + RoundUp(10, kAllocationUnit));
    EXPECT_EQ(stack.Alloc(10), small);
}

TEST(OneBlockAllocator, GrowsInPlaceUpToItsReservation) {
    COneBlockAllocator buffer(1);
    const int granule = buffer.ReservedSize();
    EXPECT_EQ(granule % 10, 0);
    char* base = static_cast<char*>(buffer.GetPtr());
    buffer.SetSize(1);
    base[0] = 'x';
    buffer.SetSize(granule);
    base[granule - 1] = 'y';
    EXPECT_EQ(base[0], 'x');
    EXPECT_EQ(buffer.FreeSize(), 0);
    EXPECT_EQ(FailureOf([&] { buffer.SetSize(granule + 1); }), "memory");
    EXPECT_EQ(buffer.AllocatedSize(), granule);
    buffer.Reset();
    EXPECT_EQ(buffer.AllocatedSize(), 0);
    COneBlockAllocator two(granule + 1);
    two.SetSize(2 * granule);
    EXPECT_EQ(two.FreeSize(), 0);
    EXPECT_EQ(FailureOf([] { COneBlockAllocator none(0); }), "assertion");
    EXPECT_EQ(FailureOf([] { COneBlockAllocator tooLarge(INT_MAX); }), "memory");
}

TEST(SizeClassAllocator, ServesTheFirstClassThatFitsAndKeepsThePagesOfBlocksInUse) {
    CSizeClassAllocator pool;
    int actual = 0;
    void* kept = pool.Alloc(40, actual);
    const int cases[][2] = {{0, 32},    {32, 32},   {33, 64},   {64, 64},   {65, 128},  {128, 128},
                            {129, 256}, {256, 256}, {257, 512}, {512, 512}, {513, 513}, {100000, 100000}};
    for (auto& [size, served] : cases) {
        void* block = pool.Alloc(size, actual);
        EXPECT_EQ(actual, served) << size;
        std::memset(block, 0x5A, static_cast<std::size_t>(actual));
        pool.Free(block, actual);
        pool.ReleaseIfUnused();
    }
    std::memset(kept, 0x5A, 64);
    pool.Free(kept, 64);
    EXPECT_EQ(pool.Alloc(40, actual), kept);
}

TEST(PoolDestructors, AssertUnlessAnotherExceptionIsInFlight) {
    void (*const ends[])(bool) = {
        [](bool isThrowing) {
            CBlockManager pool(128, 0x10000);
            linkNoPage(at(pool.Alloc(), -kAllocationUnit));
            isThrowing ? ThrowMemoryException() : void();
        },
        [](bool isThrowing) {
            CStackManager stack;
            CStackManagerState state;
            stack.Alloc(1);
            stack.GetState(state);
            linkNoPage(state.block);
            isThrowing ? ThrowMemoryException() : void();
        },
    };
    for (const auto end : ends) {
        EXPECT_EQ(AssertionOf([&] { end(false); }), u"PrivateAllocators:133");
        EXPECT_EQ(FailureOf([&] { end(true); }), "memory");
    }
}
