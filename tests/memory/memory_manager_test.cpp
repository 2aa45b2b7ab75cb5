#include <tarnkit/array.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/memory_manager.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <thread>

using namespace Tarn;

namespace {

// Serves from the C heap, remembers what is out and can refuse.
class CCountingManager : public IMemoryManager {
public:
    std::set<void*> blocks;
    int lastSize = 0;
    int freed = 0;
    bool isRefusing = false;

    void* Alloc(int size) override {
        lastSize = size;
        if (isRefusing)
            return nullptr;
        void* block = std::malloc(static_cast<std::size_t>(size));
        blocks.insert(block);
        return block;
    }
    void Free(void* ptr) override {
        freed++;
        EXPECT_EQ(blocks.erase(ptr), 1u);
        std::free(ptr);
    }
};

IMemoryManager* managerOf(void* block) {
    IMemoryManager* manager;
    std::memcpy(&manager, static_cast<char*>(block) - kPointerSize, sizeof(manager));
    return manager;
}

template<class Action>
bool throwsMemoryException(Action action) {
    try {
        action();
    } catch (CMemoryException* e) {
        e->Delete();
        return true;
    }
    return false;
}

// Restores the switches when a test ends.
struct SwitchesScope {
    CMemorySwitches saved = GetMemorySwitches();
    ~SwitchesScope() { SetMemorySwitches(saved); }
};

} // namespace

TEST(MemoryManager, SmallBlocksComeFromTheCurrentManagerAndLargeOnesNever) {
    CCountingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    EXPECT_EQ(CMemoryManagerSwitcher::CurrentManager(), &manager);
    const struct {
        unsigned size;
        IMemoryManager* expected;
    } cases[] = {{0, &manager}, {1, &manager}, {65532, &manager}, {65533, &GetLargeBlockManager()}};
    for (auto& c : cases) {
        void* block = doAlloc(c.size);
        EXPECT_EQ(managerOf(block), c.expected) << c.size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % kAllocationUnit, 0u);
        if (c.expected == &manager)
            EXPECT_EQ(manager.lastSize, static_cast<int>(c.size) + kAllocationPrefix);
        std::memset(block, 0xAB, c.size);
        doFree(block);
    }
    EXPECT_TRUE(manager.blocks.empty());
    alloc_delete(nullptr);
    EXPECT_EQ(manager.freed, 3);
}

TEST(MemoryManager, ScopesNestAndBlocksGoBackToTheirMaker) {
    CCountingManager outer;
    CCountingManager inner;
    void* fromInner;
    void* fromDefault;
    {
        CMemoryManagerSwitcher outerScope(&outer);
        {
            CMemoryManagerSwitcher innerScope(&inner);
            EXPECT_EQ(innerScope.PreviousManager(), &outer);
            fromInner = alloc_new(10);
            CMemoryManagerSwitcher none(nullptr);
            EXPECT_EQ(CMemoryManagerSwitcher::CurrentManager(), nullptr);
            fromDefault = alloc_new_array(10);
        }
        EXPECT_EQ(CMemoryManagerSwitcher::CurrentManager(), &outer);
        // Another thread has a current manager of its own, and may free what this one allocated.
        std::thread([&] {
            EXPECT_EQ(CMemoryManagerSwitcher::CurrentManager(), nullptr);
            alloc_delete(fromInner);
        }).join();
    }
    EXPECT_EQ(inner.freed, 1);
    EXPECT_EQ(managerOf(fromDefault), &GetDefaultMemoryManager());
    alloc_delete_array(fromDefault);
    EXPECT_EQ(outer.freed, 0);
}

TEST(MemoryManager, TheSwitchOffLeavesSmallBlocksToTheDefaultManager) {
    SwitchesScope scope;
    CMemorySwitches switches = scope.saved;
    EXPECT_TRUE(switches.enableHeapSwitching);
    EXPECT_EQ(switches.systemMemoryBlockOffset, 1676);
    switches.enableHeapSwitching = false;
    SetMemorySwitches(switches);
    CCountingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    EXPECT_EQ(CMemoryManagerSwitcher::CurrentManager(), &manager);
    void* block = doAlloc(8);
    EXPECT_EQ(managerOf(block), &GetDefaultMemoryManager());
    doFree(block);
}

TEST(MemoryManager, ARefusalIsTheMemoryExceptionAndLeavesNothingBehind) {
    CCountingManager manager;
    manager.isRefusing = true;
    CMemoryManagerSwitcher switcher(&manager);
    EXPECT_TRUE(throwsMemoryException([] { doAlloc(100); }));
    EXPECT_TRUE(throwsMemoryException([] { doAlloc(UINT_MAX); }));
    EXPECT_TRUE(throwsMemoryException([] { doAlloc(static_cast<unsigned>(INT_MAX)); }));
    EXPECT_TRUE(throwsMemoryException([] { delete new std::string(100, 'x'); }));
    EXPECT_EQ(new (std::nothrow) int, nullptr);
    EXPECT_TRUE(throwsMemoryException([] { GetDefaultMemoryManager().Alloc(-1); }));
    EXPECT_TRUE(throwsMemoryException([] { ProcessHeap::Alloc(-1); }));
    EXPECT_EQ(ProcessHeap::TryAlloc(-1), nullptr);
}

TEST(MemoryManager, EveryFormOfNewAndDeleteAgrees) {
    CCountingManager manager;
    {
        CMemoryManagerSwitcher switcher(&manager);
        ::operator delete(::operator new(24));
        ::operator delete (::operator new(24), std::size_t{24});
        ::operator delete(::operator new(24, std::nothrow), std::nothrow);
        delete new std::uint64_t(1);
        EXPECT_EQ(manager.freed, 4);
        // Arrays belong to the C runtime.
        delete[] new int[100];
        ::operator delete[](::operator new[](24, std::nothrow), std::nothrow);
        EXPECT_EQ(manager.freed, 4);
    }
    EXPECT_TRUE(manager.blocks.empty());
}

TEST(MemoryManager, LargeBlocksAreFreedByTheSystemOnceAndOnlyOnce) {
    IMemoryManager& manager = GetLargeBlockManager();
    void* block = manager.Alloc(100000);
    std::memset(block, 1, 100000);
    manager.Free(block);
    EXPECT_THROW(
        try { manager.Free(block); } catch (CInternalError* e) {
            EXPECT_EQ(e->MessageText().Find(u"PrivateAllocators") >= 0, true);
            e->Delete();
            throw 1;
        },
        int);
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
    ResetMemoryCounters();
    GetCurrentMemoryCounters(c);
    const CMemoryCounters zeros{};
    EXPECT_EQ(std::memcmp(&c, &zeros, sizeof(c)), 0);
}
