// Children of a process whose other threads are in the middle of something.
#include "tests/support/capabilities.h"
#include "tests/support/failure.h"
#include "tests/support/system.h"
#include "tests/threads/threads.h"

#include <tarnkit/tarnkit.h>

#include <gtest/gtest.h>

#include <atomic>

namespace Tarn {
namespace {

constexpr int kThreads = 4;
constexpr int kForks = 200;

// What a thread does, and whether it worked. `number` is its own.
struct CWork {
    CHeapManager& heap;
    int number;
    int round = 0;

    CUnicodeString Name() const { return u"worker" + UnicodeStr(number); }

    bool UseAHeap() {
        CMemoryManagerSwitcher switcher(&heap);
        void* blocks[40];
        for (unsigned i = 0; i < 40; i++)
            std::memset(blocks[i] = doAlloc(i % 20 == 0 ? 300'000 : 8 + i * 16), 1, 8 + i);
        for (void* block : blocks)
            doFree(block);
        CHeapManager own;
        own.Create();
        return own.Alloc(100) != nullptr;
    }

    bool UseVirtualMemory() {
        for (int i = 0; i < 20; i++)
            doFree(doAllocLarge(100'000));
        return true;
    }

    bool UseTexts() {
        static constexpr unsigned kPages[] = {437,  737,  775,  850,  852,  855,  857,  860,  861,  862,
                                              863,  864,  865,  866,  869,  874,  932,  936,  949,  950,
                                              1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258, 28591};
        const unsigned page = kPages[static_cast<unsigned>(round) / 3 % std::size(kPages)];
        CUnicodeSet set;
        for (int i = 0; i < 40; i++)
            set |= static_cast<char16_t>(i * 1024);
        CUnicodeString text = Name();
        CArray<CUnicodeString> texts;
        for (int i = 0; i < 100; i++)
            texts.Add(text += u'x');
        const CString narrow(text, page);
        return set.Has(u'\x400') && narrow.CreateUnicodeString(page) == text && texts.Size() == 100;
    }

    bool UseFiles() {
        const CUnicodeString name =
            FileSystem::MergePath(FileSystem::AddPathSeparator(TempFile::GetTemporaryDir()), Name());
        CFile file(name, CFile::ForWriting | CFile::Create);
        file.Write(name.Ptr(), name.GetLength() * 2);
        file.Close();
        file.Open(name, CFile::ForReading | CFile::DenyWrite);
        const bool isWhole = file.GetLength() == name.GetLength() * 2;
        file.Close();
        FileSystem::Remove(name);
        return isWhole;
    }

    bool UseTheRegistry() {
        CSetup<int> value(Name(), u"Number", -1, ST_CurrentUser);
        value.Set(round);
        return value.Get() == round;
    }

    bool UseMessages() {
        return FailureOf([] { ThrowFileException(5, u"name"); }) != "" &&
               FailureOf([] { ThrowMemoryException(); }) == "memory";
    }

    // The number of the first part that failed; 0 if none did, 7 for an exception, which is printed.
    int Do() {
        int part = 7;
        if (const std::string failure = FailureOf([&] { part = doParts(); }); failure != "")
            std::fprintf(stderr, "an exception in thread %d: %s\n", number, failure.c_str());
        return part;
    }

private:
    int doParts() {
        const bool isRegistryDue = ++round % 10 == 0; // it is slow
        return !UseAHeap()                          ? 1
               : !UseVirtualMemory()                ? 2
               : !UseTexts()                        ? 3
               : !UseFiles()                        ? 4
               : !UseMessages()                     ? 5
               : isRegistryDue && !UseTheRegistry() ? 6
                                                    : 0;
    }
};

TEST(Fork, LeavesTheChildALibraryThatWorks) {
    TARNKIT_TEST_NEEDS(kFork);
    CHeapManager heap;
    heap.Create();
    std::atomic<bool> isOver = false;
    std::atomic<int> failedPart = 0;
    std::vector<int> failedInChild;
    const CUnicodeString file = TempFile::New(nullptr);
    RunOnThreads(kThreads + 1, [&](int index) {
        CWork work{heap, index};
        while (index < kThreads && !isOver)
            if (const int part = work.Do(); part != 0)
                failedPart = part;
        for (int i = 0; index == kThreads && i < kForks && failedInChild.size() < 3; i++) {
            work.round = 10 * i + 9; // the registry, too
            void* const inherited = doAllocLarge(100'000);
            const auto useInChild = [&] {
                doFree(inherited);
                TempFile::DeleteAll();
                return work.Do();
            };
            if (const int part = RunInChild(useInChild); part != 0)
                failedInChild.push_back(part);
            doFree(inherited);
        }
        isOver = isOver || index == kThreads;
    });
    EXPECT_EQ(failedInChild, std::vector<int>()) << "-1 is a child that did not end";
    EXPECT_EQ(failedPart, 0);
    EXPECT_EQ(FailureOf([&] { TempFile::Delete(file); }), "") << "a child removed a file of its parent";
}

} // namespace
} // namespace Tarn
