#include "tests/support/assertion.h"
#include "tests/support/capabilities.h"
#include "tests/support/failure.h"
#include "tests/support/system.h"

#include <tarnkit/heap_manager.h>

#include <cstring>
#include <fstream>
#include <thread>
#include <vector>

using namespace Tarn;

namespace {

// Lets the manager forget its heap for another one, or for something that the system does not know.
void* exchangeHandle(CHeapManager& manager, void* handle) {
    void* const old = manager.Handle();
    std::memcpy(reinterpret_cast<char*>(&manager) + kPointerSize, &handle, sizeof handle);
    return old;
}

void* const notAHeap[1024] = {};

} // namespace

TEST(HeapManager, KeepsAHeapInUseUnlessForcedAndUnusedAtItsCreation) {
    // 'c' creates, 'a' takes a block, 'f' frees it, '+' and '-' count a reference, 'd' destroys, 'D' by
    // force.
    const struct {
        const char* actions;
        bool hasHeap;
    } rows[] = {{"d", false},   {"cd", false},   {"cad", true},    {"cafd", false}, {"caD", false},
                {"cacD", true}, {"c+d", true},   {"c+cD", true},   {"c+-d", false}, {"cacfcD", false},
                {"cc", true},   {"cDcd", false}, {"cacfd", false}, {"cadcD", true}, {"caDcad", true}};
    for (const auto& row : rows) {
        CHeapManager heap;
        void* block = nullptr;
        void* first = nullptr;
        for (const char* action = row.actions; *action != 0; action++) {
            switch (*action) {
            case 'c':
                heap.Create();
                break;
            case 'a':
                first = heap.Handle();
                block = heap.Alloc(100);
                break;
            case 'f':
                heap.Free(block);
                heap.Free(nullptr);
                break;
            case '+':
                heap.IncRef();
                break;
            case '-':
                heap.DecRef();
                break;
            default:
                heap.Destroy(*action == 'D');
            }
        }
        EXPECT_EQ(heap.Handle() != nullptr, row.hasHeap) << row.actions;
        EXPECT_TRUE(!row.hasHeap || first == nullptr || heap.Handle() == first) << row.actions;
        heap.Free(row.hasHeap ? block : nullptr); // also by the manager whose heap force spared
        heap.Create();
    }
}

TEST(HeapManager, ServesAPhaseOfWorkWhoseBlocksAreFreedOnAnyThread) {
    CHeapManager heap;
    heap.Create();
    {
        std::vector<int*> numbers(1000); // an array: not from the heap
        {
            CMemoryManagerSwitcher switcher(&heap);
            for (std::size_t i = 0; i < numbers.size(); i++)
                numbers[i] = new int(static_cast<int>(i));
        }
        std::thread([&] {
            for (std::size_t i = 0; i < numbers.size(); i++) {
                EXPECT_EQ(*numbers[i], static_cast<int>(i));
                delete numbers[i];
            }
        }).join();
    }
    heap.Destroy(false);
    EXPECT_EQ(heap.Handle(), nullptr) << "each block was counted once";
    heap.Create();
    EXPECT_EQ(FailureOf([&] { heap.Alloc(-1); }), "memory");
    heap.Destroy(false);
    EXPECT_EQ(heap.Handle(), nullptr) << "a refused block was counted";
}

TEST(HeapManager, AssertsAndForgetsTheHeapWhenTheSystemRefusesToDestroyIt) {
    CHeapManager heap;
    heap.Create();
    void* const kept = exchangeHandle(heap, const_cast<void**>(notAHeap));
    EXPECT_EQ(AssertionOf([&] { heap.Destroy(false); }), u"ALLOC:343");
    EXPECT_EQ(heap.Handle(), nullptr);
    EXPECT_EQ(AssertionOf([&] {
                  CHeapManager lost;
                  exchangeHandle(lost, const_cast<void**>(notAHeap));
              }),
              u"ALLOC:343");
    EXPECT_EQ(FailureOf([&] {
                  CHeapManager lost;
                  exchangeHandle(lost, const_cast<void**>(notAHeap));
                  ThrowMemoryException();
              }),
              "memory")
        << "what is on its way goes on";
    exchangeHandle(heap, kept);
}

TEST(HeapManager, TracesItsHandleAndWhatRefersToIt) {
    TARNKIT_TEST_NEEDS(kTraceOutput);
    SetEnvironment("TARNKIT_TRACE", "heap trace");
    CHeapManager heap;
    heap.Create();
    void* const blocks[] = {heap.Alloc(1), heap.Alloc(1)};
    {
        CMemoryManagerSwitcher switcher(&heap);
        heap.DumpExt();
    }
    std::ifstream trace("heap trace");
    char text[100] = {};
    trace.read(text, sizeof text - 1);
    char expected[100];
    std::snprintf(expected, sizeof expected, "Heap Handle=%llX\nRefCount=2\n",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(heap.Handle())));
    EXPECT_STREQ(text, expected);
    for (void* block : blocks)
        heap.Free(block);
}
