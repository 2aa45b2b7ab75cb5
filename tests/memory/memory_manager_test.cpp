#include "tests/errors/reports.h"
#include "tests/support/refusing_manager.h"

#include <new>

using namespace Tarn;

namespace {

void* allocFrom(IMemoryManager& manager, unsigned size) {
    CMemoryManagerSwitcher switcher(&manager);
    return doAlloc(size);
}

IMemoryManager* managerOf(void* block) {
    IMemoryManager* manager;
    std::memcpy(&manager, static_cast<char*>(block) - kPointerSize, sizeof(manager));
    return manager;
}

struct CFailure : CUserException {
    static inline int disposedOf = 0;
    ~CFailure() override { disposedOf++; }
};

struct CFailingManager : IMemoryManager {
    void* Alloc(int) override { throw new CFailure; }
    void Free(void*) override {}
};

struct CPair {
    int first;
    int second;
};

constexpr CFieldPlace wordAt(std::size_t offset) { return CFieldPlace::Of<int>(offset); }

} // namespace

TEST(MemoryManager, SmallBlocksComeFromTheCurrentManagerUnlessSwitchingIsOffAndLargeOnesNeverDo) {
    CRefusingManager manager;
    const CMemorySwitches saved = GetMemorySwitches();
    CMemorySwitches off = saved;
    off.enableHeapSwitching = false;
    const std::tuple<unsigned, CMemorySwitches, IMemoryManager*> cases[] = {
        {0, saved, &manager},
        {65532, saved, &manager},
        {65532, off, &GetDefaultMemoryManager()},
        {65533, saved, &GetLargeBlockManager()}};
    for (const auto& [size, switches, expected] : cases) {
        SetMemorySwitches(switches);
        void* block = allocFrom(manager, size);
        SetMemorySwitches(saved);
        EXPECT_EQ(managerOf(block), expected) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % kAllocationUnit, 0u);
        std::memset(block, 0xAB, size);
        doFree(block);
    }
    alloc_delete(nullptr);
}

// The test framework allocates memory too, so expectations are outside the scopes of the switchers.
TEST(MemoryManager, ScopesNestInTheirThreadAndBlocksReturnToTheirManager) {
    CRefusingManager outer, inner;
    void *fromInner, *fromDefault;
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
}

TEST(MemoryManager, AnAllocationThatFailsThrowsTheMemoryException) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    void (*const requests[])() = {
        [] { doAlloc(100); },
        [] { doAlloc(UINT_MAX); },
        [] { doAlloc(static_cast<unsigned>(INT_MAX)); },
        [] { ::operator delete(::operator new(100)); },
        [] { ProcessHeap::Alloc(-1); },
        [] { GetDefaultMemoryManager().Alloc(-1); },
        [] { GetDefaultMemoryManager().Alloc(INT_MIN); },
        [] { GetLargeBlockManager().Alloc(-1); },
        [] { GetLargeBlockManager().Alloc(INT_MIN); },
    };
    for (const auto request : requests)
        EXPECT_FALSE(manager.TryWith(0, request));
    EXPECT_TRUE(manager.TryWith(0, [] { EXPECT_EQ(::operator new(1, std::nothrow), nullptr); }));
    EXPECT_EQ(ProcessHeap::TryAlloc(-1), nullptr);
}

TEST(MemoryManager, NewServesWhateverTheAddressSpaceHolds) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    for (const UInt64 size : {UInt64{INT_MAX}, UInt64{UINT_MAX} + 1, UInt64{5'000'000'000}}) {
        const bool fits = size < UInt64{PTRDIFF_MAX};
        std::vector<char> bytes;
        EXPECT_EQ(FailureOf([&] {
                      fits ? bytes.reserve(static_cast<std::size_t>(size)) : ThrowMemoryException();
                      bytes.data()[size - 1] = 1;
                  }),
                  fits ? "" : "memory");
        EXPECT_TRUE(!fits || managerOf(bytes.data()) == &GetLargeBlockManager()) << size;
    }
    for (const std::size_t size : {SIZE_MAX, SIZE_MAX - 1, SIZE_MAX / 2, SIZE_MAX / 2 + 1}) {
        const volatile std::size_t unknownToTheCompiler = size;
        EXPECT_EQ(FailureOf([&] { ::operator delete(::operator new(unknownToTheCompiler)); }), "memory");
        EXPECT_EQ(::operator new(unknownToTheCompiler, std::nothrow), nullptr);
    }
}

TEST(MemoryManager, NewWithoutExceptionsDisposesOfAFailure) {
    CFailingManager manager;
    void* block;
    {
        CMemoryManagerSwitcher switcher(&manager);
        block = ::operator new(1, std::nothrow);
    }
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(CFailure::disposedOf, 1);
}

TEST(MemoryManager, AllFormsOfNewAndDeleteMatch) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    const auto useObjects = [] {
        ::operator delete(::operator new(24, std::nothrow), std::nothrow);
        ::operator delete(::operator new(24));
        // These use the sized form; without `volatile` the compiler may remove them.
        int* volatile number = new int;
        delete number;
    };
    const auto useArrays = [] { // from the C runtime
        ::operator delete[](::operator new[](400));
        ::operator delete[](::operator new[](24, std::nothrow), std::nothrow);
        std::string* volatile texts = new std::string[3];
        delete[] texts;
    };
    EXPECT_TRUE(manager.TryWith(3, useObjects) && !manager.TryWith(2, useObjects));
    EXPECT_TRUE(manager.TryWith(0, useArrays));
}

TEST(MemoryManager, FreeingAnUnknownLargeBlockIsAnAssertionWhichDeleteShows) {
    IMemoryManager* const manager = &GetLargeBlockManager();
    void* const freed = manager->Alloc(100000);
    std::memset(freed, 1, 100000);
    manager->Free(freed);
    EXPECT_EQ(AssertionOf([&] { manager->Free(freed); }), u"PrivateAllocators:133");
    CRecordingHandler handler;
    CMessageHandlerSwitcher handlerSwitcher(&handler);
    alignas(kAllocationUnit) char neverAllocated[2 * kAllocationPrefix] = {};
    std::memcpy(neverAllocated + kAllocationPrefix - kPointerSize, &manager, sizeof(manager));
    void* volatile wrong = neverAllocated + kAllocationPrefix;
    ::operator delete(wrong);
    EXPECT_TRUE(handler.shown.at(0).text.ends_with(u"PrivateAllocators, 133."));
}

TEST(MemoryManager, LargeBlocksGrowWithTheirContentsAndAFewFreedOnesServeLaterRequestsUnlessSwitchedOff) {
    IMemoryManager& manager = GetLargeBlockManager();
    CMemorySwitches off = GetMemorySwitches(), on = off;
    off.keepFreedBlocks = false;
    SetMemorySwitches(off);
    auto* grown = static_cast<unsigned*>(doAlloc(100'000));
    grown[24'999] = 7;
    if (void* const larger = doGrow(grown, 20'000'000)) // where the system can
        grown = static_cast<unsigned*>(larger);
    EXPECT_TRUE(grown[24'999] == 7 && managerOf(grown) == &manager);
    doFree(grown);
    void* const small = doAlloc(100);
    EXPECT_EQ(doGrow(small, 100'000), nullptr);
    doFree(small);
    SetMemorySwitches(on);
    std::vector<void*> blocks(20);
    for (void*& block : blocks)
        block = manager.Alloc(100'000);
    for (void* const block : blocks)
        manager.Free(block);
    for (void* const block : blocks)
        EXPECT_EQ(AssertionOf([&] { manager.Free(block); }), u"PrivateAllocators:133") << "kept or not";
    std::vector<void*> again(9);
    for (void*& block : again)
        std::memset(block = manager.Alloc(30'000), 1, 30'000);
    EXPECT_TRUE(std::equal(again.begin(), again.end() - 1, blocks.end() - 8));
    for (void* const block : again)
        manager.Free(block);
    SetMemorySwitches(off);
    SetMemorySwitches(on);
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

TEST(Layout, FindsTheFirstFieldThatDiffersFromTheList) {
    EXPECT_EQ(MisplacedField<CPair>({wordAt(4), wordAt(0)}), 1) << "in another order";
    EXPECT_EQ(MisplacedField<CPair>({wordAt(0), CFieldPlace::Of<short>(4)}), 2) << "narrower";
    EXPECT_EQ(MisplacedField<CPair>({wordAt(0)}), 2) << "one field more than listed";
    EXPECT_EQ(MisplacedField<IMemoryManager>({wordAt(0)}), 1) << "in the place of the virtual table pointer";
}
