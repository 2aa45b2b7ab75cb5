#include "tests/files/support.h"

#include <tarnkit/file.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/temp_file.h>

using namespace Tarn;

namespace {

namespace stdfs = std::filesystem;

class TempFileTest : public FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        stdfs::create_directory(folder / "temp");
        TempFile::SetTemporaryDir(Full("temp"));
    }
    void TearDown() override {
        TempFile::Reset();
        FolderTest::TearDown();
    }

    static stdfs::path PathOf(const CUnicodeString& name) { return TextOf(name); }
    std::size_t CountIn(const char* dir) const {
        return static_cast<std::size_t>(
            std::distance(stdfs::directory_iterator(folder / dir), stdfs::directory_iterator()));
    }
};

TEST_F(TempFileTest, AreNewEmptyFilesUntilTheyAreDeleted) {
    const CUnicodeString first = TempFile::New(u"abc");
    const CUnicodeString second = TempFile::NewInDir(u"", nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(PathOf(first).parent_path(), folder / "temp");
    EXPECT_EQ(PathOf(first).filename().string().substr(0, 3), "abc");
    EXPECT_EQ(stdfs::file_size(PathOf(first)), 0u);
    EXPECT_TRUE(TempFile::IsTempFile(first));
    TempFile::Delete(first);
    EXPECT_FALSE(stdfs::exists(PathOf(first)));
    EXPECT_EQ(FailureOf([&] { TempFile::Delete(first); }).kind, u"assertion in TempFile");
    EXPECT_FALSE(TempFile::IsTempFile(Full("foreign")));

    const CFailure failure = FailureOf([&] { TempFile::NewInDir(u"missing", nullptr); });
    EXPECT_EQ(failure.kind, u"ERR_CREATE_TEMP_FILE");
    EXPECT_NE(failure.name.find(u"missing"), std::u16string::npos);
}

TEST_F(TempFileTest, LiveInTheDirectorySetElseInThePlatformsElseInTheSystems) {
    EXPECT_EQ(TempFile::GetTemporaryDir(), Full("temp"));
    TempFile::DeleteAll();
    const CUnicodeString platforms = TempFile::GetTemporaryDir();
    EXPECT_TRUE(stdfs::equivalent(PathOf(platforms), stdfs::temp_directory_path()));
    EXPECT_NE(platforms[platforms.GetLength() - 1], u'/');
}

// The old and the new name in one directory, and in two.
TEST_F(TempFileTest, BecomePermanentOverAnOldFile) {
    for (const char* name : {"temp/final", "final"}) {
        WriteBytes(folder / name, "old");
        const CUnicodeString temp = TempFile::New(nullptr);
        WriteBytes(PathOf(temp), "new");
        TempFile::MakePermanent(temp, Full(name));
        EXPECT_EQ(BytesOf(folder / name), "new");
        EXPECT_FALSE(stdfs::exists(PathOf(temp)));
        EXPECT_FALSE(TempFile::IsTempFile(temp));
        stdfs::remove(folder / name);
        EXPECT_EQ(CountIn("temp"), 0u);
        EXPECT_EQ(CountIn(""), 1u);
    }
    const CUnicodeString same = TempFile::New(nullptr);
    TempFile::MakePermanent(same, same);
    EXPECT_TRUE(stdfs::exists(PathOf(same)));
    EXPECT_FALSE(TempFile::IsTempFile(same));
    EXPECT_EQ(FailureOf([&] { TempFile::MakePermanent(same, Full("x")); }).kind, u"assertion in TempFile");
}

TEST_F(TempFileTest, KeepEverythingWhenTheyCannotBecomePermanent) {
    WriteBytes(folder / "readonly", "old");
    SetReadOnly(folder / "readonly");
    stdfs::create_directories(folder / "dir");
    WriteBytes(folder / "temp/readonly", "old");
    SetReadOnly(folder / "temp/readonly");
    CFile held(u"held", CFile::ForWriting | CFile::Create);
    const CUnicodeString temp = TempFile::New(nullptr);
    WriteBytes(PathOf(temp), "new");
    const std::pair<const char*, DWORD> targets[] = {{"readonly", ERROR_ACCESS_DENIED},
                                                     {"temp/readonly", ERROR_ACCESS_DENIED},
                                                     {"dir", ERROR_ALREADY_EXISTS},
                                                     {"held", ERROR_SHARING_VIOLATION}};
    for (const auto& [name, code] : targets) {
        EXPECT_EQ(CodeOf([&] { TempFile::MakePermanent(temp, Full(name)); }), code) << name;
        EXPECT_EQ(BytesOf(PathOf(temp)), "new") << name;
        EXPECT_TRUE(TempFile::IsTempFile(temp));
    }
    EXPECT_EQ(FailureOf([&] { TempFile::MakePermanent(temp, Full("missing/final")); }).kind,
              u"ERR_CREATE_TEMP_FILE");
    EXPECT_EQ(BytesOf(PathOf(temp)), "new");
    EXPECT_EQ(BytesOf(folder / "readonly"), "old");
    EXPECT_EQ(CountIn("temp"), 2u);
    EXPECT_EQ(CountIn(""), 4u);
}

TEST_F(TempFileTest, AreAllRemovedAtTheEndButForTheOnesInUse) {
    const CUnicodeString gone = TempFile::New(nullptr);
    const CUnicodeString held = TempFile::New(nullptr);
    const CUnicodeString other = TempFile::New(nullptr);
    stdfs::remove(PathOf(gone));
    CFile file(held, CFile::ForReading);
    EXPECT_EQ(CodeOf([] { TempFile::DeleteAll(); }), ERROR_SHARING_VIOLATION);
    EXPECT_FALSE(stdfs::exists(PathOf(other)));
    EXPECT_TRUE(TempFile::IsTempFile(held));
    file.Close();
    TempFile::DeleteAll();
    EXPECT_EQ(CountIn("temp"), 0u);
}

TEST_F(TempFileTest, AreOnlyForgottenWhenTheUserKeepsThem) {
    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, u"Software\\Velmora\\Tarnkit");
    ASSERT_TRUE(key.SetStringValue(u"KeepTempFiles", u"1"));
    const CUnicodeString deleted = TempFile::New(nullptr);
    TempFile::New(nullptr);
    TempFile::Delete(deleted);
    TempFile::DeleteAll();
    key.DeleteValue(u"KeepTempFiles");
    EXPECT_FALSE(TempFile::IsTempFile(deleted));
    EXPECT_EQ(CountIn("temp"), 2u);
}

} // namespace
