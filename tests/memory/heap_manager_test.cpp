#include "tests/support/failure.h"
#include "tests/support/fresh_folder.h"

#include <tarnkit/heap_manager.h>
#include <tarnkit/text_of_values.h>

using namespace Tarn;

namespace {

// A manager with a handle that is not a heap's.
struct CLostHeap {
    CHeapManager manager;

    CLostHeap() {
        static const char notAHeap[0x1000] = {};
        const void* const handle = notAHeap;
        std::memcpy(reinterpret_cast<char*>(&manager) + kPointerSize, &handle, sizeof handle);
    }
};

} // namespace

TEST(HeapManager, KeepsAHeapInUseUnlessForcedAndUnusedAtTheLastCreate) {
    CHeapManager heap;
    heap.Destroy(true);
    heap.Create();
    void* const handle = heap.Handle();
    void* const block = heap.Alloc(100);
    heap.Destroy(false);
    EXPECT_EQ(heap.Handle(), handle) << "in use";
    heap.Create();
    heap.Destroy(true);
    EXPECT_EQ(heap.Handle(), handle) << "in use at the last Create";
    heap.Free(block);
    heap.IncRef();
    heap.Destroy(false);
    EXPECT_EQ(heap.Handle(), handle) << "referred to";
    heap.DecRef();
    heap.Create();
    heap.Alloc(100);
    heap.Destroy(true);
    EXPECT_EQ(heap.Handle(), nullptr);
    heap.Create();
    heap.Destroy(false);
    EXPECT_EQ(heap.Handle(), nullptr) << "blocks that were destroyed by force no longer count";
}

TEST(HeapManager, CountsTheBlocksOfAPhaseOfWorkThatAreFreedOnAnyThread) {
    CHeapManager heap;
    heap.Create();
    std::vector<int*> numbers(1000);
    {
        CMemoryManagerSwitcher switcher(&heap);
        for (int*& number : numbers)
            number = new int;
    }
    heap.Destroy(false);
    std::thread([&] {
        for (int* number : numbers)
            delete number;
    }).join();
    heap.Free(nullptr);
    EXPECT_EQ(FailureOf([&] { heap.Alloc(-1); }), "memory");
    heap.Destroy(false);
    EXPECT_EQ(heap.Handle(), nullptr) << "each block counts once, and a refused one does not";
}

TEST(HeapManager, AssertsWhenTheSystemCannotDestroyTheHeap) {
    EXPECT_EQ(AssertionOf([] {
                  CLostHeap lost;
                  EXPECT_EQ(AssertionOf([&] { lost.manager.Destroy(false); }), u"ALLOC:343");
              }),
              u"none");
    EXPECT_EQ(AssertionOf([] { CLostHeap lost; }), u"ALLOC:343");
    EXPECT_EQ(FailureOf([] {
                  CLostHeap lost;
                  ThrowMemoryException();
              }),
              "memory")
        << "the exception that was already in flight";
}

TEST(HeapManager, TracesItsHandleAndWhatRefersToIt) {
    TARNKIT_TEST_NEEDS(kTraceOutput);
    SetEnvironment("TARNKIT_TRACE", "heap trace");
    CHeapManager heap;
    heap.Create();
    void* const block = heap.Alloc(1);
    heap.IncRef();
    {
        CMemoryManagerSwitcher switcher(&heap);
        heap.DumpExt();
    }
    EXPECT_EQ(BytesOf("heap trace"), Format("Heap Handle=%IX\nRefCount=2\n", heap.Handle()).Ptr());
    heap.Free(block);
}
