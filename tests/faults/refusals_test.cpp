// Single calls that the system refuses, or before which somebody else changes the disk.
#include "tests/faults/interposer.h"
#include "tests/files/support.h"

#include <tarnkit/file.h>
#include <tarnkit/message_handlers.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace Tarn {
namespace {

namespace fs = std::filesystem;

Path document;

template<int error>
int refuse(CCall&) {
    return error;
}

int interrupt(CCall&) {
    static int calls = 0;
    return calls++ % 2 == 0 ? EINTR : 0;
}

int fillUpInTheMiddle(CCall& call) {
    static int calls = 0;
    call.arguments[2] = 4; // of the bytes to write
    return calls++ % 2 == 0 ? 0 : ENOSPC;
}

template<int error>
int refuseFolder(CCall& call) {
    struct stat status {};
    const bool isFolder = call.name == "fsync" ? fstat(static_cast<int>(call.arguments[0]), &status) == 0 &&
                                                     S_ISDIR(status.st_mode)
                                               : (call.arguments[1] & O_DIRECTORY) != 0;
    return isFolder ? error : 0;
}

// The marks of a claim are set and compared while no other claim may begin.
int tryToClaim(CCall& call) {
    if (call.arguments[1] != F_OFD_GETLK)
        return 0;
    const int other = open(("/proc/self/fd/" + std::to_string(call.arguments[0])).c_str(), O_RDONLY);
    EXPECT_NE(flock(other, LOCK_SH | LOCK_NB), 0);
    close(other);
    return 0;
}

enum TChange { kAppears, kVanishes, kBecomesAPipe };

template<TChange change>
int exchange(CCall& call) {
    if (document.filename() != Path(call.Path(change == kAppears ? 3 : 1)).filename())
        return 0;
    fs::remove(document);
    if (change == kAppears)
        WriteBytes(document, "another's");
    return change == kBecomesAPipe && mkfifo(document.c_str(), 0600) != 0 ? errno : 0;
}

void write() { CFile::WriteANSIText(NameOf(document), "new"); }
void log() { CFileMessageHandler(NameOf(document)).ShowMessage(nullptr, u"lost", u"", 0); }
void writeAnew() {
    fs::remove(document);
    write();
}
void writeInPlace() {
    struct stat before {
    }, after{};
    EXPECT_EQ(stat(document.c_str(), &before), 0);
    write();
    EXPECT_EQ(stat(document.c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}
void copy() { FileSystem::Copy(NameOf(document.parent_path() / "source"), NameOf(document)); }
void writeWithList() {
    constexpr unsigned kPermissions = 6, kOthers = 4, kNobody = ~0U;
    const unsigned list[] = {2,
                             1 | kPermissions << 16,
                             kNobody,
                             2 | kPermissions << 16,
                             1234, // the named user
                             4,
                             kNobody,
                             16 | kPermissions << 16,
                             kNobody,
                             32 | kOthers << 16,
                             kNobody};
    ASSERT_EQ(setxattr(document.c_str(), "system.posix_acl_access", list, sizeof list, 0), 0);
    write();
}
void removeTree() { FileSystem::DelTree(NameOf(document.parent_path())); }

// Before calls of one name, `before` does something or says what they fail with.
const struct CRefusal {
    const char* name;
    std::string_view call;
    int (*before)(CCall&);
    void (*act)();
    DWORD failure = ERROR_SUCCESS;
    const char* contents = "new";
    mode_t mode = 0644;
} kRefusals[] = {
    {"TheFolderCannotBeStored", "fsync", refuseFolder<EIO>, write, ERROR_IO_DEVICE},
    {"TheFolderIsStoredInAnotherWay", "fsync", refuseFolder<EINVAL>, write},
    {"TheFolderCannotBeOpened", "open64", refuseFolder<EMFILE>, write, ERROR_TOO_MANY_OPEN_FILES, "old"},
    {"TheFolderCannotBeRead", "open64", refuseFolder<EACCES>, write},
    {"TheMaskIsNotKnown", "fopen64", refuse<EMFILE>, writeAnew, ERROR_SUCCESS, "new", 0600},
    {"TheListIsRefused", "fsetxattr", refuse<ENOSPC>, writeWithList, ERROR_SUCCESS, "new", 0600},
    {"WritingIsInterrupted", "pwrite64", interrupt, write},
    {"StoringIsInterrupted", "fsync", interrupt, write},
    {"TheQuotaIsUsedUp", "pwrite64", refuse<EDQUOT>, write, ERROR_DISK_FULL, "old"},
    {"TheDiskTakesHalfAMessage", "pwrite64", fillUpInTheMiddle, log, ERROR_SUCCESS, "old"},
    {"TheFileIsClaimedByAnother", "fcntl64", tryToClaim, write},
    {"TheNameIsMounted", "rename", refuse<EBUSY>, writeInPlace},
    {"TheNameIsAnothers", "rename", refuse<EPERM>, writeInPlace},
    {"TheCopyCannotTakeTheName", "rename", refuse<EBUSY>, copy},
    {"TheNameIsTaken", "renameat2", exchange<kAppears>, writeAnew},
    {"NamesAreNotTakenInOneStep", "renameat2", refuse<EINVAL>, writeAnew},
    {"TheNameIsGone", "openat64", exchange<kVanishes>, write},
    {"TheFileIsAPipe", "openat64", exchange<kBecomesAPipe>, removeTree, ERROR_SHARING_VIOLATION, nullptr},
};

class CRefusing : public CCallHook {
public:
    explicit CRefusing(const CRefusal& what) : refusal(what) {}
    int Before(CCall& call) override { return call.name == refusal.call ? refusal.before(call) : 0; }

private:
    const CRefusal& refusal;
};

void PrintTo(const CRefusal& refusal, std::ostream* out) { *out << refusal.name; }

class Refusals : public FolderTest, public testing::WithParamInterface<CRefusal> {};

TEST_P(Refusals, LoseNothing) {
    const CRefusal& refusal = GetParam();
    const mode_t mask = umask(022);
    document = folder / "document";
    WriteBytes(document, "old");
    WriteBytes(folder / "source", "new");
    CRefusing refusing(refusal);
    std::string failure;
    {
        const CHookedCalls hooked(refusing);
        failure = FailureOf(refusal.act);
    }
    umask(mask);
    EXPECT_EQ(failure, refusal.failure != ERROR_SUCCESS ? FileFailure(refusal.failure, document) : "");
    if (refusal.contents == nullptr)
        return;
    EXPECT_EQ(BytesOf(document), refusal.contents);
    EXPECT_EQ(fs::status(document).permissions(), static_cast<fs::perms>(refusal.mode));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 2);
}

INSTANTIATE_TEST_SUITE_P(Refused, Refusals, testing::ValuesIn(kRefusals),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
} // namespace Tarn
