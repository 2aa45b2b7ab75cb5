#include "tests/files/support.h"

using namespace Tarn;
using namespace Tarn::FileSystem;

namespace {

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

} // namespace
