// Every call of the system and every allocation that a use of the library makes fails once, in each way in
// which it may, and where that makes sense fails from then on. Whatever happens: no crash, no leak, no
// exception but the library's own; what was there before stays, or the new thing is there as a whole; success
// is reported only for the latter; no temporary file stays for good, and the next use works.
#include "tests/errors/reports.h"
#include "tests/faults/interposer.h"
#include "tests/files/support.h"
#include "tests/support/memory_in_use.h"
#include "tests/support/system.h"

#include <tarnkit/tarnkit.h>

#include <algorithm>
#include <cerrno>
#include <dlfcn.h>
#include <map>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern "C" [[gnu::weak]] int __lsan_do_recoverable_leak_check();

namespace Tarn {
namespace {

namespace fs = std::filesystem;

constexpr int kShort = -1; // half of what was asked for is transferred

// The ways in which calls fail.
const std::map<std::string_view, std::vector<int>> kFaults = [] {
    const std::pair<std::vector<std::string_view>, std::vector<int>> groups[] = {
        {{"malloc", "calloc", "realloc", "posix_memalign", "aligned_alloc", "mmap64", "mprotect",
          "newlocale"},
         {ENOMEM}},
        {{"open64", "openat64", "fopen64"}, {EIO, ENOSPC, EINTR, EACCES, EMFILE}},
        {{"read", "pread64"}, {EIO, EINTR, kShort}},
        {{"write", "pwrite64", "copy_file_range"}, {EIO, ENOSPC, EINTR, kShort}},
        {{"fsync", "fdatasync", "ftruncate64"}, {EIO, ENOSPC, EINTR}},
        {{"close"}, {EIO, EINTR}},
        {{"rename", "renameat2", "link", "symlink", "mkdir"}, {EIO, ENOSPC, EACCES}},
        {{"fcntl64", "flock"}, {EINTR, ENOLCK}},
        {{"opendir", "fdopendir", "iconv_open"}, {EMFILE, ENOMEM}},
        {{"readdir64", "fstatvfs64", "lseek64", "futimens"}, {EIO}},
        {{"unlink", "unlinkat", "rmdir", "statx", "stat64", "lstat64", "fstat64", "chmod", "fchmod", "fchown",
          "readlink", "realpath", "getcwd", "dlopen"},
         {EIO, EACCES}}};
    std::map<std::string_view, std::vector<int>> faults;
    for (const auto& [names, errors] : groups)
        for (const std::string_view name : names)
            faults[name] = errors;
    return faults;
}();

// On a disk of which nothing can be read any more, nothing can be undone either.
bool canStay(int error) { return error == ENOMEM || error == ENOSPC || error == EMFILE; }

// Where the library is struck.
struct CPoint {
    std::string_view name;
    int call = -1;
    int error = 0;
    bool stays = false;
} struck;

// Counts calls, and lets one fail, or all from one on that can fail in that way.
class CFault : public CCallHook {
public:
    int Before(CCall& call) override {
        // A reference to what is loaded already is not refused.
        if (call.name == "dlopen" && (call.arguments[1] & RTLD_NOLOAD) != 0)
            return 0;
        if (struck.call < 0) {
            calls.push_back(call.name);
            return 0;
        }
        const bool isDue = count == struck.call || (struck.stays && count > struck.call);
        count++;
        if (!isDue || std::ranges::count(kFaults.at(call.name), struck.error) == 0)
            return 0;
        if (struck.error != kShort)
            return struck.error;
        std::uintptr_t& size = call.arguments[call.name == "copy_file_range" ? 4 : 2];
        size = (size + 1) / 2;
        return 0;
    }

    std::vector<std::string_view> calls; // if there is no fault

    int count = 0;
};

using TState = std::map<std::string, std::string>; // what is there, by name

fs::path place;     // the folder of the test
fs::path otherDisk; // a folder on another disk, if there is one
std::string result; // of a use that changes no file

CUnicodeString in(const char* name) { return NameOf(place / name); }

const CUnicodeString kText = CUnicodeString(u"new\n") + CUnicodeString(u'n', 3000);

TState filesIn(const fs::path& dir) {
    TState files;
    for (const auto& entry : fs::recursive_directory_iterator(dir))
        // A mark that could not be removed is nobody's, so the next program removes it.
        if (entry.path().extension() != ".lock")
            files[entry.path().lexically_relative(dir)] =
                entry.is_directory() ? "(folder)" : BytesOf(entry.path());
    return files;
}

TState inFolder() { return filesIn(place); }
TState inResult() { return {{"result", result}}; }

std::string bytes(const CUnicodeString& text) { return text.CreateString(65001).Ptr(); }

void fillFolder() {
    for (const auto& entry : fs::directory_iterator(place))
        fs::remove_all(entry);
    WriteBytes(place / "old", "[s]\nk=v\n");
}
void clearResult() { result.clear(); }

void saveThrough(const CUnicodeString& dir) {
    const CUnicodeString temp = TempFile::NewInDir(dir, u"doc");
    CFile file(temp, CFile::ForWriting);
    CArchive archive(&file, CArchive::Storing, 512);
    archive << kText << rational(1, 3) << 7;
    archive.Close();
    file.Close();
    TempFile::MakePermanent(temp, in("old"));
}

TState language() {
    return {{"language", bytes(UnicodeStr(GetCurrentLanguageCode(), 10))},
            {"text", bytes(ERR_BAD_ARCHIVE.UnicodeStr())}};
}

bool isSubset(const TState& now, const TState& before, const TState&) {
    return std::ranges::includes(before, now);
}

// A file that is moved may be in both places for a moment, and is never in none.
bool isSomewhere(const TState& now, const TState& before, const TState& after) {
    TState both = before;
    both.insert(after.begin(), after.end());
    return now == both;
}

bool isBegun(const TState& now, const TState&, const TState& after) {
    return std::ranges::all_of(now, [&](const auto& file) {
        return after.contains(file.first) && after.at(file.first).starts_with(file.second);
    });
}

enum TKind {
    kUsual,
    kGrows,          // what the process keeps grows with every use
    kReportsNothing, // neither success nor failure
    kOnce            // only the first use in a process makes these calls
};

const CUnicodeString& englishText() {
    static const CUnicodeString text(u"%0 is corrupted.");
    return text;
}

// A use of the library: what is there before, what is done (and whether that succeeds), what is there after.
const struct CScenario {
    const char* name;
    int leastFaults;
    void (*prepare)();
    bool (*act)();
    TState (*state)();
    bool (*alsoAllows)(const TState& now, const TState& before, const TState& after) = nullptr;
    TKind kind = kUsual;
} kScenarios[] = {
    {"SaveDocument", 500, fillFolder,
     [] {
         saveThrough(in(""));
         return true;
     },
     inFolder},
    {"SaveAcrossDisks", 500, fillFolder,
     [] {
         saveThrough(NameOf(otherDisk));
         return true;
     },
     inFolder},
    {"WriteText", 300, fillFolder,
     [] {
         CFile::WriteText(in("old"), kText);
         CFile::WriteANSIText(in("new"), kText, 1251);
         return true;
     },
     inFolder,
     [](const TState& now, const TState& before, const TState& after) {
         return now.size() == 1 && now.at("old") == after.at("old") && before.size() == 1;
     }},
    {"ReadText", 50, fillFolder,
     [] {
         CArray<CUnicodeString> lines;
         CFile::ReadText(in("old"), lines, 65001);
         result = bytes(lines[1]);
         return true;
     },
     inResult},
    {"IniFile", 300, fillFolder,
     [] {
         CIniFile file(in("old"));
         file.SetString(u"s", u"k", u"w");
         file.Save();
         file.Reload();
         return file.GetString(u"S", u"K", u"") == u"w";
     },
     inFolder},
    {"Registry", 200, [] {},
     [] {
         CRegistryKey key(false);
         key.Open(HKEY_CURRENT_USER, u"Faults\\Sub");
         if (key.GetKey() == nullptr || !key.SetStringValue(u"v", u"new"))
             return false;
         CArray<CUnicodeString> names;
         key.GetStringValueNames(names);
         const CUnicodeString value = key.QueryStringValue(u"v", u"");
         if (!value.IsEmpty() && value != u"new")
             throw 0;
         key.DeleteValue(u"v");
         return value == u"new" && names.Size() == 1;
     },
     [] { return TState{}; }, nullptr, kOnce},
    {"Settings", 200, [] {},
     [] {
         CSetup<int> number(u"Faults", u"number", 1, ST_CurrentUser);
         CCacheSetupStringArray list(u"Faults", u"list", ST_CurrentUser);
         CArray<CUnicodeString> items;
         items.Add(u"a"), items.Add(u"b");
         number.Set(3);
         list.Set(items);
         list.Reset();
         items.DeleteAll();
         list.Get(items);
         CCacheSetup<int> cached(u"Faults", u"number", 1, ST_CurrentUser);
         cached.Get();
         if (!struck.stays && cached.Get() != 3) // the default is not kept after a failure to read
             throw 0;
         return number.Get() == 3 && items.Size() == 2;
     },
     [] { return TState{}; }, nullptr, kOnce},
    {"Archive", 100, fillFolder,
     [] {
         CFile onDisk(in("archive"), CFile::ForReadingAndWriting | CFile::Create);
         CMemoryFile inMemory;
         for (CBaseFile* const file :
              {static_cast<CBaseFile*>(&onDisk), static_cast<CBaseFile*>(&inMemory)}) {
             CArchive storing(file, CArchive::Storing, 512);
             storing << kText << rational(1, 3) << CString("x");
             storing.Close();
             file->SeekToBegin();
             CArchive loading(file, CArchive::Loading, 512);
             CUnicodeString text;
             rational number;
             CString last;
             loading >> text >> number >> last;
             loading.Close();
             if (text != kText || number != rational(1, 3) || last != "x")
                 return false;
         }
         onDisk.Close();
         return true;
     },
     inFolder, isBegun},
    {"Copy", 150,
     [] {
         fillFolder();
         WriteBytes(place / "second", std::string(100'000, 's'));
     },
     [] {
         FileSystem::Copy(in("second"), in("old"));
         return true;
     },
     inFolder},
    {"CopyToNew", 140, fillFolder,
     [] {
         FileSystem::Copy(in("old"), in("new"));
         return true;
     },
     inFolder},
    {"Move", 100, fillFolder,
     [] {
         FileSystem::Move(in("old"), in("new"));
         return true;
     },
     inFolder, isSomewhere},
    {"MoveAcrossDisks", 200,
     [] {
         fillFolder();
         WriteBytes(otherDisk / "source", std::string(70'000, 's'));
     },
     [] {
         FileSystem::Move(NameOf(otherDisk / "source"), in("new"));
         return true;
     },
     [] {
         TState files = inFolder();
         if (fs::exists(otherDisk / "source"))
             files["source"] = BytesOf(otherDisk / "source");
         return files;
     },
     isSomewhere},
    {"DelTree", 200,
     [] {
         fillFolder();
         fs::create_directories(place / "tree" / "branch");
         WriteBytes(place / "tree" / "branch" / "leaf", "l");
         WriteBytes(place / "tree" / "twig", "t", true);
     },
     [] {
         FileSystem::DelTree(in("tree"));
         return true;
     },
     inFolder, isSubset},
    {"FindFiles", 100,
     [] {
         fillFolder();
         WriteBytes(place / "second", "");
         clearResult();
     },
     [] {
         CArray<CUnicodeString> names;
         FileSystem::GetFilesInDir(in(""), u"*", names);
         result = bytes(names[0] + u' ' + names[names.Size() - 1]);
         return FileSystem::AccessDir(in(""));
     },
     inResult, [](const TState& now, const TState&, const TState& after) { return now == after; }},
    {"MakeDir", 100, fillFolder,
     [] {
         FileSystem::MakeDir(in("a/b/c"));
         return true;
     },
     inFolder,
     [](const TState& now, const TState&, const TState& after) { return std::ranges::includes(after, now); }},
    {"TempFiles", 200, fillFolder,
     [] {
         const CUnicodeString first = TempFile::NewInDir(in(""), u"a"),
                              second = TempFile::NewInDir(in(""), u"b");
         TempFile::Delete(first);
         const bool isRight = !TempFile::IsTempFile(first) && TempFile::IsTempFile(second);
         TempFile::DeleteAll();
         return isRight;
     },
     // Deleting one asks the registry, which looks anew at its file.
     inFolder, nullptr, kGrows},
    {"StrayTempFiles", 100,
     [] {
         static int round = 0; // a folder is searched once
         fillFolder();
         result = "stray" + std::to_string(round++) + "/";
         fs::create_directory(place / result);
         WriteBytes(place / (result + ".tarnkit-00112233445566.lock"), "");
         WriteBytes(place / (result + "doc00112233445566-1.tmp"), "stray");
     },
     [] {
         TempFile::Delete(TempFile::NewInDir(in(result.c_str()), u"a"));
         return access((place / (result + "doc00112233445566-1.tmp")).c_str(), F_OK) != 0;
     },
     // What cannot be removed waits for the next program, with the mark that says what it is.
     [] {
         TState files = filesIn(place / result);
         if (!files.empty())
             files["mark"] = fs::exists(place / (result + ".tarnkit-00112233445566.lock")) ? "yes" : "no";
         return files;
     },
     nullptr, kGrows},
    {"ModuleAndMessages", 100, clearResult,
     [] {
         LoadModule(FileSystem::Merge(FileSystem::GetEXEDir(), u"Tarnkit2.dll"));
         CArray<CUnicodeString> names;
         CMessage::GetDefinedMessages(names);
         result =
             bytes(ERR_BAD_ARCHIVE.UnicodeStr(2)) + bytes(ERR_CANT_LOAD_DLL.SubstParam(u"a", u"b", u"c"));
         return !names.IsEmpty();
     },
     // A library that this user may not read has no texts.
     inResult, [](const TState&, const TState&, const TState&) { return struck.error == EACCES; }, kGrows},
    {"ChangeOfLanguage", 100, [] { SetCurrentLanguageCode(0); },
     [] {
         SetCurrentLanguageCode(2);
         // A library that this user may not read has no texts.
         return struck.error == EACCES || ERR_BAD_ARCHIVE.UnicodeStr() != englishText();
     },
     language,
     [](const TState& now, const TState& before, const TState& after) {
         return struck.error == EACCES && now.at("language") == after.at("language") &&
                now.at("text") == before.at("text");
     }},
    {"Times", 40,
     [] {
         static int round = 0; // the texts of a locale are read once
         clearResult();
         SetEnvironment("LOCPATH", ("/missing" + std::to_string(round++)).c_str());
     },
     [] {
         result = bytes(CTime(2026, 5, 2, 14, 30, 0, 0, 0).UnicodeFormat(u"%A %a %B %b %p %c %#x %X %g"));
         return true;
     },
     inResult, nullptr, kGrows},
    {"Conversions", 10, clearResult,
     [] {
         CString text;
         for (const unsigned codePage : {65001U, 1251U, 932U, 1252U})
             text += CUnicodeString(kText + u"\u041F\u0440 x")
                         .CreateString(codePage)
                         .CreateUnicodeString(codePage)
                         .CreateString(65001);
         result = text.Ptr();
         return true;
     },
     inResult},
    {"Log", 50, fillFolder,
     [] {
         CFileMessageHandler log(in("log"));
         log.ShowMessage(nullptr, u"first", u"", 0);
         log.ShowMessage(nullptr, u"second", u"", 0);
         return false; // it does not say: a message that cannot be written is lost
     },
     [] {
         std::string log = BytesOf(place / "log");
         for (const char c : {'\0', '\r', '\n', '\xFE', '\xFF'})
             std::erase(log, c);
         return TState{{"log", log}};
     },
     [](const TState& now, const TState&, const TState&) {
         const std::string log = now.at("log");
         return log == "first" || log == "second" || log == "firstsecond";
     },
     kReportsNothing},
    {"Containers", 50, clearResult,
     [] {
         CArray<CUnicodeString> array;
         CMap<CUnicodeString, int> map;
         CUnicodeSet set;
         for (int i = 0; i < 20; i++) {
             array.Add(Format(u"%d", i));
             map.Set(array.Last(), i);
             set |= char16_t(300 * i);
         }
         array.Sort([](const CUnicodeString* a, const CUnicodeString* b) { return b->Compare(*a); });
         result = bytes(array[0]) + bytes(Str(rational(*map.Find(u"7"), 2)).CreateUnicodeString());
         return set.Has(300);
     },
     inResult},
    {"FirstUses", 300, [] {},
     [] {
         if (!Initialize(nullptr, nullptr))
             return false;
         AddResourcePrefix(nullptr, u"Tarnkit");
         SetCurrentLanguageCode(2);
         CRegistryKey key(false);
         key.Open(HKEY_CURRENT_USER, u"First");
         const bool isSet = key.GetKey() != nullptr && key.SetStringValue(u"v", u"new");
         const CUnicodeString value = key.GetKey() != nullptr ? key.QueryStringValue(u"v", u"") : u"";
         const bool isRight = (struck.error == EACCES || ERR_BAD_ARCHIVE.UnicodeStr() != englishText()) &&
                              CTime(2026, 5, 2, 14, 30, 0, 0, 0).UnicodeFormat(u"%A") == u"Saturday" &&
                              (value.IsEmpty() || value == u"new");
         if (!isRight)
             throw 0;
         return isSet;
     },
     [] { return TState{}; }, nullptr, kOnce},
};

void PrintTo(const CScenario& scenario, std::ostream* out) { *out << scenario.name; }

class Faults : public FolderTest, public testing::WithParamInterface<CScenario> {
protected:
    Faults() {
        // Where storing takes no time, if there is such a place.
        place = fs::is_directory("/dev/shm") ? "/dev/shm/tarnkit-faults-" + std::to_string(getpid())
                                             : folder.string();
        fs::create_directories(place);
        otherDisk = folder;
        if (scenario.kind == kOnce)
            return;
        EXPECT_TRUE(Initialize(nullptr, nullptr));
        AddResourcePrefix(nullptr, u"Tarnkit");
    }
    ~Faults() override {
        while (IsTarnkitInitialized())
            Clean();
        RemoveFolder(place);
    }

    enum TOutcome { kFailed, kSucceeded, kForeign };

    // Runs the scenario with a fault at `point`. What remains of temporary files is then removed.
    TOutcome run(const CPoint& point) {
        struck = point;
        calls.count = 0;
        calls.calls.clear();
        TOutcome outcome = kFailed;
        CException* thrown = nullptr;
        try {
            const CHookedCalls hooked(calls);
            if (scenario.act())
                outcome = kSucceeded;
        } catch (CException* e) {
            thrown = e;
        } catch (...) {
            outcome = kForeign;
        }
        struck = {};
        Delete(thrown);
        TempFile::DeleteAll();
        return outcome;
    }

    // One fault and the next use. What the process has after that is in `held`.
    void strike(const CPoint& point) {
        scenario.prepare();
        const TState before = scenario.state();
        const TOutcome outcome = run(point);
        EXPECT_NE(outcome, kForeign);
        struck = point;
        const TState now = scenario.state();
        const bool isAllowed = now == after || (outcome != kSucceeded && now == before) ||
                               (scenario.alsoAllows != nullptr && scenario.alsoAllows(now, before, after));
        EXPECT_TRUE(isAllowed) << (outcome == kSucceeded ? "reported success: " : "failed: ")
                               << testing::PrintToString(now);
        struck = {};
        use();
        EXPECT_EQ(scenario.state(), after);
        held = {MemoryInUse(), std::distance(fs::directory_iterator("/proc/self/fd"), {})};
    }

    void use() {
        scenario.prepare();
        EXPECT_TRUE(run({}) == kSucceeded || scenario.kind == kReportsNothing) << "without a fault";
    }

    // What a use leaks, it leaks every time.
    void strikeAndLookForLeaks(const CPoint& point) {
        std::ptrdiff_t more = 1;
        for (int again = 0; again < 4 && more > 0 && !HasFailure(); again++) {
            const auto last = held;
            strike(point);
            more = std::max(static_cast<std::ptrdiff_t>(held.first - last.first), held.second - last.second);
        }
        EXPECT_TRUE(more <= 0 || scenario.kind == kGrows) << more << " bytes or descriptors are lost";
    }

    int inProcess(const std::function<int()>& action) {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0)
            _exit(action());
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    }

    void strikeFirstUse(const CPoint& point) {
        const int status = inProcess([&] { return run(point); });
        EXPECT_TRUE(status == kFailed << 8 || status == kSucceeded << 8) << "ended with " << status;
        EXPECT_EQ(inProcess([&] { return run({}); }), kSucceeded << 8) << "the next use";
    }

    std::vector<std::string_view> callsOfUse() {
        if (scenario.kind != kOnce) {
            for (int i = 0; i < 3; i++) // the first uses fill what the process keeps
                use();
            after = scenario.state();
            return calls.calls;
        }
        std::vector<std::string_view> names;
        EXPECT_EQ(inProcess([&] {
                      const int outcome = run({});
                      std::ofstream list(otherDisk / "calls");
                      for (const std::string_view name : calls.calls)
                          list << name << '\n';
                      return outcome;
                  }),
                  kSucceeded << 8);
        std::ifstream list(otherDisk / "calls");
        for (std::string name; list >> name;)
            names.push_back(kFaults.find(name)->first);
        return names;
    }

    const CScenario& scenario = GetParam();
    CFault calls;
    TState after;
    std::pair<std::size_t, std::ptrdiff_t> held;
};

TEST(WriteText, OpensAPipeOnce) {
    struct : CCallHook {
        int Before(CCall& call) override { return call.name == "open64" && number++ > 0 ? ENXIO : 0; }
        int number = 0;
    } opened;
    const fs::path pipe = fs::absolute("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread reader([&] { EXPECT_EQ(BytesOf(pipe), "text"); });
    {
        const CHookedCalls hooked(opened);
        CFile::WriteANSIText(NameOf(pipe), CString("text"));
    }
    reader.join();
    fs::remove(pipe);
}

TEST(Registry, BothDatabasesAreFlushed) {
    struct : CCallHook {
        int Before(CCall& call) override { return number += call.name == "fsync", 0; }
        int number = 0;
    } syncs;
    CRegistryKey user(false), machine(false);
    user.Open(HKEY_CURRENT_USER, u"Faults");
    machine.Open(HKEY_LOCAL_MACHINE, u"Faults");
    EXPECT_TRUE(user.SetStringValue(u"v", u"x") && machine.SetStringValue(u"v", u"x"));
    const CHookedCalls hooked(syncs);
    EXPECT_TRUE(user.Flush());
    EXPECT_EQ(syncs.number, 4); // two logs and their folder
}

TEST_P(Faults, LoseNothing) {
    std::vector<CPoint> points;
    for (const std::string_view name : callsOfUse()) {
        const int call = points.empty() ? 0 : points.back().call + 1;
        for (const int error : kFaults.at(name))
            for (int stays = 0; stays <= canStay(error); stays++)
                points.push_back({name, call, error, stays != 0});
    }
    const std::size_t most = scenario.kind == kOnce ? 500 : 1000; // more are sampled
    const std::size_t step = (points.size() + most - 1) / most;
    int strikes = 0;
    for (std::size_t i = 0; i < points.size() && !HasFailure(); i += step, strikes++) {
        const CPoint& point = points[i];
        SCOPED_TRACE(testing::Message() << point.name << ", call " << point.call << ": "
                                        << (point.error == kShort ? "short" : strerrorname_np(point.error))
                                        << (point.stays ? " from then on" : ""));
        if (scenario.kind == kOnce)
            strikeFirstUse(point);
        else
            strikeAndLookForLeaks(point);
    }
    EXPECT_GE(strikes, scenario.leastFaults);
    RecordProperty("faults", strikes);
    if (&__lsan_do_recoverable_leak_check != nullptr) {
        EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Scenario, Faults, testing::ValuesIn(kScenarios),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
} // namespace Tarn
