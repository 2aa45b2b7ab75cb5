#include "tests/files/support.h"

#include <tarnkit/registry_key.h>
#include <tarnkit/temp_file.h>

using namespace Tarn;
using namespace Tarn::TempFile;
using namespace std::string_view_literals;

namespace {

class TempFileTest : public FolderTest {
protected:
    TempFileTest() {
        fs::create_directory(folder / "temp");
        SetTemporaryDir(Full("temp"));
    }
    ~TempFileTest() override { Reset(); }

    // The mark of the process is not counted.
    auto CountIn(const char* dir) const {
        return std::count_if(fs::directory_iterator(folder / dir), {},
                             [](const auto& entry) { return entry.path().filename().string()[0] != '.'; });
    }
};

TEST_F(TempFileTest, AreNewEmptyFilesUntilTheyAreDeleted) {
    const CUnicodeString name = New(u"abc");
    EXPECT_NE(name, NewInDir(u"temp", nullptr));
    EXPECT_NE(NewInDir(u"temp", u"a"), NewInDir(u"temp", u"a")) << "a short prefix";
    EXPECT_EQ(name.Find(Full("temp\\abc")), 0) << PathOf(name);
    EXPECT_TRUE(fs::is_empty(PathOf(name)) && IsTempFile(name));
    Delete(name);
    EXPECT_FALSE(fs::exists(PathOf(name)));
    EXPECT_EQ(FailureOf([&] { Delete(name); }), "assertion");
    for (const char16_t* noDir : {u"missing", u""})
        EXPECT_EQ(FailureOf([&] { NewInDir(noDir, nullptr); }), "ERR_CREATE_TEMP_FILE");
    DeleteAll(); // forgets the directory too
    EXPECT_EQ(PathOf(GetTemporaryDir()) / "", fs::temp_directory_path() / "");
}

// In the temporary directory and in another one.
TEST_F(TempFileTest, ReplaceAnOldFileWhenMadePermanentOrLeaveEverythingUnchanged) {
    for (const char* name : {"old", "temp/old", "readonly", "temp/readonly", "held"})
        WriteBytes(folder / name, "old", Path(name).filename() == "readonly");
    fs::create_directory(folder / "dir");
    CFile held(u"held", CFile::ForReading | CFile::DenyNone);
    const std::pair<const char*, std::string> targets[] = {
        {"old", ""},
        {"temp/old", ""},
        {"new", ""},
        {"readonly", FileFailure(ERROR_ACCESS_DENIED, "readonly")},
        {"temp/readonly", FileFailure(ERROR_ACCESS_DENIED, "readonly")},
        {"dir", FileFailure(ERROR_ALREADY_EXISTS, "dir")},
        {"held", FileFailure(ERROR_SHARING_VIOLATION, "held")},
        {"missing/final", "ERR_CREATE_TEMP_FILE"}};
    for (const auto& [name, failure] : targets) {
        const CUnicodeString temp = New(nullptr);
        WriteBytes(PathOf(temp), "new");
        EXPECT_EQ(FailureOf([&, n = name] { MakePermanent(temp, Full(n)); }), failure);
        EXPECT_EQ(BytesOf(failure == "" ? folder / name : PathOf(temp)), "new") << name;
        EXPECT_EQ(IsTempFile(temp), failure != "");
    }
    EXPECT_EQ(BytesOf(folder / "readonly") + BytesOf(folder / "held"), "oldold");
    DeleteAll();
    EXPECT_EQ(CountIn("temp"), 2);
    EXPECT_EQ(CountIn(""), 6);
}

TEST_F(TempFileTest, GiveWayToDocumentsThatAreWholeWheneverSomebodyLooks) {
    WriteBytes(folder / "document", "old");
    std::atomic<bool> isOver = false;
    int looks = 0;
    int failures = 0;
    std::thread watcher([&] {
        for (; !isOver; looks++) {
            std::ifstream stream(folder / "document", std::ios::binary);
            const Bytes bytes(std::istreambuf_iterator<char>(stream), {});
            const bool isWhole = bytes == "old" || bytes == "\xFF\xFEn\0e\0w\0"sv;
            // While it is exchanged, it may not be open to others, but it is always there.
            failures += stream ? !isWhole : !fs::exists(folder / "document");
        }
    });
    for (int i = 0; i < 40; i++) {
        const CUnicodeString temp = i % 2 == 0 ? New(nullptr) : NewInDir(Full(""), nullptr);
        WriteBytes(PathOf(temp), "old");
        const std::string failure = FailureOf([&] {
            MakePermanent(temp, u"document");
            CFile::WriteText(u"document", u"new");
        });
        // Where files that somebody has open cannot be replaced, they stay as they are.
        EXPECT_TRUE(failure == "" || failure == FileFailure(ERROR_SHARING_VIOLATION, "document") ||
                    failure == FileFailure(ERROR_ACCESS_DENIED, "document"))
            << failure;
    }
    isOver = true;
    watcher.join();
    EXPECT_EQ(failures, 0) << "of " << looks;
    EXPECT_GT(looks, 0);
}

TEST_F(TempFileTest, TakeOverTheRightsOfTheOldFileAndTheLinksToIt) {
    TARNKIT_TEST_NEEDS(kSymbolicLinks);
    fs::create_directory(folder / "dir");
    fs::create_symlink("dir/document", folder / "link");
    const auto secret = fs::perms::owner_read | fs::perms::owner_write;
    for (const auto perms : {secret, secret | fs::perms::group_read, secret | fs::perms::all}) {
        WriteBytes(folder / "dir/document", "old");
        fs::permissions(folder / "dir/document", perms);
        CFile::WriteANSIText(u"link", "text");
        const CUnicodeString temp = New(nullptr);
        EXPECT_EQ(fs::status(PathOf(temp)).permissions(), secret);
        WriteBytes(PathOf(temp), BytesOf(folder / "dir/document") + "more");
        MakePermanent(temp, u"link");
        EXPECT_EQ(BytesOf(folder / "dir/document"), "textmore");
        EXPECT_EQ(fs::status(folder / "dir/document").permissions(), perms);
        EXPECT_TRUE(fs::is_symlink(folder / "link"));
    }
    EXPECT_EQ(CountIn("dir"), 1);
}

TEST_F(TempFileTest, AreAllRemovedAtTheEndUnlessInUseOrPermanent) {
    fs::remove(PathOf(New(nullptr)));
    const CUnicodeString inUse = New(nullptr), replaced = New(nullptr), own = New(nullptr);
    MakePermanent(New(nullptr), replaced);
    MakePermanent(own, own);
    EXPECT_EQ(FailureOf([&] { MakePermanent(own, Full("x")); }), "assertion");
    CFile file(inUse, CFile::ForReading);
    EXPECT_EQ(FailureOf([] { DeleteAll(); }), FileFailure(ERROR_SHARING_VIOLATION, PathOf(inUse)));
    EXPECT_EQ(CountIn("temp"), 3);
    file.Close();
    DeleteAll();
    EXPECT_EQ(CountIn("temp"), 2);
}

TEST_F(TempFileTest, OfAProcessThatIsGoneAreRemovedByTheNextOneAndNoOthers) {
    const char* const stray[] = {".tarnkit-12.lock", "nbk12-1.tmp", "12-A.tmp", ".tarnkit-.lock"};
    const char* const kept[] = {".tarnkit-34.lock", "nbk34-1.tmp", "nbk56-1.tmp",
                                "nbk12.tmp",        "12-1.txt",    "-1.tmp"};
    for (const char* name : stray)
        WriteBytes(folder / name, "");
    for (const char* name : kept)
        WriteBytes(folder / name, "");
    CFile lock(u".tarnkit-34.lock", CFile::ForReadingAndWriting | CFile::Exclusive);
    Delete(NewInDir(Full(""), nullptr));
    for (const char* name : stray)
        EXPECT_EQ(fs::exists(folder / name), name == stray[3]) << name;
    for (const char* name : kept)
        EXPECT_TRUE(fs::exists(folder / name)) << name;
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 8) << "the own mark is gone";
}

TEST_F(TempFileTest, StayOnDiskIfTheUserKeepsThem) {
    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, u"Software\\Velmora\\Tarnkit");
    ASSERT_TRUE(key.SetStringValue(u"KeepTempFiles", u"1"));
    Delete(New(nullptr));
    const CUnicodeString kept = New(nullptr);
    DeleteAll();
    key.DeleteValue(u"KeepTempFiles");
    EXPECT_FALSE(IsTempFile(kept));
    EXPECT_EQ(CountIn("temp"), 2);
}

} // namespace
