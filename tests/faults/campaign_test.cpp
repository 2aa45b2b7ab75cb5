// Every call of the system and every allocation that a use of the library makes fails once, in each way in
// which it may, and where that makes sense fails from then on. Whatever happens: no crash, no leak, no
// exception but the library's own; what was there before stays, or the new thing is there as a whole; success
// is reported only for the latter; no temporary file stays for good, and the next use works.
#include "tests/errors/reports.h"
#include "tests/faults/interposer.h"
#include "tests/files/support.h"
#include "tests/support/memory_in_use.h"

#include <tarnkit/tarnkit.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <span>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern "C" [[gnu::weak]] int __lsan_do_recoverable_leak_check();
// The C library forgets where it has looked for a locale that it has no memory for.
extern "C" [[gnu::visibility("default")]] const char* __lsan_default_suppressions() {
    return "leak:argz_add_sep\n";
}

namespace Tarn {
namespace {

constexpr int kShort = -1; // half of what was asked for is transferred

// The ways in which calls fail.
const std::pair<std::set<std::string_view>, std::vector<int>> kFaults[] = {
    {{"malloc", "calloc", "realloc", "posix_memalign", "aligned_alloc", "mmap64", "mprotect", "mremap",
      "newlocale"},
     {ENOMEM}},
    {{"madvise"}, {EINVAL}},
    {{"getrandom"}, {EINTR, ENOSYS}},
    {{"open64", "openat64", "fopen64"}, {EIO, ENOSPC, EINTR, EACCES, EMFILE}},
    {{"read", "pread64"}, {EIO, EINTR, kShort}},
    {{"write", "pwrite64", "copy_file_range"}, {EIO, ENOSPC, EINTR, kShort}},
    {{"fsync", "fdatasync", "ftruncate64"}, {EIO, ENOSPC, EINTR}},
    {{"close"}, {EIO, EINTR}},
    {{"rename", "renameat2", "link", "symlink", "mkdir"}, {EIO, ENOSPC, EACCES}},
    {{"fcntl64", "flock"}, {EINTR, ENOLCK}},
    {{"opendir", "fdopendir", "inotify_init1", "iconv_open"}, {EMFILE, ENOMEM}},
    {{"readdir64", "fstatvfs64", "lseek64", "futimens"}, {EIO}},
    {{"unlink", "unlinkat", "rmdir", "statx", "stat64", "lstat64", "fstat64", "chmod", "fchmod", "fchown",
      "fsetxattr", "fremovexattr", "readlink", "realpath", "getcwd", "dlopen"},
     {EIO, EACCES}}};

const std::vector<int>& faultsOf(std::string_view call) {
    const auto group =
        std::ranges::find_if(kFaults, [&](auto& faults) { return faults.first.contains(call); });
    return group != std::end(kFaults) ? group->second : throw std::logic_error("a call without faults");
}

// On a disk of which nothing can be read any more, nothing can be undone either.
bool canStay(int error) { return error == ENOMEM || error == ENOSPC || error == EMFILE; }

bool isOfAnOpenFile(const CCall& call) {
    return call.arguments[1] == F_OFD_SETLK || call.arguments[1] == F_OFD_GETLK;
}

bool isInProc(const CCall& call) {
    const char* path = call.Path(call.name == "openat64" || call.name == "statx" ? 1 : 0);
    return path != nullptr && std::string_view(path).starts_with("/proc");
}

// What older systems do not know, and sandboxes or containers refuse.
const struct CLack {
    std::set<std::string_view> calls;
    std::vector<int> errors;
    bool (*isLacking)(const CCall&) = nullptr; // or all such calls
} kLacks[] = {
    {{"fcntl64"}, {EINVAL}, isOfAnOpenFile},
    {{"flock"}, {ENOSYS}},
    {{"renameat2"}, {ENOSYS, EPERM}},
    {{"statx"}, {ENOSYS, EPERM}},
    {{"copy_file_range"}, {ENOSYS, EPERM}},
    {{"inotify_init1"}, {ENOSYS, EPERM}},
    {{"madvise", "mremap"}, {ENOSYS, EPERM}},
    {{"getrandom"}, {ENOSYS, EPERM}},
    {{"fsetxattr", "fremovexattr"}, {ENOTSUP, ENOSYS}},
    {{"open64", "openat64", "fopen64", "opendir", "stat64", "lstat64", "statx", "readlink", "realpath"},
     {ENOENT, EACCES},
     isInProc}};

// A system that lacks one thing, or everything that is in the list.
class CLackingSystem : public CCallHook {
public:
    CLackingSystem(std::span<const CLack> lacks, std::size_t kindOfError)
        : lacking(lacks), kind(kindOfError) {}
    int Before(CCall& call) override {
        for (const CLack& lack : lacking)
            if (lack.calls.contains(call.name) && (lack.isLacking == nullptr || lack.isLacking(call)))
                return lack.errors[kind % lack.errors.size()];
        return 0;
    }

private:
    const std::span<const CLack> lacking;
    const std::size_t kind;
};

// Where the library is struck.
struct CPoint {
    std::string name;
    int call = -1;
    int error = 0;
    bool stays = false;
} struck;

// Counts calls, and lets one fail, or all from one on that can fail in that way.
class CFault : public CCallHook {
public:
    int Before(CCall& call) override {
        // A reference to what is loaded already is not refused; for `munmap` see mappings_test.cpp.
        if (call.name == "munmap" || (call.name == "dlopen" && (call.arguments[1] & RTLD_NOLOAD) != 0))
            return 0;
        if (struck.call < 0) {
            calls.emplace_back(call.name);
            return 0;
        }
        const bool isDue = count == struck.call || (struck.stays && count > struck.call);
        count++;
        if (!isDue || std::ranges::count(faultsOf(call.name), struck.error) == 0)
            return 0;
        if (struck.error != kShort)
            return struck.error;
        std::uintptr_t& size = call.arguments[call.name == "copy_file_range" ? 4 : 2];
        size = (size + 1) / 2;
        return 0;
    }

    std::vector<std::string> calls; // if there is no fault

    int count = 0;
};

using TState = std::map<std::string, std::string>; // what is there, by name

fs::path place;     // the folder of the test
fs::path otherDisk; // a folder on another disk, if there is one
std::string result; // of a use that reads

CUnicodeString in(const char* name) { return NameOf(place / name); }

const CUnicodeString kText = CUnicodeString(u"new\n") + CUnicodeString(u'n', 3000);

std::string bytes(const CUnicodeString& text) { return text.CreateString(65001).Ptr(); }

TState filesIn(const fs::path& dir) {
    TState files;
    for (const auto& entry : fs::recursive_directory_iterator(dir))
        // A mark that could not be removed is nobody's, so the next program removes it.
        if (entry.path().extension() != ".lock")
            files[entry.path().lexically_relative(dir)] =
                entry.is_directory() ? "(folder)" : BytesOf(entry.path());
    return files;
}

TState filesAndResult() {
    TState state = filesIn(place);
    state["result"] = result;
    return state;
}

void prepareFolder() {
    for (const auto& entry : fs::directory_iterator(place))
        fs::remove_all(entry);
    WriteBytes(place / "old", "[s]\nk=v\n");
    result.clear();
}

void prepareTwoFiles() {
    prepareFolder();
    WriteBytes(place / "second", std::string(100'000, 's'));
}

// Says that a use has noticed its failure itself.
struct CNoticed {};
void require(bool isDone) {
    if (!isDone)
        throw CNoticed();
}

// What must never be seen, whatever fails.
void requireAlways(bool isRight) {
    if (!isRight)
        throw std::logic_error("wrong");
}

void saveThrough(const CUnicodeString& dir) {
    const CUnicodeString temp = TempFile::NewInDir(dir, u"doc");
    CFile file(temp, CFile::ForWriting);
    CArchive archive(&file, CArchive::Storing, 512);
    archive << kText << rational(1, 3) << 7;
    archive.Close();
    file.Close();
    TempFile::MakePermanent(temp, in("old"));
}

void archiveIn(CBaseFile& file) {
    CArchive storing(&file, CArchive::Storing, 512);
    storing << kText << rational(1, 3) << CString("x");
    storing.Close();
    file.SeekToBegin();
    CArchive loading(&file, CArchive::Loading, 512);
    CUnicodeString text;
    rational number;
    CString last;
    loading >> text >> number >> last;
    loading.Close();
    require(text == kText && number == rational(1, 3) && last == "x");
}

// A value that cannot be read is missing, never another one.
CUnicodeString writeAndRead(CRegistryKey& key) {
    require(key.GetKey() != nullptr);
    const bool isSet = key.SetStringValue(u"v", u"new");
    const CUnicodeString value = key.QueryStringValue(u"v", u"");
    requireAlways(value.IsEmpty() || value == u"new");
    require(isSet);
    return value;
}

// A library that this user may not read has no texts.
bool isTranslated() { return struck.error == EACCES || ERR_BAD_ARCHIVE.UnicodeStr() != u"%0 is corrupted."; }

void prepareTree() {
    prepareFolder();
    fs::create_directories(place / "tree" / "branch");
    WriteBytes(place / "tree" / "branch" / "leaf", "l");
    WriteBytes(place / "tree" / "twig", "t", true);
}

void prepareSource() {
    prepareFolder();
    WriteBytes(otherDisk / "source", std::string(70'000, 's'));
}

TState filesAndSource() {
    TState files = filesIn(place);
    if (fs::exists(otherDisk / "source"))
        files["source"] = BytesOf(otherDisk / "source");
    return files;
}

fs::path stray(const std::string& name) { return place / result / name; }

// Made before memory fails, which the runtime's paths do not survive.
CUnicodeString folderOfStrays;
std::string strayFile, foreignFile;

void prepareStray() {
    static int round = 0; // a folder is searched once
    prepareFolder();
    result = "stray" + std::to_string(round++) + "/";
    fs::create_directory(place / result);
    for (const std::string token : {"00112233445566", "66554433221100"}) {
        WriteBytes(stray(".tarnkit-" + token + ".lock"), "");
        WriteBytes(stray("doc" + token + "-1.tmp"), "stray");
    }
    folderOfStrays = in(result.c_str());
    strayFile = stray("doc00112233445566-1.tmp");
    foreignFile = stray("doc66554433221100-1.tmp");
    // Another user must not have files removed; only root can make one his.
    const fs::path other = stray(".tarnkit-66554433221100.lock");
    EXPECT_EQ(chown(other.c_str(), 65534, 65534) == 0, geteuid() == 0);
}

// What cannot be removed waits for the next program, with the mark that says what it is.
TState strays() {
    TState files = filesIn(place / result);
    if (files.contains("doc00112233445566-1.tmp"))
        files["mark"] = fs::exists(stray(".tarnkit-00112233445566.lock")) ? "yes" : "no";
    return files;
}

TState language() {
    return {{"language", bytes(UnicodeStr(GetCurrentLanguageCode(), 10))},
            {"text", bytes(ERR_BAD_ARCHIVE.UnicodeStr())}};
}

void prepareLanguage() { SetCurrentLanguageCode(0); }

void prepareLocale() {
    static int round = 0; // the texts of a locale are read once
    prepareFolder();
    SetEnvironment("LOCPATH", ("/missing" + std::to_string(round++)).c_str());
}

TState logged() {
    std::string log = BytesOf(place / "log");
    for (const char c : {'\0', '\r', '\n', '\xFE', '\xFF'})
        std::erase(log, c);
    return {{"log", log}};
}

bool isPartOfBefore(const TState& now, const TState& before, const TState&) {
    return std::ranges::includes(before, now);
}
bool isPartOfAfter(const TState& now, const TState&, const TState& after) {
    return std::ranges::includes(after, now) && now.contains("old");
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
// A library that this user may not read has no texts.
bool isUnreadable(const TState&, const TState&, const TState&) { return struck.error == EACCES; }
bool isUnreadableLanguage(const TState& now, const TState& before, const TState& after) {
    return struck.error == EACCES && now.at("language") == after.at("language") &&
           now.at("text") == before.at("text");
}
bool isPartlyLogged(const TState& now, const TState&, const TState&) {
    return std::set<std::string>{"first", "second", "firstsecond"}.contains(now.at("log"));
}

enum TKind {
    kUsual,
    kGrows,          // what the process keeps grows with every use, such as a registry that is read anew
    kReportsNothing, // neither success nor failure
    kOnce            // only the first use in a process makes these calls; what it leaves is not looked at
};

// A use of the library: the least number of faults in it, what is done, and how it differs from others.
const struct CScenario {
    const char* name;
    int leastFaults;
    void (*act)();
    bool (*alsoAllows)(const TState& now, const TState& before, const TState& after) = nullptr;
    TKind kind = kUsual;
    void (*prepare)() = prepareFolder;
    TState (*state)() = filesAndResult;
} kScenarios[] = {
    {"SaveDocument", 300, [] { saveThrough(in("")); }},
    {"SaveAcrossDisks", 500, [] { saveThrough(NameOf(otherDisk)); }},
    {"WriteText", 300,
     [] {
         CFile::WriteText(in("old"), kText);
         CFile::WriteANSIText(in("new"), kText, 1251);
     },
     isPartOfAfter},
    {"WriteThroughLink", 100, [] { CFile::WriteText(in("link"), kText); }, nullptr, kUsual,
     [] { prepareFolder(), fs::create_symlink("old", place / "link"); }},
    {"ReadText", 40,
     [] {
         CArray<CUnicodeString> lines;
         CFile::ReadText(in("old"), lines, 65001);
         result = bytes(lines[1]);
     }},
    {"IniFile", 300,
     [] {
         CIniFile file(in("old"));
         file.SetString(u"s", u"k", u"w");
         file.Save();
         file.Reload();
         require(file.GetString(u"S", u"K", u"") == u"w");
     }},
    {"Registry", 200,
     [] {
         CRegistryKey key(false);
         key.Open(HKEY_CURRENT_USER, u"Faults\\Sub");
         const CUnicodeString value = writeAndRead(key);
         CArray<CUnicodeString> names;
         key.GetStringValueNames(names);
         key.DeleteValue(u"v");
         require(value == u"new" && names.Size() == 1);
     },
     nullptr, kOnce},
    {"Settings", 200,
     [] {
         CSetup<int> number(u"Faults", u"number", 1, ST_CurrentUser);
         CCacheSetupStringArray list(u"Faults", u"list", ST_CurrentUser);
         CArray<CUnicodeString> items{u"a", u"b"};
         number.Set(3);
         list.Set(items);
         list.Reset();
         items.DeleteAll();
         list.Get(items);
         CCacheSetup<int> cached(u"Faults", u"number", 1, ST_CurrentUser);
         cached.Get();
         requireAlways(struck.stays || cached.Get() == 3); // the default is not kept after a failure to read
         require(number.Get() == 3 && items.Size() == 2);
     },
     nullptr, kOnce},
    {"Archive", 90,
     [] {
         CFile onDisk(in("archive"), CFile::ForReadingAndWriting | CFile::Create);
         CMemoryFile inMemory;
         archiveIn(onDisk);
         archiveIn(inMemory);
         onDisk.Close();
     },
     isBegun},
    {"Copy", 120, [] { FileSystem::Copy(in("second"), in("old")); }, nullptr, kUsual, prepareTwoFiles},
    {"CopyToNew", 100, [] { FileSystem::Copy(in("old"), in("new")); }},
    {"Move", 60, [] { FileSystem::Move(in("old"), in("new")); }, isSomewhere},
    {"MoveAcrossDisks", 170, [] { FileSystem::Move(NameOf(otherDisk / "source"), in("new")); }, isSomewhere,
     kUsual, prepareSource, filesAndSource},
    {"DelTree", 120, [] { FileSystem::DelTree(in("tree")); }, isPartOfBefore, kUsual, prepareTree},
    {"FindFiles", 60,
     [] {
         CArray<CUnicodeString> names;
         FileSystem::GetFilesInDir(in(""), u"*", names);
         result = bytes(names[0] + u' ' + names[names.Size() - 1]);
         require(FileSystem::AccessDir(in("")));
     },
     nullptr, kUsual, prepareTwoFiles},
    {"MakeDir", 100, [] { FileSystem::MakeDir(in("a/b/c")); }, isPartOfAfter},
    {"TempFiles", 170,
     [] {
         const CUnicodeString first = TempFile::NewInDir(in(""), u"a"),
                              second = TempFile::NewInDir(in(""), u"b");
         TempFile::Delete(first);
         const bool isRight = !TempFile::IsTempFile(first) && TempFile::IsTempFile(second);
         TempFile::DeleteAll();
         require(isRight);
     },
     nullptr, kGrows},
    {"StrayTempFiles", 100,
     [] {
         TempFile::Delete(TempFile::NewInDir(folderOfStrays, u"a"));
         require(access(strayFile.c_str(), F_OK) != 0);
         require((access(foreignFile.c_str(), F_OK) == 0) == (geteuid() == 0));
     },
     nullptr, kGrows, prepareStray, strays},
    {"ModuleAndMessages", 100,
     [] {
         LoadModule(FileSystem::Merge(FileSystem::GetEXEDir(), u"Tarnkit2.dll"));
         CArray<CUnicodeString> names;
         CMessage::GetDefinedMessages(names);
         result =
             bytes(ERR_BAD_ARCHIVE.UnicodeStr(2)) + bytes(ERR_CANT_LOAD_DLL.SubstParam(u"a", u"b", u"c"));
         require(!names.IsEmpty());
     },
     isUnreadable, kGrows},
    {"ChangeOfLanguage", 100,
     [] {
         SetCurrentLanguageCode(2);
         require(isTranslated());
     },
     isUnreadableLanguage, kUsual, prepareLanguage, language},
    {"Times", 10,
     [] { result = bytes(CTime(2026, 5, 2, 14, 30, 0, 0, 0).UnicodeFormat(u"%A %a %B %b %p %c %#x %X %g")); },
     nullptr, kGrows, prepareLocale},
    {"Conversions", 10,
     [] {
         CString text;
         for (const unsigned codePage : {65001U, 1251U, 932U, 1252U})
             text += CUnicodeString(kText + u"\u041F\u0440 x")
                         .CreateString(codePage)
                         .CreateUnicodeString(codePage)
                         .CreateString(65001);
         result = text.Ptr();
     }},
    {"Log", 50,
     [] {
         CFileMessageHandler log(in("log"));
         log.ShowMessage(nullptr, u"first", u"", 0);
         log.ShowMessage(nullptr, u"second", u"", 0);
         require(false); // it does not say: a message that cannot be written is lost
     },
     isPartlyLogged, kReportsNothing, prepareFolder, logged},
    {"Containers", 40,
     [] {
         CArray<CUnicodeString> array;
         CMap<CUnicodeString, int> map;
         CUnicodeSet set;
         for (int i = 0; i < 200; i++) {
             array.Add(Format(u"%d", i));
             map.Set(array.Last(), i);
             set |= char16_t(300 * i);
         }
         array.Sort([](const CUnicodeString* a, const CUnicodeString* b) { return b->Compare(*a); });
         result = bytes(array[0]) + bytes(Str(rational(*map.Find(u"7"), 2)).CreateUnicodeString());
         require(set.Has(300));
     }},
    {"FirstUses", 300,
     [] {
         require(Initialize(nullptr, nullptr));
         AddResourcePrefix(nullptr, u"Tarnkit");
         SetCurrentLanguageCode(2);
         requireAlways(isTranslated());
         requireAlways(CTime(2026, 5, 2, 14, 30, 0, 0, 0).UnicodeFormat(u"%A") == u"Saturday");
         CRegistryKey key(false);
         key.Open(HKEY_CURRENT_USER, u"First");
         writeAndRead(key);
     },
     nullptr, kOnce}};

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
    TOutcome run(const CPoint& point, CCallHook* hook = nullptr) {
        struck = point;
        calls.count = 0;
        calls.calls.clear();
        TOutcome outcome = kSucceeded;
        CException* thrown = nullptr;
        try {
            const CHookedCalls hooked(hook != nullptr ? *hook : calls);
            scenario.act();
        } catch (CException* e) {
            outcome = kFailed;
            thrown = e;
        } catch (const CNoticed&) {
            outcome = kFailed;
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
        EXPECT_TRUE(now == after || (outcome != kSucceeded && now == before) ||
                    (scenario.alsoAllows != nullptr && scenario.alsoAllows(now, before, after)))
            << (outcome == kSucceeded ? "reported success: " : "failed: ") << testing::PrintToString(now);
        struck = {};
        use();
        EXPECT_EQ(scenario.state(), after);
        held = {MemoryInUse(), std::distance(fs::directory_iterator("/proc/self/fd"), {})};
    }

    void use() {
        scenario.prepare();
        EXPECT_TRUE(run({}) == kSucceeded || scenario.kind == kReportsNothing) << "without a fault";
    }

    // What a use leaks, it leaks every time; what it keeps for later does not grow for ever.
    void strikeAndLookForLeaks(const CPoint& point) {
        std::ptrdiff_t more = 1;
        for (int again = 0; again < 10 && more > 0 && !HasFailure(); again++) {
            const auto last = held;
            strike(point);
            more = std::max(static_cast<std::ptrdiff_t>(held.first - last.first), held.second - last.second);
        }
        EXPECT_TRUE(more <= 0 || scenario.kind == kGrows) << more << " bytes or descriptors are lost";
    }

    // The outcome in a process of its own; another number if it crashes.
    static int inProcess(const std::function<int()>& action) {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0)
            _exit(action());
        int status = -1;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -status;
    }

    void strikeFirstUse(const CPoint& point) {
        const int outcome = inProcess([&] { return run(point); });
        EXPECT_TRUE(outcome == kFailed || outcome == kSucceeded) << "ended with " << outcome;
        EXPECT_EQ(inProcess([&] { return run({}); }), kSucceeded) << "the next use";
    }

    void useWithout(std::span<const CLack> lacks, std::size_t kindOfError) {
        CLackingSystem system(lacks, kindOfError);
        if (scenario.kind == kOnce) {
            EXPECT_EQ(inProcess([&] { return run({}, &system); }), kSucceeded);
            return;
        }
        scenario.prepare();
        const bool isDone = run({}, &system) == kSucceeded || scenario.kind == kReportsNothing;
        if (scenario.prepare == prepareStray && lacks.front().isLacking == isOfAnOpenFile) {
            EXPECT_TRUE(fs::exists(strayFile)) << "it may be in use";
            return;
        }
        EXPECT_TRUE(isDone);
        EXPECT_EQ(scenario.state(), after);
    }

    std::vector<std::string> callsOfUse() {
        if (scenario.kind != kOnce) {
            for (int i = 0; i < 3; i++) // the first uses fill what the process keeps
                use();
            after = scenario.state();
            return calls.calls;
        }
        EXPECT_EQ(inProcess([&] {
                      const int outcome = run({});
                      std::ofstream list(otherDisk / "calls");
                      std::ranges::copy(calls.calls, std::ostream_iterator<std::string>(list, "\n"));
                      return outcome;
                  }),
                  kSucceeded);
        std::ifstream list(otherDisk / "calls");
        return {std::istream_iterator<std::string>(list), {}};
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

TEST(ExecutableFolder, IsKnownWithoutProcHoweverTheProgramWasFound) {
    CLackingSystem withoutProc({std::prev(std::end(kLacks)), 1}, 0);
    const CUnicodeString folder = FileSystem::GetEXEDir();
    char* const name = std::exchange(program_invocation_name, program_invocation_short_name);
    {
        const CHookedCalls hooked(withoutProc);
        EXPECT_EQ(FileSystem::GetEXEDir(), folder);
    }
    program_invocation_name = name;
}

TEST_P(Faults, LoseNothing) {
    std::vector<CPoint> points;
    for (const std::string& name : callsOfUse()) {
        const int call = points.empty() ? 0 : points.back().call + 1;
        for (const int error : faultsOf(name))
            for (int stays = 0; stays <= canStay(error); stays++)
                points.push_back({name, call, error, stays != 0});
    }
    const bool isOnce = scenario.kind == kOnce;
    const std::size_t most = isOnce ? 500 : 1000; // more are sampled
    const std::size_t step = (points.size() + most - 1) / most;
    int strikes = 0;
    for (std::size_t i = 0; i < points.size() && !HasFailure(); i += step, strikes++) {
        const CPoint& point = points[i];
        SCOPED_TRACE(testing::Message() << point.name << ", call " << point.call << ": "
                                        << (point.error == kShort ? "short" : strerrorname_np(point.error))
                                        << (point.stays ? " from then on" : ""));
        isOnce ? strikeFirstUse(point) : strikeAndLookForLeaks(point);
    }
    EXPECT_GE(strikes, scenario.leastFaults);
    RecordProperty("faults", strikes);
    EXPECT_TRUE(&__lsan_do_recoverable_leak_check == nullptr || __lsan_do_recoverable_leak_check() == 0);
}

TEST_P(Faults, DoNotComeOfWhatSomeSystemsLack) {
    callsOfUse();
    for (std::size_t kind = 0; kind < 2; kind++) {
        for (const CLack& lack : kLacks) {
            SCOPED_TRACE(testing::Message() << *lack.calls.begin() << ": "
                                            << strerrorname_np(lack.errors[kind % lack.errors.size()]));
            useWithout({&lack, 1}, kind);
        }
        SCOPED_TRACE("all of that");
        useWithout(kLacks, kind);
    }
}

INSTANTIATE_TEST_SUITE_P(Scenario, Faults, testing::ValuesIn(kScenarios),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
} // namespace Tarn
