#include "tests/files/support.h"

using namespace Tarn;
using namespace Tarn::FileSystem;

namespace {

class FileSystemTest : public FolderTest {};

constexpr unsigned kExists = 0, kWrite = 2, kRead = 4;

TEST_F(FileSystemTest, ReportsWhichAccessAFileAllows) {
    WriteBytes(folder / "file", "x", true);
    EXPECT_TRUE(AccessFile(u"file", kExists) && AccessFile(u"file", kRead));
    EXPECT_FALSE((kReadOnlyFiles && AccessFile(u"file", kWrite)) || AccessFile(Full(""), kExists) ||
                 AccessDir(u"file"));
    SetAttributes(u"file", GetAttributes(u"file") & ~FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(AccessFile(u"file", kRead | kWrite));
    Remove(u"file");
    EXPECT_FALSE(AccessFile(u"file", kExists));
}

TEST_F(FileSystemTest, NamesTheFileThatFailedACopyOrAMove) {
    WriteBytes(folder / "a", "new");
    WriteBytes(folder / "b", "old");
    EXPECT_EQ(FailureOf([] { Move(u"a", u"b"); }), FileFailure(ERROR_ALREADY_EXISTS, "b"));
    Copy(u"a", u"b");
    Rename(u"a", u"c");
    EXPECT_EQ(BytesOf(folder / "b") + BytesOf(folder / "c"), "newnew");
    EXPECT_EQ(FailureOf([] { Copy(u"a", u"d"); }), FileFailure(ERROR_FILE_NOT_FOUND, "a"));
    EXPECT_EQ(FailureOf([] { Copy(u"c", u"no/d"); }), FileFailure(ERROR_PATH_NOT_FOUND, "d"));
    CFile held(u"c", CFile::ForWriting);
    EXPECT_EQ(FailureOf([] { Copy(u"c", u"d"); }), FileFailure(ERROR_SHARING_VIOLATION, "c"));
}

TEST_F(FileSystemTest, MakesDirectoriesWithTheirParentsAndChangesToThoseThatExist) {
    for (const char16_t* dir : {u"one/two\\three\\", u"one/two", u"\\"})
        MakeDir(dir);
    WriteBytes(folder / "file", "x");
    EXPECT_EQ(FailureOf([] { MakeDir(u"file"); }), FileFailure(ERROR_ALREADY_EXISTS, "file"));
    EXPECT_EQ(FailureOf([] { ChangeDir(u"file"); }), FileFailure(ERROR_DIRECTORY, "file"));
    ChangeDir(u"one/two");
    DelDir(u"three");
    EXPECT_FALSE(AccessDir(u"three"));
}

TEST_F(FileSystemTest, RemovesTreesWithReadOnlyFiles) {
    fs::create_directories(folder / "tree/a/b");
    WriteBytes(folder / "tree/a/b/file", "x", true);
    fs::permissions(folder / "tree/a/b", fs::perms::owner_read | fs::perms::owner_exec);
    DelTree(u"tree/");
    EXPECT_FALSE(fs::exists(folder / "tree"));

    MakeDir(u"tree/sub");
    CFile held(u"tree/sub/held", CFile::ForWriting | CFile::Create);
    EXPECT_EQ(FailureOf([] { DelTree(u"tree"); }), FileFailure(ERROR_SHARING_VIOLATION, "held"));
}

TEST_F(FileSystemTest, RemovesLinksInATreeButNotWhatTheyLeadTo) {
    TARNKIT_TEST_NEEDS(kSymbolicLinks);
    WriteBytes(folder / "kept", "x", true);
    MakeDir(u"tree");
    fs::create_directory_symlink(folder, folder / "tree/dirlink");
    fs::create_symlink(folder / "nowhere", folder / "tree/deadlink");
    DelTree(u"tree");
    EXPECT_FALSE(fs::exists(folder / "tree"));
    EXPECT_TRUE(AccessFile(u"kept", kRead) && !AccessFile(u"kept", kWrite));
}

TEST_F(FileSystemTest, ListsTheFilesOfADirectorySorted) {
    for (const char* name : {"b.txt", "A.txt", "c.dat", "a.txt.bak"})
        WriteBytes(folder / name, "123");
    fs::create_directory(folder / "dir.txt");
    CArray<CUnicodeString> names{u"old"};
    GetFilesInDir(Full(""), u"*.txt", names);
    EXPECT_EQ(names, (CArray<CUnicodeString>{u"A.txt", u"b.txt"}));
    EXPECT_EQ(FailureOf([&] { GetFilesInDir(u"", u"*", names); }), FileFailure(ERROR_PATH_NOT_FOUND, ""));
    EXPECT_EQ(names.Size(), 2) << "a failure leaves them as they were";
}

TEST_F(FileSystemTest, NamesDirectoriesThatExistAndMakesThoseOfTheApplication) {
    EXPECT_TRUE(AccessDir(GetSystemDir()) && AccessDir(GetWindowsDir()));
    EXPECT_FALSE(GetSpecialFolder(TSpecialFolder::Documents).IsEmpty());
    EXPECT_EQ(FailureOf([] { GetSpecialFolder(TSpecialFolder(8)); }), "assertion");
    EXPECT_GT(GetDiskFree(), 0);
    SetRelativeApplicationDataPath(Full("data/app"));
    EXPECT_EQ(GetApplicationDataPath(TApplicationDataPathType::Local), Full("data/app"));
    EXPECT_TRUE(AccessDir(u"data/app"));
}

} // namespace
