// Objects of their own on many threads at once, whatever they share inside; and in children of a process
// whose other threads are in the middle of something.
#include "tests/support/failure.h"
#include "tests/threads/threads.h"

#include <tarnkit/tarnkit.h>

namespace Tarn {
namespace {

constexpr int kThreads = 8;

// What the threads share: values that they only read, and a heap with blocks that any of them frees.
struct CShared {
    const CUnicodeString text = CUnicodeString(u"Общий текст, ") + CUnicodeString(u'x', 60);
    const CArray<CUnicodeString> texts{u"zwei", u"один", u"three"};
    CHeapManager heap;
    std::atomic<char*> blocks[500] = {}; // each its size, then that many equal bytes

    CShared() { heap.Create(); }
    ~CShared() {
        for (auto& slot : blocks)
            Exchange(slot, nullptr);
    }
    CShared(const CShared&) = delete;
    CShared& operator=(const CShared&) = delete;

    /// Frees the block that was there. Returns whether it was whole.
    bool Exchange(std::atomic<char*>& slot, char* block) {
        block = slot.exchange(block);
        if (block == nullptr)
            return true;
        std::size_t size;
        std::memcpy(&size, block, sizeof(size));
        const std::string_view rest(block + sizeof(size), size);
        const bool isWhole = rest.find_first_not_of(rest[0]) == rest.npos;
        heap.Free(block);
        return isWhole;
    }
};

struct CThreadOfTest {
    int index;
    CShared& shared;

    CUnicodeString Name(const char16_t* suffix) const { return u"thread" + UnicodeStr(index) + suffix; }
};

struct CJob {
    const char* name;
    int rounds;
    /// Whether everything came out as on a thread that is alone.
    bool (*run)(const CThreadOfTest& thread, int round);
};

void PrintTo(const CJob& job, std::ostream* out) { *out << job.name; }

bool editSharedTexts(const CThreadOfTest& thread, int round) {
    CUnicodeString copy = thread.shared.text;
    CUnicodeString grown = copy;
    grown += u'!';
    for (int i = 0; i < round % 40; i++)
        grown += thread.Name(u"");
    static constexpr unsigned kPages[] = {437,  737,  775,  850,  852,  855,  857,  860,  861,  862,
                                          863,  864,  865,  866,  869,  874,  932,  936,  949,  950,
                                          1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258, 28591};
    const unsigned page = kPages[static_cast<unsigned>(round) / 3 % std::size(kPages)];
    const CUnicodeString ascii = thread.Name(u"");
    const CString narrow(grown, 65001);
    CArray<CUnicodeString> texts = thread.shared.texts;
    texts.Add(grown);
    texts.Sort(CUnicodeString::Cmp);
    return copy == thread.shared.text && narrow.CreateUnicodeString(65001) == grown && texts.Has(grown) &&
           CString(ascii, page).CreateUnicodeString(page) == ascii;
}

bool fillContainers(const CThreadOfTest& thread, int round) {
    CMap<CUnicodeString, int> map;
    CUnicodeSet set(u"abc");
    for (int i = 0; i < 20; i++) {
        map.Set(thread.Name(u"-") + UnicodeStr(i), i + round);
        set |= static_cast<char16_t>(0x400 + 100 * i + thread.index);
    }
    const CUnicodeSet other = set;
    set &= CUnicodeSet(u"b");
    return *map.Find(thread.Name(u"-7")) == 7 + round && other.Has(u'a') && set.Has(u'b') && !set.Has(u'a');
}

bool writeAndReadFiles(const CThreadOfTest& thread, int round) {
    const CUnicodeString name = TempFile::New(thread.Name(u"").Ptr());
    CUnicodeString text;
    int number = 0;
    {
        CFile file(name, CFile::ForWriting | CFile::Create);
        CArchive store(&file, CArchive::Storing);
        store << thread.shared.text << round;
        store.Close();
        file.Close();
        file.Open(name, CFile::ForReading | CFile::DenyWrite);
        CArchive load(&file, CArchive::Loading);
        load >> text >> number;
    }
    CMemoryFile memory;
    memory.Write(text.Ptr(), text.GetLength() * 2);
    TempFile::Delete(name);
    return text == thread.shared.text && number == round && memory.GetLength() == text.GetLength() * 2 &&
           FailureOf([&] { CFile(name, CFile::ForReading); }) != "";
}

bool useTheRegistry(const CThreadOfTest& thread, int round) {
    CSetup<int> own(thread.Name(u"\\own"), u"Number", -1, ST_CurrentUser);
    own.Set(round);
    CCacheSetup<int> cached(thread.Name(u"\\own"), u"Number", -1, ST_CurrentUser);
    CRegistryKey shared(false);
    shared.Open(HKEY_CURRENT_USER, u"shared");
    shared.SetStringValue(thread.Name(u""), thread.shared.text);
    return own.Get() == round && cached.Get() == round &&
           shared.QueryStringValue(thread.Name(u""), u"") == thread.shared.text;
}

bool failAndCatch(const CThreadOfTest& thread, int round) {
    const CUnicodeString file = thread.Name(u".txt");
    CUnicodeString text;
    try {
        ThrowFileException(round % 2 == 0 ? 5 : 112, file);
    } catch (CException* e) {
        text = e->MessageText();
        e->Delete();
    }
    return text.Find(file) >= 0 && FailureOf([] { GenAssert(u"Threads", 1); }) == "assertion" &&
           FailureOf([] { ThrowMemoryException(); }) == "memory" &&
           FailureOf([&] { GenCheck(ERR_BAD_INI_FILE, file, u"", u""); }) == "ERR_BAD_INI_FILE";
}

bool formatValues(const CThreadOfTest& thread, int round) {
    const CTime time = CTime::GetCurrentTime();
    const CUnicodeString text = Format(u"%d %s %.3f", round, thread.shared.text.Ptr(), round / 8.0);
    int number = 0;
    return text.Mid(0, text.Find(u' ')).Value(number) && number == round &&
           !time.UnicodeFormat(u"%A %d %B %X").IsEmpty() &&
           ERR_FILE_DISK_FULL.SubstParam(text).Find(text) >= 0 &&
           rational(round + 1, 3) * rational(3) == rational(round + 1);
}

bool exchangeBlocks(const CThreadOfTest& thread, int round) {
    std::minstd_rand random(static_cast<unsigned>(thread.index * 1000 + round + 1));
    int damaged = 0;
    for (int i = 0; i < 100; i++) {
        const std::size_t size = 1 + random() % (i == 0 ? 400'000 : 600);
        const auto block =
            static_cast<char*>(thread.shared.heap.Alloc(static_cast<int>(sizeof(size) + size)));
        std::memcpy(block, &size, sizeof(size));
        std::memset(block + sizeof(size), static_cast<int>(random() & 0xFF), size);
        damaged += !thread.shared.Exchange(thread.shared.blocks[random() % 500], block);
    }
    for (int i = 0; i < 20; i++)
        doFree(doAllocLarge(100'000));
    return damaged == 0;
}

bool switchManagers(const CThreadOfTest& thread, int round) {
    CStackManager stack;
    CHeapManager heap;
    heap.Create();
    std::string* survivor = nullptr;
    {
        CMemoryManagerSwitcher toHeap(&heap);
        auto* text = new std::string(100, 'h');
        {
            CMemoryManagerSwitcher toStack(&stack);
            survivor = new std::string(static_cast<std::size_t>(round % 100 + 20), 's');
        }
        delete text;
        if (CMemoryManagerSwitcher::CurrentManager() != &heap)
            return false;
    }
    const bool isWhole = survivor->find_first_not_of('s') == std::string::npos;
    delete survivor;
    heap.Destroy(true);
    return isWhole && thread.index >= 0 && CMemoryManagerSwitcher::CurrentManager() == nullptr;
}

constexpr CJob kJobs[] = {{"Texts", 100, editSharedTexts},  {"Containers", 20, fillContainers},
                          {"Files", 10, writeAndReadFiles}, {"Registry", 3, useTheRegistry},
                          {"Failures", 40, failAndCatch},   {"Values", 40, formatValues},
                          {"Blocks", 100, exchangeBlocks},  {"Managers", 20, switchManagers}};

class OnManyThreads : public testing::TestWithParam<CJob> {};

INSTANTIATE_TEST_SUITE_P(Jobs, OnManyThreads, testing::ValuesIn(kJobs),
                         [](const testing::TestParamInfo<CJob>& job) { return job.param.name; });

TEST_P(OnManyThreads, DoesWhatOneThreadDoes) {
    CShared shared;
    for (const char* state : {"before Initialize", "started", "after Clean"}) {
        if (state == std::string("started")) {
            ASSERT_TRUE(Initialize(nullptr, nullptr));
        }
        std::vector<int> failures(kThreads);
        RunOnThreads(kThreads, [&](int index) {
            for (int round = 0; round < GetParam().rounds; round++)
                failures[static_cast<std::size_t>(index)] += !GetParam().run({index, shared}, round);
        });
        EXPECT_EQ(failures, std::vector<int>(kThreads)) << "by thread, " << state;
        if (IsTarnkitInitialized())
            Clean();
    }
}

// What one thread makes and another one uses and destroys.
struct CParcel {
    CUnicodeString text;
    CUnicodeSet set;
    CArray<CUnicodeString> texts;
    std::unique_ptr<CFile> file;
    CException* failure = nullptr;
    std::string* block = nullptr;
};

TEST(OnAnotherThread, ObjectsCanBeUsedAndDestroyed) {
    std::vector<CParcel> parcels(kThreads);
    for (int round = 0; round < 20; round++) {
        RunOnThreads(kThreads, [&](int index) {
            CParcel& parcel = parcels[static_cast<std::size_t>(index)];
            parcel.text = CUnicodeString(u'x', 10 << index);
            parcel.set = CUnicodeSet(parcel.text);
            parcel.texts.Add(parcel.text);
            parcel.file = std::make_unique<CFile>(TempFile::New(nullptr), CFile::ForReadingAndWriting);
            parcel.file->Write(parcel.text.Ptr(), 2);
            parcel.block = new std::string(100, 'b');
            try {
                ThrowFileException(5, parcel.text);
            } catch (CException* e) {
                parcel.failure = e;
            }
        });
        std::vector<int> isWhole(kThreads);
        RunOnThreads(kThreads, [&](int index) {
            const int other = (index + 1) % kThreads;
            CParcel parcel = std::move(parcels[static_cast<std::size_t>(other)]);
            isWhole[static_cast<std::size_t>(index)] =
                parcel.text.GetLength() == 10 << other && parcel.set.Has(u'x') &&
                parcel.texts.Has(parcel.text) && parcel.file->GetLength() == 2 &&
                parcel.failure->MessageText().Find(parcel.text) >= 0 &&
                *parcel.block == std::string(100, 'b');
            const CUnicodeString name = parcel.file->GetFileName();
            parcel.file->Close();
            TempFile::Delete(name);
            parcel.failure->Delete();
            delete parcel.block;
        });
        EXPECT_EQ(isWhole, std::vector<int>(kThreads, 1)) << "by thread";
    }
}

// The name of the first job that fails, or "".
std::string failedJob(const CThreadOfTest& thread, int round) {
    for (const CJob& job : kJobs) {
        // The registry is slow. What formats times may wait for locks of the C library in a child.
        const bool isDue = job.run != formatValues && (job.run != useTheRegistry || round % 10 == 9);
        bool isRight = false;
        const std::string failure = FailureOf([&] { isRight = !isDue || job.run(thread, round); });
        if (!isRight)
            return job.name + (" " + failure);
    }
    return "";
}

TEST(Fork, LeavesTheChildALibraryThatWorks) {
    TARNKIT_TEST_NEEDS(kFork);
    constexpr int kForking = 4, kForks = 200;
    CShared shared;
    std::atomic<bool> isOver = false;
    std::vector<std::string> failures(kForking);
    int failedChildren = 0;
    const CUnicodeString file = TempFile::New(nullptr);
    RunOnThreads(kForking + 1, [&](int index) {
        const CThreadOfTest thread{index, shared};
        for (int round = 0; index < kForking && !isOver && failures[static_cast<std::size_t>(index)].empty();
             round++)
            failures[static_cast<std::size_t>(index)] = failedJob(thread, round);
        for (int i = 0; index == kForking && i < kForks && failedChildren < 3; i++) {
            void* const inherited = doAllocLarge(100'000);
            failedChildren += RunInChild([&] {
                                  doFree(inherited);
                                  TempFile::DeleteAll();
                                  const std::string failed = failedJob(thread, 10 * i + 9);
                                  std::fprintf(stderr, "%s", failed.c_str());
                                  return static_cast<int>(failed.size());
                              }) != 0; // -1 is a child that did not end
            doFree(inherited);
        }
        isOver = isOver || index == kForking;
    });
    EXPECT_EQ(failedChildren, 0);
    EXPECT_EQ(failures, std::vector<std::string>(kForking));
    EXPECT_EQ(FailureOf([&] { TempFile::Delete(file); }), "") << "a child removed a file of its parent";
}

} // namespace
} // namespace Tarn
