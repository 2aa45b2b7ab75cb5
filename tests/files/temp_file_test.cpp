#include "tests/files/support.h"
#include "tests/support/capabilities.h"
#include "tests/support/system.h"

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
    for (const char16_t* noPrefix : {u"..\\", u"a/b", u"c:", u"?"})
        EXPECT_EQ(FailureOf([&] { New(noPrefix); }), "ERR_CREATE_TEMP_FILE");
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
        std::ofstream(PathOf(temp)) << "new";
        const auto rights = fs::status(PathOf(temp)).permissions();
        EXPECT_EQ(FailureOf([&, n = name] { MakePermanent(temp, Full(n)); }), failure);
        EXPECT_TRUE(failure == "" || fs::status(PathOf(temp)).permissions() == rights) << name;
        EXPECT_EQ(BytesOf(failure == "" ? folder / name : PathOf(temp)), "new") << name;
        EXPECT_EQ(IsTempFile(temp), failure != "");
    }
    CFile inUse(New(nullptr), CFile::ForWriting | CFile::Exclusive);
    EXPECT_EQ(FailureOf([&] { MakePermanent(inUse.GetFileName(), u"x"); }),
              FileFailure(ERROR_SHARING_VIOLATION, "x"));
    inUse.Close();
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
    fs::create_symlink("loop", folder / "loop");
    EXPECT_NE(FailureOf([] { MakePermanent(New(nullptr), u"loop"); }), "");
    EXPECT_TRUE(fs::is_symlink(folder / "loop"));
}

TEST_F(TempFileTest, OfASaveAreNotThoseThatDeleteAllRemoves) {
    std::atomic<bool> isOver = false;
    std::string failures, failuresOfSaves;
    std::thread deleter([&] {
        while (!isOver && failures == "")
            failures = FailureOf(DeleteAll);
    });
    for (int i = 0; i < 100; i++)
        failuresOfSaves += FailureOf([] { CFile::WriteText(u"document", u"text"); });
    isOver = true;
    deleter.join();
    EXPECT_EQ(failures + failuresOfSaves, "");
}

TEST_F(TempFileTest, AreMadeInTheVeryFolderThatIsNamedHoweverLongItsName) {
    const Path longer = Path(std::string(200, 'd')) / std::string(200, 'd') / "d",
               twin = longer.parent_path() / "D";
    fs::create_directory(folder / "d");
    const CCapability kCaseTellsFilesApart{
        fs::exists(folder / "D") ? "two files cannot have names that differ in case alone" : nullptr};
    TARNKIT_TEST_NEEDS(kCaseTellsFilesApart);
    fs::create_directories(folder / longer);
    fs::create_directory(folder / twin);
    const CUnicodeString names[] = {NewInDir(NameOf(longer), nullptr), NewInDir(NameOf(twin), nullptr)};
    EXPECT_TRUE(PathOf(names[0]).parent_path() == folder / longer &&
                PathOf(names[1]).parent_path() == folder / twin);
    CFile::WriteText(NameOf(longer / "document"), u"text");
    MakePermanent(names[1], NameOf(longer / "other"));
    DeleteAll();
    EXPECT_EQ(CountIn(longer.string().c_str()), 2);
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        EXPECT_NE(entry.path().extension(), ".lock") << "a mark is left";
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
    const char* const stray[] = {".tarnkit-00000000000012.lock", "nbk00000000000012-1.tmp",
                                 "00000000000012-a.tmp", ".tarnkit-copy-7-1", ".tarnkit-.lock"};
    const char* const kept[] = {
        ".tarnkit-00000000000034.lock", "nbk00000000000034-1.tmp", "nbk00000000000056-1.tmp",
        "nbk00000000000012.tmp",        "00000000000012-1.txt",    "-1.tmp",
        "name00000000000012-1.tmp",     "00000000000012-1-1.tmp",  ".tarnkit-000000000000AB.lock",
        "nbk000000000000ab-1.tmp",      "nbk000000000000AB-2.tmp", ".tarnkit-copy-of-mine"};
    for (const char* name : stray)
        WriteBytes(folder / name, "");
    for (const char* name : kept)
        WriteBytes(folder / name, "");
    CFile lock(u".tarnkit-00000000000034.lock", CFile::ForReadingAndWriting | CFile::Exclusive);
    Delete(NewInDir(Full(""), nullptr));
    for (const char* name : stray)
        EXPECT_EQ(fs::exists(folder / name), name == stray[4]) << name;
    for (const char* name : kept)
        EXPECT_TRUE(fs::exists(folder / name)) << name;
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 14) << "the own mark is gone";
}

TEST_F(TempFileTest, StayWhenTheirProcessIsKilledOncePermanentOrKept) {
    TARNKIT_TEST_NEEDS(kFork);
    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, u"Software\\Velmora\\Tarnkit");
    EXPECT_EQ(RunInChild([&] {
                  const CUnicodeString own = New(nullptr), replaced = New(nullptr), stray = New(nullptr);
                  MakePermanent(own, own);
                  MakePermanent(New(nullptr), replaced);
                  key.SetStringValue(u"KeepTempFiles", u"1");
                  Delete(New(nullptr));
                  key.DeleteValue(u"KeepTempFiles");
                  WriteBytes(folder / "document", "");
                  return fs::status(PathOf(own)).permissions() !=
                         fs::status(folder / "document").permissions();
              }),
              0);
    EXPECT_EQ(CountIn("temp"), 4);
    Delete(New(nullptr));
    EXPECT_EQ(CountIn("temp"), 3) << "one is nobody's";
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
