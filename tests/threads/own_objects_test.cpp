// Objects of their own on many threads at once, whatever they share inside.
#include "tests/support/failure.h"
#include "tests/threads/threads.h"

#include <tarnkit/tarnkit.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace Tarn {
namespace {

constexpr int kThreads = 8;

// What a thread may touch: its number, and values that all of them share and only read.
struct CThreadOfTest {
    int index;
    const CUnicodeString& sharedText;
    const CArray<CUnicodeString>& sharedTexts;

    CUnicodeString Name(const char16_t* suffix) const { return u"thread" + UnicodeStr(index) + suffix; }
};

struct CJob {
    const char* name;
    int rounds;
    /// Whether everything came out as on a thread that is alone.
    std::function<bool(const CThreadOfTest& thread, int round)> run;
};

void PrintTo(const CJob& job, std::ostream* out) { *out << job.name; }

bool editSharedTexts(const CThreadOfTest& thread, int round) {
    CUnicodeString copy = thread.sharedText;
    CUnicodeString grown = copy;
    grown += u'!';
    for (int i = 0; i < round % 40; i++)
        grown += thread.Name(u"");
    const CString narrow(grown, 65001);
    CArray<CUnicodeString> texts = thread.sharedTexts;
    texts.Add(grown);
    texts.Sort(CUnicodeString::Cmp);
    return copy == thread.sharedText && narrow.CreateUnicodeString(65001) == grown && texts.Has(grown);
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
        store << thread.sharedText << round;
        store.Close();
        file.Close();
        file.Open(name, CFile::ForReading | CFile::DenyWrite);
        CArchive load(&file, CArchive::Loading);
        load >> text >> number;
    }
    CMemoryFile memory;
    memory.Write(text.Ptr(), text.GetLength() * 2);
    TempFile::Delete(name);
    return text == thread.sharedText && number == round && memory.GetLength() == text.GetLength() * 2 &&
           FailureOf([&] { CFile(name, CFile::ForReading); }) != "";
}

bool useTheRegistry(const CThreadOfTest& thread, int round) {
    CSetup<int> own(thread.Name(u"\\own"), u"Number", -1, ST_CurrentUser);
    own.Set(round);
    CCacheSetup<int> cached(thread.Name(u"\\own"), u"Number", -1, ST_CurrentUser);
    CRegistryKey shared(false);
    shared.Open(HKEY_CURRENT_USER, u"shared");
    shared.SetStringValue(thread.Name(u""), thread.sharedText);
    return own.Get() == round && cached.Get() == round &&
           shared.QueryStringValue(thread.Name(u""), u"") == thread.sharedText;
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
    const CUnicodeString text = Format(u"%d %s %.3f", round, thread.sharedText.Ptr(), round / 8.0);
    int number = 0;
    return text.Mid(0, text.Find(u' ')).Value(number) && number == round &&
           !time.UnicodeFormat(u"%A %d %B %X").IsEmpty() &&
           ERR_FILE_DISK_FULL.SubstParam(text).Find(text) >= 0 &&
           rational(round + 1, 3) * rational(3) == rational(round + 1);
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

class OnManyThreads : public testing::TestWithParam<CJob> {};

TEST_P(OnManyThreads, DoesWhatOneThreadDoes) {
    const CUnicodeString sharedText = CUnicodeString(u"Общий текст, ") + CUnicodeString(u'x', 60);
    CArray<CUnicodeString> sharedTexts;
    for (const char16_t* text : {u"zwei", u"один", u"three"})
        sharedTexts.Add(text);
    for (const char* state : {"before Initialize", "started", "after Clean"}) {
        if (state == std::string("started")) {
            ASSERT_TRUE(Initialize(nullptr, nullptr));
        }
        std::vector<int> failures(kThreads);
        RunOnThreads(kThreads, [&](int index) {
            const CThreadOfTest thread{index, sharedText, sharedTexts};
            for (int round = 0; round < GetParam().rounds; round++)
                failures[static_cast<std::size_t>(index)] += !GetParam().run(thread, round);
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

INSTANTIATE_TEST_SUITE_P(Jobs, OnManyThreads,
                         testing::Values(CJob{"Texts", 100, editSharedTexts},
                                         CJob{"Containers", 20, fillContainers},
                                         CJob{"Files", 10, writeAndReadFiles},
                                         CJob{"Registry", 3, useTheRegistry},
                                         CJob{"Failures", 40, failAndCatch}, CJob{"Values", 40, formatValues},
                                         CJob{"Managers", 20, switchManagers}),
                         [](const testing::TestParamInfo<CJob>& job) { return job.param.name; });

} // namespace
} // namespace Tarn
