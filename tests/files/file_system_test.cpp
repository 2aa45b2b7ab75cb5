#include "tests/files/support.h"

#include <tarnkit/file.h>

#include <climits>

using namespace Tarn;

namespace {

namespace stdfs = std::filesystem;

class FileSystemTest : public FolderTest {};

TEST_F(FileSystemTest, KeepsTheCurrentDirectoryWhenTheNewOneCannotBeAccessed) {
    stdfs::create_directory(folder / "sub");
    FileSystem::ChangeDir(u"sub");
    WriteBytes(folder / "sub" / "file", "x");
    EXPECT_TRUE(FileSystem::AccessFile(u"file", 0));
    EXPECT_EQ(CodeOf([] { FileSystem::ChangeDir(u"missing"); }), ERROR_FILE_NOT_FOUND);
    const CFailure failure = FailureOf([] { FileSystem::ChangeDir(u"file"); });
    EXPECT_EQ(failure.code, ERROR_DIRECTORY);
    EXPECT_EQ(stdfs::path(failure.name), folder / "sub" / "file");
    EXPECT_EQ(TextOf(FileSystem::GetCurrentDir()), stdfs::path(folder / "sub").u16string());
}

TEST_F(FileSystemTest, TellsWhichAccessAFileGives) {
    WriteBytes(folder / "file", "x");
    EXPECT_TRUE(FileSystem::AccessFile(u"file", 6));
    SetReadOnly(folder / "file");
    EXPECT_TRUE(FileSystem::AccessFile(u"file", 4));
    EXPECT_FALSE(FileSystem::AccessFile(u"file", 2));
    EXPECT_FALSE(FileSystem::AccessFile(u"missing", 0));
    EXPECT_FALSE(FileSystem::AccessFile(Full(""), 0));
    EXPECT_TRUE(FileSystem::AccessDir(Full("")));
    EXPECT_FALSE(FileSystem::AccessDir(u"file"));
    const DWORD attributes = FileSystem::GetAttributes(u"file");
    EXPECT_NE(attributes & FILE_ATTRIBUTE_READONLY, 0u);
    EXPECT_EQ(CodeOf([] { FileSystem::Remove(u"file"); }), ERROR_ACCESS_DENIED);
    FileSystem::SetAttributes(u"file", attributes & ~FILE_ATTRIBUTE_READONLY);
    FileSystem::Remove(u"file");
    EXPECT_FALSE(stdfs::exists(folder / "file"));
    FileSystem::RemoveIgnoreErrors(u"file");
    EXPECT_EQ(CodeOf([] { FileSystem::Remove(u"file"); }), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(CodeOf([] { FileSystem::GetAttributes(u"no/file"); }), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(CodeOf([] { FileSystem::SetAttributes(u"file", 0); }), ERROR_FILE_NOT_FOUND);
}

TEST_F(FileSystemTest, CopiesOverATargetButNeverMovesOverOne) {
    WriteBytes(folder / "a", "new");
    WriteBytes(folder / "b", "old");
    for (auto move : {FileSystem::Move, FileSystem::Rename}) {
        const CFailure failure = FailureOf([&] { move(u"a", u"b"); });
        EXPECT_EQ(failure.code, ERROR_ALREADY_EXISTS);
        EXPECT_EQ(stdfs::path(failure.name), folder / "b");
        EXPECT_EQ(BytesOf(folder / "b"), "old");
    }
    FileSystem::Copy(u"a", u"b");
    EXPECT_EQ(BytesOf(folder / "b"), "new");
    FileSystem::Move(u"a", u"c");
    EXPECT_FALSE(stdfs::exists(folder / "a"));
    EXPECT_EQ(BytesOf(folder / "c"), "new");
    const CFailure missing = FailureOf([] { FileSystem::Copy(u"a", u"d"); });
    EXPECT_EQ(missing.code, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(stdfs::path(missing.name), folder / "a");
    EXPECT_EQ(stdfs::path(FailureOf([] { FileSystem::Copy(u"c", u"no/d"); }).name), folder / "no/d");
}

TEST_F(FileSystemTest, MakesDirectoriesWithTheirParents) {
    FileSystem::MakeDir(u"one/two\\three\\");
    EXPECT_TRUE(stdfs::is_directory(folder / "one/two/three"));
    FileSystem::MakeDir(u"one/two");
    FileSystem::MakeDir(u"\\");
    WriteBytes(folder / "file", "x");
    EXPECT_EQ(CodeOf([] { FileSystem::MakeDir(u"file"); }), ERROR_ALREADY_EXISTS);
    EXPECT_NE(CodeOf([] { FileSystem::MakeDir(u"file/below"); }), 0u);
    EXPECT_NE(CodeOf([] { FileSystem::MakeDir(u""); }), 0u);
    EXPECT_EQ(CodeOf([] { FileSystem::DelDir(u"one/two"); }), ERROR_DIR_NOT_EMPTY);
    FileSystem::DelDir(u"one/two/three");
    EXPECT_FALSE(stdfs::exists(folder / "one/two/three"));
}

TEST_F(FileSystemTest, RemovesTreesWithReadOnlyFilesButNotWhatLinksLeadTo) {
    stdfs::create_directories(folder / "kept");
    WriteBytes(folder / "kept/file", "x");
    SetReadOnly(folder / "kept/file");
    stdfs::create_directories(folder / "tree/a/b");
    WriteBytes(folder / "tree/a/b/file", "x");
    SetReadOnly(folder / "tree/a/b/file");
    stdfs::permissions(folder / "tree/a/b", stdfs::perms::owner_read | stdfs::perms::owner_exec);
    stdfs::create_directory_symlink(folder / "kept", folder / "tree/dirlink");
    stdfs::create_symlink(folder / "kept/file", folder / "tree/filelink");
    stdfs::create_symlink(folder / "nowhere", folder / "tree/deadlink");
    FileSystem::DelTree(u"tree/");
    EXPECT_FALSE(stdfs::exists(folder / "tree"));
    EXPECT_EQ(BytesOf(folder / "kept/file"), "x");
    EXPECT_FALSE(FileSystem::AccessFile(u"kept/file", 2)) << "the target of a link lost its attribute";
    EXPECT_EQ(CodeOf([] { FileSystem::DelTree(u"kept/file"); }), ERROR_DIRECTORY);
    EXPECT_EQ(CodeOf([] { FileSystem::DelTree(u"tree"); }), ERROR_FILE_NOT_FOUND);

    WriteBytes(folder / "held", "x");
    stdfs::create_directories(folder / "tree/sub");
    CFile held(u"tree/sub/held", CFile::ForWriting | CFile::Create);
    const CFailure failure = FailureOf([] { FileSystem::DelTree(u"tree"); });
    EXPECT_EQ(failure.code, ERROR_SHARING_VIOLATION);
    EXPECT_EQ(stdfs::path(failure.name), folder / "tree/sub/held");
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
    ASSERT_EQ(files.Size(), 4);
    EXPECT_EQ(files.Last().Name, u"c.dat");
    EXPECT_EQ(files.Last().Size, 3);
    FileSystem::GetFilesInDir(Full(""), u"*.none", names);
    EXPECT_TRUE(names.IsEmpty());
    EXPECT_EQ(CodeOf([&] { FileSystem::GetFilesInDir(u"missing", u"", names); }), ERROR_PATH_NOT_FOUND);
}

TEST_F(FileSystemTest, NamesDirectoriesThatExist) {
    EXPECT_TRUE(FileSystem::AccessDir(FileSystem::GetSystemDir()));
    EXPECT_TRUE(FileSystem::AccessDir(FileSystem::GetWindowsDir()));
    EXPECT_TRUE(FileSystem::AccessFile(FileSystem::GetEXEFileName(), 4));
    EXPECT_FALSE(FileSystem::GetSpecialFolder(FileSystem::TSpecialFolder::Documents).IsEmpty());
    EXPECT_EQ(FailureOf([] { FileSystem::GetSpecialFolder(FileSystem::TSpecialFolder(8)); }).kind,
              u"assertion in FileSystem");
    const long free = FileSystem::GetDiskFree();
    EXPECT_TRUE(free > 0 && free <= INT_MAX);
    EXPECT_NE(CodeOf([] { FileSystem::GetDiskFree(u"missing"); }), 0u);
}

TEST_F(FileSystemTest, CreatesApplicationDataPathsWhenTheyAreAskedFor) {
    using FileSystem::TApplicationDataPathType;
    FileSystem::SetApplicationDataPath(TApplicationDataPathType::Common, Full("data/app"));
    EXPECT_FALSE(stdfs::exists(folder / "data"));
    EXPECT_EQ(FileSystem::GetApplicationDataPath(TApplicationDataPathType::Common), Full("data/app"));
    EXPECT_TRUE(stdfs::is_directory(folder / "data/app"));
    EXPECT_EQ(FailureOf([] { FileSystem::GetApplicationDataPath(TApplicationDataPathType(3)); }).kind,
              u"assertion in FileSystem");
    FileSystem::SetRelativeApplicationDataPath(Full("all"));
    EXPECT_EQ(FileSystem::GetApplicationDataPath(TApplicationDataPathType::Local), Full("all"));
}

} // namespace
