#include "tests/support/refusing_manager.h"

#include <tarnkit/message_handlers.h>
#include <tarnkit/pool_allocators.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <new>
#include <thread>
#include <vector>

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

// Fails with an exception of its own, whose end it notices.
class CFailingManager : public IMemoryManager {
public:
    bool isDisposedOf = false;

    void* Alloc(int) override { throw new CFailure(&isDisposedOf); }
    void Free(void*) override {}

private:
    struct CFailure : CUserException {
        explicit CFailure(bool* flag) : isEnded(flag) {}
        ~CFailure() override { *isEnded = true; }
        bool* isEnded;
    };
};

// Keeps the last message.
class CLastMessage : public CMessageHandler {
public:
    CUnicodeString text;

    int ShowMessage(HWND, const char16_t* message, const char16_t*, unsigned flags) override {
        text = message;
        return GetDefaultReturnValue(flags);
    }
};

} // namespace

TEST(MemoryManager, SmallBlocksComeFromTheCurrentManagerAndLargeOnesNever) {
    CRefusingManager manager;
    const std::pair<unsigned, IMemoryManager*> cases[] = {
        {0, &manager}, {65532, &manager}, {65533, &GetLargeBlockManager()}};
    for (const auto& [size, expected] : cases) {
        void* block = allocFrom(manager, size);
        EXPECT_EQ(managerOf(block), expected) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % kAllocationUnit, 0u);
        std::memset(block, 0xAB, size);
        doFree(block);
    }
    alloc_delete(nullptr);
}

// The test framework allocates, too: expectations stand outside the scopes of the switchers.
TEST(MemoryManager, ScopesNestInTheirThreadAndBlocksGoBackToTheirMaker) {
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

TEST(MemoryManager, TheSwitchOffLeavesSmallBlocksToTheDefaultManager) {
    const CMemorySwitches saved = GetMemorySwitches();
    CMemorySwitches switches = saved;
    switches.enableHeapSwitching = false;
    SetMemorySwitches(switches);
    CRefusingManager manager;
    void* block = allocFrom(manager, 8);
    SetMemorySwitches(saved);
    EXPECT_EQ(managerOf(block), &GetDefaultMemoryManager());
    doFree(block);
}

TEST(MemoryManager, ARefusalIsTheMemoryException) {
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
    EXPECT_TRUE(manager.isDisposedOf);
}

TEST(MemoryManager, DeleteShowsAnAssertionAndGoesOn) {
    CLastMessage handler;
    CMessageHandlerSwitcher handlerSwitcher(&handler);
    alignas(kAllocationUnit) char neverAllocated[2 * kAllocationPrefix] = {};
    IMemoryManager* const manager = &GetLargeBlockManager();
    std::memcpy(neverAllocated + kAllocationPrefix - kPointerSize, &manager, sizeof(manager));
    void* volatile wrong = neverAllocated + kAllocationPrefix;
    ::operator delete(wrong);
    EXPECT_NE(handler.text.Find(u"PrivateAllocators, 133"), -1);
}

TEST(MemoryManager, EveryFormOfNewAndDeleteAgrees) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    const auto useObjects = [] {
        ::operator delete(::operator new(24, std::nothrow), std::nothrow);
        ::operator delete(::operator new(24));
        // The compiler takes the sized form for these, and leaves them out if it sees that nobody looks.
        int* volatile number = new int;
        delete number;
    };
    const auto useArrays = [] { // which belong to the C runtime
        ::operator delete[](::operator new[](400));
        ::operator delete[](::operator new[](24, std::nothrow), std::nothrow);
        std::string* volatile texts = new std::string[3];
        delete[] texts;
    };
    EXPECT_TRUE(manager.TryWith(3, useObjects) && !manager.TryWith(2, useObjects));
    EXPECT_TRUE(manager.TryWith(0, useArrays));
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
