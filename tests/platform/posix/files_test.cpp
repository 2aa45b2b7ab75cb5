// Tests of POSIX features: names that are bytes, links, devices, permissions, the user's folders.
#include "platform/fork.h"
#include "tests/platform/files_fixture.h"

#include <endian.h>
#include <fcntl.h>
#include <random>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class PosixFiles : public Files {
protected:
    /// The names in the folder other than those that the fixture has created.
    Names others() {
        Names all = find(base + u"*");
        for (const char16_t* own : {u".", u"..", u"file", u"folder"})
            std::erase(all, own);
        return all;
    }
    DWORD opening(const Text& name, DWORD access, DWORD disposition) {
        return Opened(base + name, access, 0, disposition).Failure();
    }
    static mode_t modeOf(const char* path) {
        struct stat status {};
        stat(path, &status);
        return status.st_mode & 07777;
    }
};

// An access-control list as the system takes it, with an entry for user 65534.
using List = std::vector<unsigned>;
constexpr const char* kAccessList = "system.posix_acl_access";
/// As the system stores it: little-endian everywhere.
List accessList(unsigned owner, unsigned user, unsigned group, unsigned mask, unsigned others) {
    List list = {2,   1 | owner << 16, ~0U, 2 | user << 16,    65534, 4 | group << 16,
                 ~0U, 16 | mask << 16, ~0U, 32 | others << 16, ~0U};
    std::ranges::transform(list, list.begin(), [](unsigned number) { return htole32(number); });
    return list;
}

const Tarn::CCapability kOtherUsers{geteuid() == 0 ? nullptr : "only root can be somebody else"};

} // namespace

TEST_F(PosixFiles, EveryNameOnDiskIsTranslatedThereAndBack) {
    const std::pair<const char*, const char16_t*> names[] = {
        {"\xD0\x96\xF0\x9F\x98\x80", u"\u0416\U0001F600"},
        {"a:b*c?\\d|\x01", u"a\uF03Ab\uF02Ac\uF03F\uF05Cd\uF07C\uF001"},
        {"\xEF\x80\xBA", u"\xDCEF\xDC80\xDCBA"}, // The escape of a colon, literally on disk.
        {"bad\xFF\xC3", u"bad\xDCFF\xDCC3"},     // Not UTF-8.
        {"\xC0\xAFx", u"\xDCC0\xDCAFx"},         // An overlong slash.
        {"\xED\xA0\x80z", u"\xD800z"},           // A lone surrogate, and a surrogate pair.
        {"\xED\xA0\x81\xED\xB0\x80", u"\xDCED\xDCA0\xDC81\xDC00"},
        {"\xED\xB2\x80", u"\xDCED\xDCB2\xDC80"}, // The escape of a byte, literally on disk.
    };
    Names expected;
    for (const auto& [disk, above] : names) {
        std::ofstream(fs::path("files") / disk) << disk;
        expected.push_back(above);
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(others(), expected);
    for (const auto& [disk, above] : names) {
        EXPECT_EQ(get(base + above), disk);
        EXPECT_TRUE(P::DeleteFileW((base + above).c_str())) << disk;
    }
    EXPECT_EQ(opening(u"\xDCC3\xDCA9", GENERIC_WRITE, CREATE_NEW), ERROR_INVALID_NAME)
        << "escaped bytes that form a valid character";
}

TEST_F(PosixFiles, DrivesAndServersDoNotExist) {
    EXPECT_EQ(Opened(u"\\\\server\\share\\x", GENERIC_READ, 0).Failure(), ERROR_BAD_NETPATH);
    expectEach(ERROR_INVALID_NAME,
               {Opened(u"C:\\x", GENERIC_READ, 0).Failure(), opening(u"a:b", GENERIC_WRITE, CREATE_NEW),
                opening(u"file\\", GENERIC_READ, OPEN_EXISTING),
                opening(u"new\\", GENERIC_WRITE, CREATE_ALWAYS)});
    EXPECT_EQ(opening(u"folder\\", GENERIC_READ, OPEN_EXISTING), ERROR_PATH_NOT_FOUND);
    EXPECT_NE(P::GetFileAttributesW(u"\\..\\.") & FILE_ATTRIBUTE_DIRECTORY, 0U) << "nothing above the root";
}

TEST_F(PosixFiles, TheGivenSpellingIsPreferredToOthersOfTheSameName) {
    for (const char* name : {"files/NAME", "files/Name", "files/name"})
        std::ofstream(name) << name;
    EXPECT_EQ(get(base + u"Name"), "files/Name");
    const auto erase = with(P::DeleteFileW);
    EXPECT_EQ(erase(u"name"), 0U);
    EXPECT_EQ(erase(u"name"), 0U) << "then the first of the others";
    EXPECT_EQ(others(), Names{u"Name"});
}

TEST_F(PosixFiles, LinksAreFollowedToReadAndWriteAndRemovedByThemselves) {
    fs::create_symlink("file", "files/to file");
    fs::create_directory_symlink("folder", "files/to folder");
    fs::create_symlink("later", "files/to nothing");
    const std::pair<const char16_t*, DWORD> links[] = {
        {u"to file", 0}, {u"to folder", FILE_ATTRIBUTE_DIRECTORY}, {u"to nothing", 0}};
    for (const auto& [name, kind] : links)
        EXPECT_EQ(P::GetFileAttributesW((base + name).c_str()), FILE_ATTRIBUTE_REPARSE_POINT | kind);
    EXPECT_EQ(opening(u"to nothing", GENERIC_READ, OPEN_EXISTING), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(opening(u"to nothing", GENERIC_WRITE, CREATE_NEW), ERROR_FILE_EXISTS);

    put(base + u"source", "copied");
    expectEach(0, {with(copyOver)(u"source", u"to file"), with(copyOver)(u"source", u"to nothing")});
    EXPECT_TRUE(fs::is_symlink("files/to file") && fs::is_symlink("files/to nothing"));
    EXPECT_EQ(get(base + u"file") + get(base + u"later"), "copiedcopied");

    EXPECT_EQ(with(P::DeleteFileW)(u"to folder"), ERROR_ACCESS_DENIED);
    expectEach(0, {with(P::RemoveDirectoryW)(u"to folder"), with(P::MoveFileW)(u"to file", u"moved"),
                   with(P::DeleteFileW)(u"moved")});
    EXPECT_EQ(others(), (Names{u"later", u"source", u"to nothing"}));
    EXPECT_EQ(get(base + u"file"), "copied");
}

TEST_F(PosixFiles, AFullDeviceAndASizeLimitAreReportedAsAFullDisk) {
    DWORD written = 9;
    const Opened full(u"\\dev\\full", GENERIC_WRITE, 0);
    EXPECT_EQ(codeOf([&] { return P::WriteFile(full, "x", 1, &written); }), ERROR_DISK_FULL);
    EXPECT_EQ(written, 0U);
    EXPECT_TRUE(P::FlushFileBuffers(full));
    const std::string bytes(5000, 'x');
    put(base + u"big", bytes);
    put(base + u"folder\\file", "old");
    chmod("files/folder", 0555);
    EXPECT_EQ(codeOf([&] { return P::CopyFileW((base + u"big").c_str(), u"\\dev\\full", FALSE); }),
              ERROR_DISK_FULL);

    // Reaching the limit raises a signal, which would end the process.
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{4000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    for (const char16_t* target : {u"new", u"file", u"folder\\file"})
        EXPECT_EQ(with(copyOver)(u"big", target), ERROR_DISK_FULL);
    const Opened file(base + u"big", GENERIC_WRITE, 0, CREATE_ALWAYS);
    EXPECT_EQ(codeOf([&] { return P::WriteFile(file, bytes.data(), 5000, &written); }), ERROR_DISK_FULL);
    EXPECT_EQ(written, 4000U);
    EXPECT_EQ(P::SetFilePointer(file, 0, nullptr, FILE_CURRENT), 0U) << "the position is unchanged";
    P::SetFilePointer(file, 6000, nullptr, FILE_BEGIN);
    EXPECT_EQ(codeOf([&] { return P::SetEndOfFile(file); }), ERROR_DISK_FULL);
    setrlimit(RLIMIT_FSIZE, &before);
    LONG high = 1 << 24;
    P::SetFilePointer(file, 0, &high, FILE_BEGIN);
    EXPECT_EQ(codeOf([&] { return P::SetEndOfFile(file); }), ERROR_DISK_FULL) << "more than the disk holds";
    EXPECT_EQ(P::GetFileSize(file, nullptr), 4000U);
    EXPECT_EQ(get(base + u"file") + get(base + u"folder\\file"), "oldold");
    EXPECT_EQ(with(copyOver)(u"file", u"folder\\file"), 0U);
    EXPECT_EQ(others(), Names{u"big"}) << "no partial copy and no temporary file is left";
}

TEST_F(PosixFiles, AFolderWithoutWriteBitsIsNotChangedEvenByRoot) {
    fs::permissions("files", fs::perms::owner_read | fs::perms::owner_exec);
    expectEach(ERROR_ACCESS_DENIED,
               {opening(u"new", GENERIC_WRITE, CREATE_ALWAYS), with(P::DeleteFileW)(u"file"),
                with(P::MoveFileW)(u"file", u"..\\away"), with(copyOver)(u"file", u"new"),
                with(P::CreateDirectoryW)(u"new"), with(P::RemoveDirectoryW)(u"folder")});
    EXPECT_EQ(opening(u"file", GENERIC_WRITE, OPEN_EXISTING), 0U) << "the files in it may change";
    EXPECT_EQ(others(), Names{});
}

TEST_F(PosixFiles, AFileThatEverybodyMayWriteStaysItsOwnersWhenAnotherUserDoes) {
    TARNKIT_TEST_NEEDS(kOtherUsers);
    constexpr uid_t kOtherUser = 65534;
    chmod("files/file", 0666);
    put(base + u"folder\\file", "old");
    chmod("files/folder/file", 0666);
    chmod("files/folder", 01777); // everybody may create files there, but not remove those of others
    put(base + u"source", "new");
    put(base + u"letters", "");
    chmod("files/letters", 0622);
    chmod("files", 0755);
    chmod(".", 0755);
    ASSERT_EQ(seteuid(kOtherUser), 0);
    // Relative names need no rights to the folders above.
    const DWORD inForeignFolder = codeOf([] { return copyOver(u"files\\source", u"files\\file"); });
    const DWORD inSharedFolder = codeOf([] { return copyOver(u"files\\source", u"files\\folder\\file"); });
    const Opened first(u"files\\letters", kWrite, FILE_SHARE_WRITE),
        second(u"files\\letters", kWrite, FILE_SHARE_WRITE);
    const DWORD alone = Opened(u"files\\letters", kWrite, 0).Failure();
    EXPECT_EQ(seteuid(0), 0);
    expectEach(0, {inForeignFolder, inSharedFolder, first.Failure(), second.Failure()});
    EXPECT_EQ(alone, ERROR_SHARING_VIOLATION) << "who may only write sees the other writers";
    EXPECT_EQ(get(base + u"file") + get(base + u"folder\\file"), "newnew");
    struct stat status {};
    EXPECT_EQ(stat("files/folder/file", &status), 0);
    EXPECT_EQ(status.st_uid, 0U);
}

TEST_F(PosixFiles, ALinkThatAnotherUserHasPutWhereEverybodyMayIsNotFollowed) {
    TARNKIT_TEST_NEEDS(kOtherUsers);
    put(base + u"source", "new");
    fs::create_symlink("../file", "files/folder/link");
    const std::tuple<mode_t, uid_t, uid_t, DWORD> rows[] = {// of the folder; the owners of that and the link
                                                            {01777, 0, 65534, ERROR_ACCESS_DENIED},
                                                            {01777, 65533, 65534, ERROR_ACCESS_DENIED},
                                                            {01777, 65534, 65534, 0},
                                                            {01777, 65534, 0, 0},
                                                            {01755, 0, 65534, 0},
                                                            {0777, 0, 65534, 0}};
    for (const auto& [mode, ownerOfFolder, ownerOfLink, code] : rows) {
        put(base + u"file", "old");
        chown("files/folder", ownerOfFolder, 0), lchown("files/folder/link", ownerOfLink, 0);
        chmod("files/folder", mode);
        char16_t path[MAX_PATH];
        EXPECT_EQ(
            codeOf([&] { return P::GetLinkTargetW((base + u"folder\\link").c_str(), MAX_PATH, path) != 0; }),
            code);
        EXPECT_EQ(with(copyOver)(u"source", u"folder\\link"), code);
        EXPECT_EQ(get(base + u"file"), code == 0 ? "new" : "old");
    }
}

TEST_F(PosixFiles, AnAccessListStaysAndHandsNothingToAnotherGroup) {
    TARNKIT_TEST_NEEDS(kOtherUsers);
    const auto expectList = [](const char* file, const char* attribute, const List& list) {
        List found(list.size() + 1);
        const ssize_t size = getxattr(file, attribute, found.data(), found.size() * sizeof found[0]);
        found.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)) / sizeof found[0]);
        EXPECT_EQ(found, list) << file;
    };
    put(base + u"source", "new");
    chmod("files", 0777), chmod(".", 0755);
    for (const bool isMember : {false, true})
        for (const bool copies : {false, true}) {
            const char* const made = copies ? "files/doc" : "files/temp";
            fs::remove(made), put(base + u"doc", "old");
            ASSERT_EQ(chown("files/doc", 1000, 4242), 0);
            List list = accessList(6, 6, 6, 6, 0);
            const List note = {7};
            ASSERT_EQ(setxattr("files/doc", kAccessList, list.data(), list.size() * 4, 0), 0);
            ASSERT_EQ(setxattr("files/doc", "user.note", note.data(), 4, 0), 0);
            ASSERT_TRUE(setegid(isMember ? 4242 : 0) == 0 && seteuid(65534) == 0);
            const DWORD code =
                copies ? codeOf([] { return copyOver(u"files\\source", u"files\\doc"); })
                       : Opened(u"files\\temp", kWrite, 0, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY).Failure();
            EXPECT_TRUE(copies || P::CopyFileSecurityW(u"files\\doc", u"files\\temp"));
            EXPECT_TRUE(seteuid(0) == 0 && setegid(0) == 0);
            EXPECT_EQ(code, 0U);
            expectList(made, kAccessList, accessList(6, 6, isMember ? 6 : 0, 6, 0));
            expectList(made, "user.note", note);
        }
    // What a folder prescribes for new files goes before the mask.
    const List list = accessList(7, 7, 5, 7, 0);
    ASSERT_EQ(setxattr("files/folder", "system.posix_acl_default", list.data(), list.size() * 4, 0), 0);
    put(base + u"folder\\opened", "");
    Opened(base + u"folder\\temp", kWrite, 0, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY).Close();
    EXPECT_EQ(with(P::CopyFileSecurityW)(u"folder\\none", u"folder\\temp"), 0U);
    EXPECT_EQ(modeOf("files/folder/temp"), modeOf("files/folder/opened"));
    for (const char* file : {"files/folder/opened", "files/folder/temp"})
        expectList(file, kAccessList, accessList(6, 7, 5, 6, 0));
}

TEST_F(PosixFiles, CopiesAndAttributesKeepThePermissionsOfAFile) {
    const mode_t mask = umask(022);
    chmod("files/file", 0640);
    put(base + u"program", "new");
    chmod("files/program", 0750);
    expectEach(0, {with(copyOver)(u"program", u"new"), with(copyOver)(u"program", u"file")});
    EXPECT_EQ(modeOf("files/new"), 0750U);
    EXPECT_EQ(modeOf("files/file"), 0640U);
    EXPECT_TRUE(P::SetFileAttributesW((base + u"new").c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(modeOf("files/new"), 0550U);
    EXPECT_TRUE(P::SetFileAttributesW((base + u"new").c_str(), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(modeOf("files/new"), 0750U);
    umask(mask);
}

TEST_F(PosixFiles, AReplacementTakesOverWhoMayDoWhatWithTheOldFile) {
    const mode_t mask = umask(027);
    const auto securityOf = [this](const char16_t* model) {
        fs::remove("files/temp");
        EXPECT_EQ(Opened(base + u"temp", kWrite, 0, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY).Failure(), 0U);
        EXPECT_EQ(modeOf("files/temp"), 0600U);
        EXPECT_EQ(with(P::CopyFileSecurityW)(model, u"temp"), 0U);
        return modeOf("files/temp");
    };
    EXPECT_EQ(securityOf(u"none"), 0640U);
    umask(mask);
    for (const mode_t mode : {0600U, 0664U, 0755U})
        EXPECT_EQ((chmod("files/file", mode), securityOf(u"file")), mode);
    const bool hasAttributes = setxattr("files/file", "user.origin", "here", 4, 0) == 0;
    const bool isRoot = chown("files/file", 65534, 65533) == 0;
    EXPECT_EQ(securityOf(u"file"), 0755U);
    struct stat status {};
    EXPECT_EQ(stat("files/temp", &status), 0);
    EXPECT_TRUE(!isRoot || (status.st_uid == 65534 && status.st_gid == 65533));
    char value[9] = "";
    EXPECT_TRUE(!hasAttributes || getxattr("files/temp", "user.origin", value, 8) == 4) << value;
    chmod("files/file", 0674);
    const bool isOther = isRoot && chmod("files", 0777) == 0 && seteuid(65532) == 0;
    fs::remove("files/temp");
    EXPECT_EQ(Opened(u"files\\temp", kWrite, 0, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY).Failure(), 0U);
    EXPECT_TRUE(P::CopyFileSecurityW(u"files\\file", u"files\\temp"));
    EXPECT_TRUE(!isOther || seteuid(0) == 0);
    EXPECT_EQ(modeOf("files/temp"), isOther ? 0644U : 0674U) << "another group gets no more than everybody";
}

TEST_F(PosixFiles, ANameIsFollowedThroughLinksAndTwoNamesOfOneFileBecomeOne) {
    using Target = std::pair<Text, DWORD>; // or the failure
    const auto targetOf = [this](const char16_t* link) {
        char16_t path[MAX_PATH];
        const DWORD length = P::GetLinkTargetW((base + link).c_str(), MAX_PATH, path);
        return Target(Text(path, length), length == 0 ? P::GetLastError() : 0);
    };
    const fs::path here = fs::canonical("files");
    int pipes[2];
    ASSERT_EQ(pipe(pipes), 0);
    fs::create_directories("files/folder/deep");
    const std::pair<fs::path, const char*> links[] = {
        {"to next", "to link"},
        {here / "folder/missing", "to next"},
        {"loop", "loop"},
        {"folder/deep", "short"}, // so that ".." is not what precedes it in the path
        {"../target", "folder/deep/up"},
        {"/" + (here / "file").string(), "slashes"},
        {"missing/file", "nowhere"},
        {"/proc/self/fd/" + std::to_string(pipes[0]), "to pipe"}};
    for (const auto& [text, name] : links)
        fs::create_symlink(text, fs::path("files") / name);
    const auto at = [&](const char* path) {
        Text text = (here / path).u16string();
        std::replace(text.begin(), text.end(), u'/', u'\\');
        return Target(text, 0);
    };
    EXPECT_EQ(targetOf(u"to link"), at("folder/missing"));
    EXPECT_EQ(targetOf(u"short\\up"), at("folder/target"));
    EXPECT_EQ(targetOf(u"slashes"), at("file"));
    const std::string opened = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(pipes[0]);
    EXPECT_EQ(targetOf(u"to pipe"), at(opened.c_str()));
    for (const char16_t* name : {u"file", u"folder", u"none", u"none\\file"})
        EXPECT_EQ(targetOf(name), Target());
    constexpr DWORD kUnresolved = 1921;
    for (const char16_t* name : {u"loop", u"nowhere"})
        EXPECT_EQ(targetOf(name), Target(u"", kUnresolved));
    close(pipes[0]), close(pipes[1]);
    fs::create_hard_link("files/file", "files/second");
    EXPECT_EQ(with(replace)(u"second", u"file"), 0U);
    EXPECT_EQ(with(replace)(u"folder", u"file"), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(exists(base + u"file") && !exists(base + u"second"));
}

TEST_F(PosixFiles, AReaderCannotTruncateAFileThatOthersMayNotWriteAndIsNoSearch) {
    const Opened reader(base + u"file", GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(codeOf([&] { return P::FindClose(reader); }), ERROR_INVALID_HANDLE);
    EXPECT_EQ(Opened(base + u"file", GENERIC_READ, FILE_SHARE_READ, CREATE_ALWAYS).Failure(),
              ERROR_SHARING_VIOLATION);
    EXPECT_EQ(get(base + u"file"), "old");
}

TEST_F(PosixFiles, FilesMoveBetweenFileSystemsAndFoldersDoNot) {
    struct stat here {
    }, there{};
    const bool isElsewhere = stat("/dev/shm", &there) == 0 && stat(".", &here) == 0 &&
                             here.st_dev != there.st_dev && access("/dev/shm", W_OK) == 0;
    const Tarn::CCapability kSecondFileSystem{isElsewhere ? nullptr : "there is no /dev/shm to write to"};
    TARNKIT_TEST_NEEDS(kSecondFileSystem);
    const std::string away = "/dev/shm/tarnkit-" + std::to_string(getpid());
    const auto moveAway =
        with([&](const char16_t* from) { return P::MoveFileW(from, fs::path(away).u16string().c_str()); });
    chmod("files/file", 0440);
    EXPECT_EQ(moveAway(u"folder"), ERROR_NOT_SAME_DEVICE);
    EXPECT_EQ(moveAway(u"file"), 0U);
    EXPECT_EQ(get(fs::path(away).u16string()), "old");
    EXPECT_EQ(modeOf(away.c_str()), 0440U);
    EXPECT_FALSE(exists(base + u"file"));
    fs::remove(away);
}

TEST_F(PosixFiles, ACopyInProgressIsNotDeletedAndAFilesOwnerIsKnown) {
    ASSERT_EQ(mkfifo("files/source", 0600), 0);
    std::thread copier([this] { EXPECT_EQ(with(copyOver)(u"source", u"new"), 0U); });
    std::ofstream source("files/source");
    source << "some" << std::flush;
    fs::path copy;
    for (std::error_code error; copy.empty() || fs::file_size(copy, error) == 0; usleep(1000))
        for (const auto& entry : fs::directory_iterator("files"))
            if (entry.path().filename().string().starts_with(".tarnkit-copy-"))
                copy = entry.path();
    EXPECT_EQ(codeOf([&] { return P::DeleteFileW(copy.u16string().c_str()); }), ERROR_SHARING_VIOLATION);
    source.close();
    copier.join();
    EXPECT_EQ(get(base + u"new"), "some");
    const bool isRoot = chown("files/new", 65534, 65534) == 0;
    const Opened mine(base + u"file", GENERIC_READ, 0), second(base + u"new", GENERIC_READ, 0);
    EXPECT_TRUE(P::HaveSameOwner(mine, mine));
    EXPECT_EQ(P::HaveSameOwner(mine, second) != 0, !isRoot);
    EXPECT_FALSE(P::HaveSameOwner(mine, nullptr));
}

TEST_F(PosixFiles, TheUsersFoldersFollowTheSettingsAndAreCreated) {
    const std::string home = fs::absolute("files/home").string();
    fs::create_directories(home + "/.config");
    std::ofstream(home + "/.config/user-dirs.dirs")
        << "# made by hand\n XDG_DESKTOP_DIR=\"$HOME/On \\\"top\\\"/\"\nXDG_DOCUMENTS_DIR=\"relative\"\n";
    const std::string usualHome = std::getenv("HOME");
    Tarn::SetEnvironment("HOME", home.c_str());
    Tarn::SetEnvironment("XDG_DATA_HOME", (home + "/data").c_str());
    const std::pair<int, const char*> folders[] = {
        {0, "/On \"top\""}, {2, "/data/applications"}, {5, "/Documents"}, {7, "/.config/autostart"}};
    IMalloc* allocator = nullptr;
    EXPECT_EQ(P::SHGetMalloc(&allocator), S_OK);
    ITEMIDLIST* location = nullptr;
    for (const auto& [number, path] : folders) {
        char16_t given[MAX_PATH] = u"";
        EXPECT_EQ(P::SHGetSpecialFolderLocation(nullptr, number, &location), S_OK) << path;
        EXPECT_TRUE(P::SHGetPathFromIDListW(location, given));
        allocator->Free(location);
        EXPECT_TRUE(fs::is_directory(home + path)) << path;
        EXPECT_TRUE(exists(given)) << path;
    }
    EXPECT_EQ(P::SHGetSpecialFolderLocation(nullptr, 999, &location), E_INVALIDARG);
    Tarn::SetEnvironment("XDG_DATA_HOME", (home + "/.config/user-dirs.dirs").c_str());
    EXPECT_LT(P::SHGetSpecialFolderLocation(nullptr, 2, &location), 0) << "a file is in the way";
    Tarn::SetEnvironment("XDG_DATA_HOME", nullptr);
    Tarn::SetEnvironment("HOME", usualHome.c_str());
}

TEST_F(PosixFiles, StayTheParentsWhenAForkedChildClosesThem) {
    P::HandleForks(nullptr, nullptr, nullptr); // for programs without the library
    const Text name = base + u"removed at the end";
    Opened file(name, kRead, FILE_SHARE_READ, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE);
    ASSERT_TRUE(file.IsOpen());
    EXPECT_EQ(
        Tarn::RunInChild([&] { return static_cast<int>(codeOf([&] { return P::CloseHandle(file); })); }), 0);
    EXPECT_EQ(opening(u"removed at the end", kWrite, OPEN_EXISTING), ERROR_SHARING_VIOLATION);
    file.Close();
    EXPECT_FALSE(exists(name));
}

TEST_F(PosixFiles, AreFreeInAForkedChildWhateverTheParentIsDoingWithThem) {
    P::HandleForks(nullptr, nullptr, nullptr);
    ASSERT_EQ(mkfifo("files/pipe", 0600), 0);
    Opened reader(base + u"pipe", kBoth, 0);
    ASSERT_TRUE(reader.IsOpen());
    char byte = 0;
    DWORD read = 0;
    std::thread waiting([&] { P::ReadFile(reader, &byte, 1, &read); });
    usleep(100'000); // until it waits for the byte
    EXPECT_EQ(Tarn::RunInChild([&] {
                  DWORD written = 0;
                  const bool isWritten = P::WriteFile(reader, "x", 1, &written) && written == 1;
                  return isWritten && P::CloseHandle(reader) ? 0 : 1;
              }),
              0);
    waiting.join();
    EXPECT_EQ(byte, 'x');
}

TEST_F(PosixFiles, AreRemovedWithTheirTreeAsDeepAsThereAreFoldersUnlessOneStopsIt) {
    const int start = open(".", O_RDONLY | O_DIRECTORY);
    for (int depth = 0; depth < 3000; depth++)
        if (mkdir("folder of a name of some length", 0700) != 0 ||
            chdir("folder of a name of some length") != 0)
            FAIL() << depth;
    EXPECT_TRUE(fchdir(start) == 0 && close(start) == 0);
    char16_t failed[99];
    EXPECT_TRUE(P::RemoveTreeW(u"folder of a name of some length", failed, 99)) << P::GetLastError();

    fs::create_directories("tree/a/b\x01");
    {
        const Opened held(u"tree/a/b\uF001/c", kWrite, 0, CREATE_NEW);
        EXPECT_EQ(codeOf([&] { return P::RemoveTreeW(u"tree", failed, 99); }), ERROR_SHARING_VIOLATION);
        EXPECT_EQ(Text(failed), u"a\\b\uF001\\c");
        EXPECT_FALSE(P::RemoveTreeW(u"tree", failed, 4));
        EXPECT_EQ(Text(failed), u"a\\b");
    }
    EXPECT_EQ(codeOf([&] { return P::RemoveTreeW(u"tree/a/b\uF001/c", failed, 99); }), ERROR_DIRECTORY);
    EXPECT_TRUE(P::RemoveTreeW(u"tree/", failed, 99));
}

// A folder so large that its names stay in memory, against what is on the disk; changed by this process, by
// others and by the library, renamed, and gone and there again.
TEST_F(PosixFiles, AreFoundRegardlessOfCaseInLargeFoldersWhateverHasChangedThere) {
    P::HandleForks(nullptr, nullptr, nullptr);
    std::mt19937 random(11);
    fs::create_directory("large");
    for (int i = 0; i < 150; i++)
        std::ofstream("large/Name-" + std::to_string(i)) << i;
    std::set<std::string> there; // spellings of one name
    Text place = u"large\\";
    const std::string spellings[] = {"K\xC3\x84x", "k\xC3\xA4x", "K\xC3\xA4X", "K\xC3\x84X"};
    for (int step = 0; step < 600; step++) {
        const std::string path(place.begin(), place.end() - 1);
        const std::string name = spellings[random() % 4];
        const std::string file = path + "/" + name;
        const auto change = [&] {
            if (there.contains(name))
                return random() % 2 == 0 ? unlink(file.c_str())
                                         : rename(file.c_str(), (path + std::to_string(step)).c_str());
            return random() % 2 == 0 ? mknod(file.c_str(), S_IFREG | 0600, 0)
                                     : link("files/file", file.c_str());
        };
        const int result = step % 50 == 1 ? Tarn::RunInChild(change) : change();
        ASSERT_EQ(result, 0) << file;
        if (there.erase(name) == 0)
            there.insert(name);
        if (step % 97 == 96) { // another folder gets the name
            place = place == u"large\\" ? u"large2\\" : u"large\\";
            fs::rename(path, place == u"large\\" ? "large" : "large2");
            fs::create_directory(path);
        }
        if (step % 211 == 210) // more changes than the system keeps for a process
            for (int i = 0; i < 9000; i++) {
                const std::string other = path + "/other-" + std::to_string(i);
                mknod(other.c_str(), S_IFREG | 0600, 0);
                unlink(other.c_str());
            }
        WIN32_FIND_DATAW data;
        const HANDLE search = P::FindFirstFileW((place + u"k\u00C4x").c_str(), &data);
        ASSERT_EQ(search != INVALID_HANDLE_VALUE, !there.empty()) << step;
        if (there.empty())
            continue;
        P::FindClose(search);
        EXPECT_EQ(fs::path(Text(data.cFileName)).string(), *there.begin()) << step;
    }
    const auto queues = [] {
        int count = 0;
        for (const auto& open : fs::directory_iterator("/proc/self/fd"))
            count += fs::exists(open) && fs::read_symlink(open).string() == "anon_inode:inotify";
        return count;
    };
    EXPECT_LE(queues(), 1);
    EXPECT_EQ(Tarn::RunInChild(queues), 0) << "the queue of changes is that of the parent";
}
