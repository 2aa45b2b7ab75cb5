#include "tests/files/support.h"

#include <tarnkit/file.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/temp_file.h>

using namespace Tarn;
namespace stdfs = std::filesystem;

namespace {

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
    int CountIn(const char* dir) const {
        return static_cast<int>(std::distance(stdfs::directory_iterator(folder / dir), {}));
    }
};

TEST_F(TempFileTest, AreNewEmptyFilesUntilTheyAreDeleted) {
    const CUnicodeString name = TempFile::New(u"abc");
    EXPECT_NE(name, TempFile::NewInDir(u"temp", nullptr));
    EXPECT_EQ(PathOf(name).parent_path(), folder / "temp");
    EXPECT_EQ(PathOf(name).filename().string().substr(0, 3), "abc");
    EXPECT_EQ(BytesOf(PathOf(name)), "");
    EXPECT_TRUE(TempFile::IsTempFile(name));
    TempFile::Delete(name);
    EXPECT_FALSE(stdfs::exists(PathOf(name)));
    EXPECT_EQ(KindOf([&] { TempFile::Delete(name); }), "assertion");
    EXPECT_EQ(KindOf([&] { TempFile::NewInDir(u"missing", nullptr); }), "ERR_CREATE_TEMP_FILE");
    TempFile::DeleteAll(); // forgets the directory too
    EXPECT_TRUE(stdfs::equivalent(PathOf(TempFile::GetTemporaryDir()), stdfs::temp_directory_path()));
}

// The old and the new name in one directory, and in two.
TEST_F(TempFileTest, BecomePermanentOverAnOldFile) {
    for (const char* name : {"temp/final", "final"}) {
        WriteBytes(folder / name, "old");
        const CUnicodeString temp = TempFile::New(nullptr);
        WriteBytes(PathOf(temp), "new");
        TempFile::MakePermanent(temp, Full(name));
        EXPECT_EQ(BytesOf(folder / name), "new");
        EXPECT_FALSE(TempFile::IsTempFile(temp));
        stdfs::remove(folder / name);
        EXPECT_EQ(CountIn("temp"), 0);
        EXPECT_EQ(CountIn(""), 1);
    }
    const CUnicodeString same = TempFile::New(nullptr);
    TempFile::MakePermanent(TempFile::New(nullptr), same);
    EXPECT_EQ(KindOf([&] { TempFile::MakePermanent(same, same); }), "assertion") << "replaced, so it stays";
    const CUnicodeString own = TempFile::New(nullptr);
    TempFile::MakePermanent(own, own);
    TempFile::DeleteAll();
    EXPECT_TRUE(stdfs::exists(PathOf(same)) && stdfs::exists(PathOf(own)));
    EXPECT_EQ(KindOf([&] { TempFile::MakePermanent(same, Full("x")); }), "assertion");
}

TEST_F(TempFileTest, KeepEverythingWhenTheyCannotBecomePermanent) {
    WriteBytes(folder / "readonly", "old", true);
    WriteBytes(folder / "temp/readonly", "old", true);
    stdfs::create_directory(folder / "dir");
    CFile held(u"held", CFile::ForWriting | CFile::Create);
    const CUnicodeString temp = TempFile::New(nullptr);
    WriteBytes(PathOf(temp), "new");
    const std::pair<const char*, DWORD> targets[] = {{"readonly", ERROR_ACCESS_DENIED},
                                                     {"temp/readonly", ERROR_ACCESS_DENIED},
                                                     {"dir", ERROR_ALREADY_EXISTS},
                                                     {"held", ERROR_SHARING_VIOLATION},
                                                     {"missing/final", 0}};
    for (const auto& [name, code] : targets) {
        const CFailure failure = FailureOf([&, n = name] { TempFile::MakePermanent(temp, Full(n)); });
        EXPECT_NE(failure.kind, "") << name;
        EXPECT_EQ(failure.code, code) << name;
        EXPECT_EQ(BytesOf(PathOf(temp)), "new") << name;
        EXPECT_TRUE(TempFile::IsTempFile(temp));
    }
    EXPECT_EQ(BytesOf(folder / "readonly"), "old");
    EXPECT_EQ(CountIn("temp"), 2);
    EXPECT_EQ(CountIn(""), 4);
}

TEST_F(TempFileTest, AreAllRemovedAtTheEndButForTheOnesInUse) {
    const CUnicodeString gone = TempFile::New(nullptr);
    const CUnicodeString held = TempFile::New(nullptr);
    TempFile::New(nullptr);
    stdfs::remove(PathOf(gone));
    CFile file(held, CFile::ForReading);
    EXPECT_EQ(CodeOf([] { TempFile::DeleteAll(); }), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(CountIn("temp"), 1);
    EXPECT_TRUE(TempFile::IsTempFile(held));
    file.Close();
    TempFile::DeleteAll();
    EXPECT_EQ(CountIn("temp"), 0);
}

TEST_F(TempFileTest, AreOnlyForgottenWhenTheUserKeepsThem) {
    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, u"Software\\Velmora\\Tarnkit");
    ASSERT_TRUE(key.SetStringValue(u"KeepTempFiles", u"1"));
    TempFile::Delete(TempFile::New(nullptr));
    const CUnicodeString kept = TempFile::New(nullptr);
    TempFile::DeleteAll();
    key.DeleteValue(u"KeepTempFiles");
    EXPECT_FALSE(TempFile::IsTempFile(kept));
    EXPECT_EQ(CountIn("temp"), 2);
}

} // namespace
