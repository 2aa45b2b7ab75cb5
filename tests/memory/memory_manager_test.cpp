#include "tests/support/assertion.h"
#include "tests/support/failure.h"

#include <tarnkit/array.h>
#include <tarnkit/memory_manager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <thread>

using namespace Tarn;

namespace {

// Serves from the C heap, knows how many blocks are out, and can refuse.
class CCountingManager : public IMemoryManager {
public:
    int blocksOut = 0;
    int lastSize = 0;
    int freed = 0;
    bool isRefusing = false;

    void* Alloc(int size) override {
        lastSize = size;
        if (isRefusing)
            return nullptr;
        blocksOut++;
        return std::malloc(static_cast<unsigned>(size));
    }
    void Free(void* ptr) override {
        freed++;
        blocksOut--;
        std::free(ptr);
    }
};

IMemoryManager* managerOf(void* block) {
    IMemoryManager* manager;
    std::memcpy(&manager, static_cast<char*>(block) - kPointerSize, sizeof(manager));
    return manager;
}

// Restores the switches when a test ends.
struct SwitchesScope {
    CMemorySwitches saved = GetMemorySwitches();
    ~SwitchesScope() { SetMemorySwitches(saved); }
};

} // namespace

// The test framework allocates, too: expectations stand outside the scopes of the switchers.

TEST(MemoryManager, SmallBlocksComeFromTheCurrentManagerAndLargeOnesNever) {
    CCountingManager manager;
    const struct {
        unsigned size;
        IMemoryManager* expected;
    } cases[] = {{0, &manager}, {1, &manager}, {65532, &manager}, {65533, &GetLargeBlockManager()}};
    for (auto& c : cases) {
        manager.lastSize = 0;
        void* block;
        {
            CMemoryManagerSwitcher switcher(&manager);
            block = doAlloc(c.size);
        }
        EXPECT_EQ(managerOf(block), c.expected) << c.size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % kAllocationUnit, 0u);
        EXPECT_EQ(manager.lastSize,
                  c.expected == &manager ? static_cast<int>(c.size) + kAllocationPrefix : 0);
        std::memset(block, 0xAB, c.size);
        doFree(block);
    }
    alloc_delete(nullptr);
    EXPECT_EQ(manager.blocksOut, 0);
    EXPECT_EQ(manager.freed, 3);
}

TEST(MemoryManager, ScopesNestInTheirThreadAndBlocksGoBackToTheirMaker) {
    CCountingManager outer;
    CCountingManager inner;
    void* fromInner;
    void* fromDefault;
    IMemoryManager* seen[5];
    {
        CMemoryManagerSwitcher outerScope(&outer);
        std::thread([&] { seen[4] = CMemoryManagerSwitcher::CurrentManager(); }).join();
        {
            CMemoryManagerSwitcher innerScope(&inner);
            seen[0] = innerScope.PreviousManager();
            fromInner = alloc_new(10);
            CMemoryManagerSwitcher none(nullptr);
            seen[1] = CMemoryManagerSwitcher::CurrentManager();
            fromDefault = alloc_new_array(10);
        }
        seen[2] = CMemoryManagerSwitcher::CurrentManager();
    }
    seen[3] = CMemoryManagerSwitcher::CurrentManager();
    IMemoryManager* const expected[] = {&outer, nullptr, &outer, nullptr, nullptr};
    EXPECT_TRUE(std::equal(seen, seen + 5, expected));
    EXPECT_EQ(managerOf(fromDefault), &GetDefaultMemoryManager());
    EXPECT_EQ(managerOf(fromInner), &inner);
    alloc_delete_array(fromDefault);
    std::thread([&] { alloc_delete(fromInner); }).join();
    EXPECT_EQ(inner.freed, 1);
    EXPECT_EQ(outer.blocksOut, 0);
}

TEST(MemoryManager, TheSwitchOffLeavesSmallBlocksToTheDefaultManager) {
    SwitchesScope scope;
    CMemorySwitches switches = scope.saved;
    EXPECT_TRUE(switches.enableHeapSwitching);
    EXPECT_EQ(switches.systemMemoryBlockOffset, 1676);
    switches.enableHeapSwitching = false;
    SetMemorySwitches(switches);
    CCountingManager manager;
    void* block;
    IMemoryManager* current;
    {
        CMemoryManagerSwitcher switcher(&manager);
        current = CMemoryManagerSwitcher::CurrentManager();
        block = doAlloc(8);
    }
    EXPECT_EQ(current, &manager);
    EXPECT_EQ(managerOf(block), &GetDefaultMemoryManager());
    doFree(block);
}

TEST(MemoryManager, ARefusalIsTheMemoryExceptionAndLeavesNothingBehind) {
    CCountingManager manager;
    manager.isRefusing = true;
    void (*const requests[])() = {
        [] { doAlloc(100); },
        [] { doAlloc(UINT_MAX); },
        [] { doAlloc(static_cast<unsigned>(INT_MAX)); },
        [] { ::operator delete(::operator new(100)); },
        [] { GetDefaultMemoryManager().Alloc(-1); },
        [] { ProcessHeap::Alloc(-1); },
    };
    for (const auto request : requests) {
        std::string failure;
        int* refused;
        {
            CMemoryManagerSwitcher switcher(&manager);
            failure = FailureOf(request);
            refused = new (std::nothrow) int;
        }
        EXPECT_EQ(failure, "memory");
        EXPECT_EQ(refused, nullptr);
    }
    EXPECT_EQ(ProcessHeap::TryAlloc(-1), nullptr);
    EXPECT_EQ(manager.freed, 0);
}

TEST(MemoryManager, EveryFormOfNewAndDeleteAgrees) {
    CCountingManager manager;
    int freedObjects;
    {
        CMemoryManagerSwitcher switcher(&manager);
        ::operator delete(::operator new(24));
        ::operator delete(::operator new(24, std::nothrow), std::nothrow);
        // The compiler takes the sized form for these, and leaves them out if it sees that nobody looks.
        int* volatile number = new int;
        delete number;
        freedObjects = manager.freed;
        // Arrays belong to the C runtime.
        ::operator delete[](::operator new[](400));
        ::operator delete[](::operator new[](24, std::nothrow), std::nothrow);
        std::string* volatile texts = new std::string[3];
        delete[] texts;
    }
    EXPECT_EQ(freedObjects, 3);
    EXPECT_EQ(manager.freed, 3);
    EXPECT_EQ(manager.blocksOut, 0);
}

TEST(MemoryManager, LargeBlocksAreFreedByTheSystemOnceAndOnlyOnce) {
    IMemoryManager& manager = GetLargeBlockManager();
    void* block = manager.Alloc(100000);
    std::memset(block, 1, 100000);
    manager.Free(block);
    EXPECT_EQ(AssertionOf([&] { manager.Free(block); }), u"PrivateAllocators:133");
}

TEST(MemoryManager, CountersKeepSumsCurrentValuesAndPeaks) {
    ResetMemoryCounters();
    RegisterHeapAlloc(10);
    RegisterHeapAlloc(5);
    RegisterHeapFree(10);
    RegisterStackAlloc(7);
    RegisterStackFree(7);
    RegisterStackAlloc(3);
    CMemoryCounters c;
    GetCurrentMemoryCounters(c);
    const int expected[] = {2, 15, 2, 10, 5, 15, 3, 7, 1, 1};
    EXPECT_EQ(std::memcmp(&c, expected, sizeof(c)), 0);
}
