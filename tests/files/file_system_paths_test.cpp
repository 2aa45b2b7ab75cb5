#include "tests/files/support.h"

#include <tarnkit/standard_path.h>

#include <algorithm>
#include <random>

using namespace Tarn;
using namespace Tarn::FileSystem;

namespace {

class NativeNames : public FolderTest {};

// Runs a path function on the first column and expects the second.
void expectEach(auto function, std::initializer_list<std::pair<const char16_t*, const char16_t*>> rows) {
    for (const auto& [path, expected] : rows)
        EXPECT_EQ(function(CUnicodeString(path)), expected) << Path(path);
}

TEST(Paths, AreSplitIntoDriveDirectoryNameAndExtension) {
    const auto parts = [](CUnicodeString path) {
        CUnicodeString drive, name, ext;
        EXPECT_EQ(GetDrivePath(path) + GetNameExt(path), path);
        Split(path, drive, path, name, ext); // a result may be the path itself
        return drive + u"|" + path + u"|" + name + u"|" + ext;
    };
    expectEach(parts, {{u"\\a\\b.c.d", u"|\\a\\|b.c|.d"},
                       {u"C:x.y", u"C:||x|.y"},
                       {u"c:/a/b", u"c:|/a/|b|"},
                       {u".profile", u"|||.profile"},
                       {u"a.b\\c", u"|a.b\\|c|"},
                       {u"", u"|||"}});
    EXPECT_EQ(GetName(CUnicodeString(u'n', 300)).GetLength(), 259);
    CArray<CUnicodeString> components{u"old"};
    Split(u"\\a//b\\", components);
    EXPECT_EQ(components, (CArray<CUnicodeString>{u"a", u"b"}));
}

TEST(Paths, KnowTheirTypeRootAndLastSeparator) {
    EXPECT_EQ(GetPathType(u"//srv"), UNC);
    for (const char16_t* path : {u"\\/srv", u"\\", u"a\\\\b"})
        EXPECT_EQ(GetPathType(path), Ordinary);
    for (const char16_t* path : {u"C:\\x", u"\\\\srv", u"ab"})
        EXPECT_EQ(FindLastSeparator(path), -1);
    EXPECT_EQ(FindLastSeparator(u"\\a\\b"), 2);
    expectEach(GetRoot, {{u" \\\\srv\\sh\\d ", u"\\\\srv\\sh\\"}, {u"//srv", u"//srv/"}, {u"C:\\a", u"\\"}});
    expectEach(AddPathSeparator, {{u"", u"\\"}, {u"/a", u"/a/"}, {u"ab", u"ab\\"}, {u"a/", u"a/"}});
}

TEST(Paths, AreMergedAndMadeFull) {
    const auto merged = [](const CUnicodeString& path) { return MergePath(u"\\dir\\", path); };
    expectEach(merged, {{u"\\x", u"\\x"}, {u"x", u"\\dir\\x"}, {u"c:x", u"c:x"}, {u"1:x", u"\\dir\\1:x"}});
    EXPECT_EQ(MergePath(u"/dir", u"x"), u"/dir/x");
    EXPECT_EQ(MergePath(u"\\\\srv\\sh\\d", u"\\x"), u"\\\\srv\\sh\\x");
    EXPECT_EQ(GetCurrentDir(), GetDrivePath(GetEXEFileName())); // until another is set
    EXPECT_EQ(CombinePath(u"d", u"x"), GetCurrentDir() + u"d\\x");
    expectEach(CanonicalizePath, {{u"", u""}, {u"/", u""}, {u"c:/Dir/File/", u"C:\\Dir\\File"}});
    EXPECT_EQ(CanonicalizePath(u"//srv/Share/Dir"), u"\\\\SRV\\SHARE\\Dir");
}

TEST(Paths, AreWrittenRelativeToADirectory) {
    const auto relative = [](const CUnicodeString& path) { return RelativePath(u"\\a\\B", path); };
    expectEach(relative, {{u"/A/b/c\\d.e", u"c\\d.e"}, {u"\\a\\bc\\d", u"..\\bc\\d"}, {u"d:\\a", u"d:\\a"}});
    EXPECT_EQ(RelativePath(u"", u"\\a"), u"a");
    EXPECT_EQ(RelativePath(u"\\\\srv\\sh\\a", u"\\\\SRV\\sh\\b"), u"..\\b");
    EXPECT_EQ(RelativePath(u"\\\\srv\\sh", u"\\\\other\\sh\\b"), u"\\\\other\\sh\\b");
}

TEST(Paths, GetSeparatorsAndDotsWhereMissing) {
    EXPECT_EQ(Merge(u"/d", u"\\other\\n.e"), u"/d/n.e");
    EXPECT_EQ(Merge(u"", u"n", u".e"), u"n.e");
    EXPECT_EQ(Merge(u"d", u"s", u"n.x", u"e"), u"d\\s\\n.x.e");
    EXPECT_EQ(Merge({u"srv", u"sh"}, UNC), u"\\\\srv\\sh");
    CUnicodeString path = u"a.b\\c";
    for (const char16_t* ext : {u"new", u"newer"})
        AddExtIfNone(path, ext);
    EXPECT_EQ(path, u"a.b\\c.new");
    const CUnicodeString a = u"\\Dir/ÄB", b = u"/dIR\\äb";
    EXPECT_EQ(CmpNames(&a, &b), 0);
}

TEST(Paths, AreCheckedForNamesThatNoFileCanHave) {
    for (const char16_t* path : {u" \\dir\\a.txt ", u"a", u"\\", u"a/b/", u"\\\\srv\\sh\\a", u".x"})
        EXPECT_TRUE(CheckName(path)) << Path(path);
    for (const char16_t* path : {u"\\dir\\a?.txt", u"\\a\\\\b.txt", u"C:\\a", u"C:a", u"a.t|t", u"\\/a",
                                 u"d*r\\a", u"\\\\srv\\a", u"\\\\srv\\s<h\\a"})
        EXPECT_FALSE(CheckName(path)) << Path(path);
}

// Whatever bytes a name on disk has, other libraries and this one mean the same file by it.
TEST_F(NativeNames, GoToOtherLibrariesAndComeBack) {
    std::mt19937 random(1);
    const bool anyBytes = sizeof(Path::value_type) == 1; // else they are UTF-8
    for (int round = 0; round < 200; round++) {
        std::string bytes = "n";
        for (auto count = random() % 12; count > 0; count--)
            bytes +=
                anyBytes ? static_cast<char>(1 + random() % 255) : static_cast<char>('a' + random() % 26);
        std::replace(bytes.begin(), bytes.end(), '/', '-');
        const Path path = folder / (anyBytes ? Path(bytes) : Path(bytes + "\u0436"));
        const CUnicodeString name = FromStandardPath(path);
        CFile(name, CFile::ForWriting | CFile::Create).Close();
        EXPECT_TRUE(std::filesystem::exists(path)) << bytes;
        EXPECT_EQ(ToStandardPath(name), path);
        EXPECT_EQ(FromNative(ToNative(name)), name);
    }
}

TEST_F(NativeNames, AreWhatMessagesShow) {
    const auto native = [](Path path) { return NameOf(path.make_preferred()); };
    ChangeDir(FromStandardPath(folder));
    EXPECT_EQ(ForDisplay(CUnicodeString(u"a\\b")), native("a/b"));
    EXPECT_EQ(ForDisplay(u"a*"), u"a*"); // no file can have it
    EXPECT_EQ(FailureOf([] { ToNative(u"a\tb"); }).empty(), kIsWindows);
    EXPECT_NE(FailureOf([] { FromNative(""); }), "");
    try {
        CFile(u"folder\\missing", CFile::ForReading).Close();
        FAIL() << "a file that is missing was opened";
    } catch (CFileException* e) {
        EXPECT_GE(e->MessageText().Find(native(folder / "folder" / "missing")), 0)
            << e->MessageText().CreateString(65001).Ptr();
        e->Delete();
    }
    CFile file(u"x", CFile::ForWriting | CFile::Create);
    EXPECT_EQ(file.GetFileName(), native(folder / "x"));
    file.Close();
    ChangeToWorkingDir(); // the parent
    EXPECT_TRUE(AccessFile(CUnicodeString(folder.filename().u16string().c_str()) + u"\\x", 0));
}

} // namespace
