#include "tests/files/support.h"

#include <tarnkit/file.h>

#include <climits>

using namespace Tarn;
namespace stdfs = std::filesystem;

namespace {

class FileSystemTest : public FolderTest {};

TEST_F(FileSystemTest, KeepsTheCurrentDirectoryWhenTheNewOneCannotBeAccessed) {
    WriteBytes(folder / "file", "x");
    EXPECT_EQ(CodeOf([] { FileSystem::ChangeDir(u"missing"); }), ERROR_FILE_NOT_FOUND);
    const CFailure failure = FailureOf([] { FileSystem::ChangeDir(u"file"); });
    EXPECT_EQ(failure.code, ERROR_DIRECTORY);
    EXPECT_EQ(failure.name, folder / "file");
    EXPECT_TRUE(FileSystem::AccessFile(u"file", 0));
}

TEST_F(FileSystemTest, TellsWhichAccessAFileGives) {
    WriteBytes(folder / "file", "x", true);
    EXPECT_TRUE(FileSystem::AccessFile(u"file", 4));
    EXPECT_FALSE(FileSystem::AccessFile(u"file", 2));
    EXPECT_FALSE(FileSystem::AccessFile(Full(""), 0));
    EXPECT_FALSE(FileSystem::AccessDir(u"file"));
    EXPECT_EQ(CodeOf([] { FileSystem::Remove(u"file"); }), ERROR_ACCESS_DENIED);
    FileSystem::SetAttributes(u"file", FileSystem::GetAttributes(u"file") & ~FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(FileSystem::AccessFile(u"file", 6));
    FileSystem::Remove(u"file");
    EXPECT_FALSE(FileSystem::AccessFile(u"file", 0));
    EXPECT_EQ(CodeOf([] { FileSystem::Remove(u"file"); }), ERROR_FILE_NOT_FOUND);
}

TEST_F(FileSystemTest, CopiesOverATargetButNeverMovesOverOne) {
    WriteBytes(folder / "a", "new");
    WriteBytes(folder / "b", "old");
    const CFailure failure = FailureOf([] { FileSystem::Move(u"a", u"b"); });
    EXPECT_EQ(failure.code, ERROR_ALREADY_EXISTS);
    EXPECT_EQ(failure.name, folder / "b");
    EXPECT_EQ(BytesOf(folder / "b"), "old");
    FileSystem::Copy(u"a", u"b");
    EXPECT_EQ(BytesOf(folder / "b"), "new");
    FileSystem::Rename(u"a", u"c");
    EXPECT_EQ(BytesOf(folder / "c"), "new");
    EXPECT_EQ(FailureOf([] { FileSystem::Copy(u"a", u"d"); }).name, folder / "a");
    EXPECT_EQ(FailureOf([] { FileSystem::Copy(u"c", u"no/d"); }).name, folder / "no/d");
    CFile held(u"c", CFile::ForWriting);
    EXPECT_EQ(FailureOf([] { FileSystem::Copy(u"c", u"d"); }).name, folder / "c");
}

TEST_F(FileSystemTest, MakesDirectoriesWithTheirParents) {
    for (const char16_t* dir : {u"one/two\\three\\", u"one/two", u"\\"})
        FileSystem::MakeDir(dir);
    WriteBytes(folder / "file", "x");
    EXPECT_EQ(CodeOf([] { FileSystem::MakeDir(u"file"); }), ERROR_ALREADY_EXISTS);
    EXPECT_NE(CodeOf([] { FileSystem::MakeDir(u""); }), 0u);
    EXPECT_EQ(CodeOf([] { FileSystem::DelDir(u"one/two"); }), ERROR_DIR_NOT_EMPTY);
    FileSystem::DelDir(u"one/two/three");
    EXPECT_FALSE(FileSystem::AccessDir(u"one/two/three"));
}

TEST_F(FileSystemTest, RemovesTreesWithReadOnlyFilesButNotWhatLinksLeadTo) {
    stdfs::create_directories(folder / "kept");
    WriteBytes(folder / "kept/file", "x", true);
    stdfs::create_directories(folder / "tree/a/b");
    WriteBytes(folder / "tree/a/b/file", "x", true);
    stdfs::permissions(folder / "tree/a/b", stdfs::perms::owner_read | stdfs::perms::owner_exec);
    stdfs::create_directory_symlink(folder / "kept", folder / "tree/dirlink");
    stdfs::create_symlink(folder / "nowhere", folder / "tree/deadlink");
    FileSystem::DelTree(u"tree/");
    EXPECT_FALSE(stdfs::exists(folder / "tree"));
    EXPECT_FALSE(FileSystem::AccessFile(u"kept/file", 2)) << "the target of a link lost its attribute";

    stdfs::create_directories(folder / "tree/sub");
    CFile held(u"tree/sub/held", CFile::ForWriting | CFile::Create);
    const CFailure failure = FailureOf([] { FileSystem::DelTree(u"tree"); });
    EXPECT_EQ(failure.code, ERROR_SHARING_VIOLATION);
    EXPECT_EQ(failure.name, folder / "tree/sub/held");
}

TEST_F(FileSystemTest, ListsTheFilesOfADirectorySorted) {
    for (const char* name : {"b.txt", "A.txt", "c.dat", "a.txt.bak"})
        WriteBytes(folder / name, "123");
    stdfs::create_directory(folder / "dir.txt");
    CArray<CUnicodeString> names{u"old"};
    FileSystem::GetFilesInDir(Full(""), u"*.txt", names);
    EXPECT_EQ(names, (CArray<CUnicodeString>{u"A.txt", u"b.txt"}));
    CArray<FileSystem::CFileInfo> files;
    FileSystem::GetFilesInDir(Full(""), u"", files);
    EXPECT_EQ(files.Size(), 4);
}

TEST_F(FileSystemTest, NamesDirectoriesThatExistAndMakesThoseOfTheApplication) {
    using namespace FileSystem;
    EXPECT_TRUE(AccessDir(GetSystemDir()) && AccessDir(GetWindowsDir()));
    EXPECT_FALSE(GetSpecialFolder(TSpecialFolder::Documents).IsEmpty());
    EXPECT_EQ(KindOf([] { GetSpecialFolder(TSpecialFolder(8)); }), "assertion");
    const long free = GetDiskFree();
    EXPECT_TRUE(free > 0 && free <= INT_MAX);
    SetRelativeApplicationDataPath(Full("data/app"));
    EXPECT_FALSE(AccessDir(u"data"));
    EXPECT_EQ(GetApplicationDataPath(TApplicationDataPathType::Local), Full("data/app"));
    EXPECT_TRUE(AccessDir(u"data/app"));
}

} // namespace
