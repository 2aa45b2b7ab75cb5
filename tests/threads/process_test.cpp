// What belongs to the process, read and changed on many threads at once; and threads that come and go.
#include "tests/files/support.h"
#include "tests/support/memory_in_use.h"
#include "tests/threads/threads.h"

#include <tarnkit/tarnkit.h>

namespace Tarn {
namespace {

// One of two long texts: a torn value would be neither.
const CUnicodeString kTexts[] = {CUnicodeString(u'a', 300), CUnicodeString(u'b', 40)};

bool isOneOfThem(const CUnicodeString& text) { return text == kTexts[0] || text == kTexts[1]; }

CUnicodeString folderNamed(const CUnicodeString& name) {
    const CUnicodeString path =
        FileSystem::MergePath(FileSystem::AddPathSeparator(TempFile::GetTemporaryDir()), name);
    if (!FileSystem::AccessDir(path))
        FileSystem::MakeDir(path);
    return path;
}

class CAnswer : public CMessageHandler {
public:
    explicit CAnswer(int button) : answer(button) {}
    int ShowMessage(HWND, const char16_t*, const char16_t*, unsigned) override { return answer; }

private:
    int answer;
};

CAnswer yes(IDYES);
CAnswer no(IDNO);

// A value of the process: how to change it to one of two, and whether what is read is one of these.
struct CProcessValue {
    const char* name;
    std::function<void(int which)> change;
    std::function<bool()> isWhole;
};

void PrintTo(const CProcessValue& value, std::ostream* out) { *out << value.name; }

CCacheSetup<int> cachedNumber(u"cached", u"Number", 0, ST_CurrentUser);
CCacheSetupStringArray cachedTexts(u"cached", u"Texts", ST_CurrentUser);

CArray<CUnicodeString> textsOf(int which) {
    CArray<CUnicodeString> texts;
    texts.Add(kTexts[which]);
    return texts;
}

const CProcessValue kProcessValues[] = {
    {"Title", [](int which) { SetAppTitle(kTexts[which]); }, [] { return isOneOfThem(GetAppTitle()); }},
    {"UserSection", [](int which) { SetUserRegistrySection(kTexts[which]); },
     [] { return isOneOfThem(GetUserRegistrySection()); }},
    {"MachineSection", [](int which) { SetMachineRegistrySection(kTexts[which]); },
     [] { return isOneOfThem(GetMachineRegistrySection()); }},
    {"CurrentFolder", [](int which) { FileSystem::ChangeDir(folderNamed(kTexts[1] + UnicodeStr(which))); },
     [] {
         CUnicodeString file = u"x";
         FileSystem::MakeFullPath(file);
         return file.Find(kTexts[1]) > 0;
     }},
    {"ApplicationData",
     [](int which) {
         FileSystem::SetApplicationDataPath(FileSystem::TApplicationDataPathType::User,
                                            folderNamed(kTexts[1] + UnicodeStr(which)));
     },
     [] {
         return FileSystem::GetApplicationDataPath(FileSystem::TApplicationDataPathType::User)
                    .Find(kTexts[1]) > 0;
     }},
    {"TemporaryFolder",
     [](int which) { TempFile::SetTemporaryDir(which == 0 ? CUnicodeString() : kTexts[1]); },
     [] {
         const CUnicodeString dir = TempFile::GetTemporaryDir();
         return dir == kTexts[1] || FileSystem::AccessDir(dir);
     }},
    {"Handler",
     [](int which) {
         CMessageHandlerSwitcher switcher(which == 0 ? &yes : &no);
         MessageBoxW(u"", MB_YESNO);
     },
     [] {
         CMessageHandlerSwitcher own(&yes, true, true);
         return MessageBoxW(u"", MB_YESNO) == IDYES;
     }},
    {"MainWindow",
     [](int which) { SetMainWindow(reinterpret_cast<HWND>(const_cast<CUnicodeString*>(&kTexts[which]))); },
     [] { return isOneOfThem(*reinterpret_cast<const CUnicodeString*>(GetMainWindow())); }},
    {"CachedNumber", [](int which) { cachedNumber.Set(which == 0 ? 0x11111111 : 0x22222222); },
     [] { return cachedNumber.Get() % 0x11111111 == 0; }},
    {"CachedTexts", [](int which) { cachedTexts.Set(textsOf(which)); },
     [] {
         CArray<CUnicodeString> texts;
         cachedTexts.Get(texts);
         return texts.Size() == 1 && isOneOfThem(texts[0]);
     }}};

class ProcessValues : public testing::TestWithParam<CProcessValue> {
protected:
    ProcessValues() { EXPECT_TRUE(Initialize(nullptr, nullptr)); }
    ~ProcessValues() override {
        SetMainWindow(nullptr);
        Clean();
    }
};

TEST_P(ProcessValues, AreNeverTorn) {
    const CProcessValue& value = GetParam();
    value.change(0);
    std::vector<int> torn(4);
    RunOnThreads(4, [&](int index) {
        for (int i = 0; i < 40; i++) {
            if (index < 2)
                value.change((i + index) % 2);
            torn[static_cast<std::size_t>(index)] += !value.isWhole();
        }
    });
    EXPECT_EQ(torn, std::vector<int>(4)) << "by thread";
}

INSTANTIATE_TEST_SUITE_P(All, ProcessValues, testing::ValuesIn(kProcessValues),
                         [](const testing::TestParamInfo<CProcessValue>& value) { return value.param.name; });

TEST(ProcessCounters, CountWhatAllThreadsDo) {
    constexpr int kRounds = 1000;
    ResetMemoryCounters();
    RunOnThreads(4, [](int index) {
        for (int i = 0; i < kRounds; i++) {
            RegisterHeapAlloc(index);
            RegisterStackAlloc(1);
            RegisterStackFree(1);
        }
    });
    CMemoryCounters counters;
    GetCurrentMemoryCounters(counters);
    EXPECT_TRUE(counters.HeapAllocCount == 4 * kRounds && counters.HeapPeakSize == 6 * kRounds &&
                counters.StackCurrentSize == 0 && counters.StackFreeCount == 4 * kRounds &&
                counters.StackPeakSize >= 1 && counters.StackPeakSize <= 4);
    ResetMemoryCounters();
}

// What a thread leaves behind must be nothing.
void useTheLibraryOnce(int index) {
    CArray<CUnicodeString> texts;
    for (int length = 1; length < 400; length *= 2)
        texts.Add(CUnicodeString(u'x', length) + UnicodeStr(index));
    CUnicodeSet set(u"x");
    static const int slot = GetThreadDataStorage().AllocSlot();
    GetThreadDataStorage().SetSlotData(slot, &set);
    SetErrorFlag(true);
    CStackManager stack;
    CMemoryManagerSwitcher toStack(&stack);
    try {
        ThrowFileException(5, texts[0]);
    } catch (CException* e) {
        texts.Add(e->MessageText());
        e->Delete();
    }
}

TEST(EndedThreads, LeaveNoMemoryBehind) {
    const auto runThreads = [](int number) {
        constexpr int kAtOnce = 10;
        for (int i = 0; i < number; i += kAtOnce)
            RunOnThreads(kAtOnce, useTheLibraryOnce);
        return MemoryInUse();
    };
    runThreads(1000);
    const std::size_t before = runThreads(10);
    const std::size_t after = runThreads(10'000);
    EXPECT_LT(after, before + 50'000) << "five bytes a thread: the C library keeps some stacks";
}

} // namespace
} // namespace Tarn
