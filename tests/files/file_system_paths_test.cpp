#include "tests/files/support.h"

using namespace Tarn;
using namespace Tarn::FileSystem;

namespace {

using Text = std::u16string;

// Runs a path function on the first column and expects the second.
template<class Function>
void expectEach(Function function, std::initializer_list<std::pair<const char16_t*, Text>> rows) {
    for (const auto& [path, expected] : rows)
        EXPECT_EQ(TextOf(function(CUnicodeString(path))), expected) << TextOf(path).size();
}

TEST(Paths, AreSplitIntoDriveDirectoryNameAndExtension) {
    const auto parts = [](const CUnicodeString& path) {
        CUnicodeString drive, dir, name, ext;
        Split(path, drive, dir, name, ext);
        EXPECT_EQ(GetDrivePath(path), drive + dir);
        EXPECT_EQ(GetNameExt(path), GetName(path) + GetExt(path));
        return drive + u"|" + dir + u"|" + name + u"|" + ext;
    };
    expectEach(parts, {{u"\\a\\b.c.d", u"|\\a\\|b.c|.d"},
                       {u"C:x.y", u"C:||x|.y"},
                       {u"c:/a/b", u"c:|/a/|b|"},
                       {u".profile", u"|||.profile"},
                       {u"a.b\\c", u"|a.b\\|c|"},
                       {u"a.", u"||a|."},
                       {u"\\\\srv\\sh\\", u"|\\\\srv\\sh\\||"},
                       {u"", u"|||"}});
    CUnicodeString path(u'n', 300);
    EXPECT_EQ(GetName(path).GetLength(), 259);
    CUnicodeString rest;
    path = u"\\a\\b.c";
    Split(path, rest, path, rest, rest); // a result may be the path itself
    EXPECT_EQ(path, u"\\a\\");

    CArray<CUnicodeString> components{u"old"};
    Split(u"\\a//b\\", components);
    EXPECT_EQ(components, (CArray<CUnicodeString>{u"a", u"b"}));
}

TEST(Paths, KnowTheirTypeRootAndLastSeparator) {
    for (const char16_t* path : {u"\\\\srv", u"//srv", u"\\\\"})
        EXPECT_EQ(GetPathType(path), UNC);
    for (const char16_t* path : {u"\\/srv", u"\\", u"", u"a\\\\b"})
        EXPECT_EQ(GetPathType(path), Ordinary);
    EXPECT_EQ(FindLastSeparator(u"C:\\x"), -1);
    EXPECT_EQ(FindLastSeparator(u"\\\\srv"), -1);
    EXPECT_EQ(FindLastSeparator(u"\\a\\b"), 2);
    EXPECT_EQ(FindLastSeparator(u"\\a"), 0);
    EXPECT_EQ(FindLastSeparator(u"ab"), -1);
    expectEach(GetRoot, {{u" \\\\srv\\sh\\d\\e ", u"\\\\srv\\sh\\"},
                         {u"\\\\srv\\sh", u"\\\\srv\\sh\\"},
                         {u"//srv", u"//srv/"},
                         {u"C:\\a", u"\\"},
                         {u"", u"\\"}});
    expectEach(AddPathSeparator, {{u"", u"\\"}, {u"/a", u"/a/"}, {u"ab", u"ab\\"}, {u"a/", u"a/"}});
    const auto normalized = [](CUnicodeString path) {
        NormalizePath(path);
        ForceBackslashes(path);
        return path;
    };
    expectEach(normalized, {{u"\\", u""}, {u"a//", u"a\\"}, {u"a", u"a"}, {u"", u""}});
}

TEST(Paths, AreMergedAndMadeFull) {
    const auto merged = [](const char16_t* base, const char16_t* path) {
        return TextOf(MergePath(base, path));
    };
    EXPECT_EQ(merged(u"\\dir\\", u"\\x"), u"\\x");
    EXPECT_EQ(merged(u"\\dir\\", u"x"), u"\\dir\\x");
    EXPECT_EQ(merged(u"/dir", u"x"), u"/dir/x");
    EXPECT_EQ(merged(u"\\\\srv\\sh\\d", u"\\x"), u"\\\\srv\\sh\\x");
    EXPECT_EQ(merged(u"\\dir", u"\\\\srv\\sh"), u"\\\\srv\\sh");
    EXPECT_EQ(merged(u"\\dir", u"c:x"), u"c:x");
    EXPECT_EQ(merged(u"\\dir", u"1:x"), u"\\dir\\1:x");
    EXPECT_EQ(merged(u"", u"x"), u"x");
    EXPECT_EQ(merged(u"a", u""), u"a\\");

    EXPECT_EQ(GetCurrentDir(), GetDrivePath(GetEXEFileName())); // until another is set
    EXPECT_EQ(CombinePath(u"d", u"x"), GetCurrentDir() + u"d\\x");
    expectEach(CanonicalizePath, {{u"", u""},
                                  {u"/", u"\\"},
                                  {u"/Dir/File/", u"\\Dir\\File"},
                                  {u"c:/Dir", u"C:\\Dir"},
                                  {u"//srv/Share/Dir", u"\\\\SRV\\SHARE\\Dir"},
                                  {u"\\\\srv\\Share\\", u"\\\\SRV\\SHARE"}});
}

TEST(Paths, AreWrittenAsSeenFromADirectory) {
    const auto relative = [](const char16_t* base, const char16_t* path) {
        return TextOf(RelativePath(base, path));
    };
    EXPECT_EQ(relative(u"\\a\\B", u"/A/b/c\\d.e"), u"c\\d.e");
    EXPECT_EQ(relative(u"\\a\\b\\", u"\\a\\bc\\d"), u"..\\bc\\d");
    EXPECT_EQ(relative(u"\\a\\b\\c", u"\\x"), u"..\\..\\..\\x");
    EXPECT_EQ(relative(u"\\a", u"\\a\\"), u"");
    EXPECT_EQ(relative(u"", u"\\a"), u"a");
    EXPECT_EQ(relative(u"c:\\a", u"C:\\b"), u"..\\b");
    EXPECT_EQ(relative(u"c:\\a", u"d:\\a"), u"d:\\a");
    EXPECT_EQ(relative(u"\\a", u"b"), u"b");
    EXPECT_EQ(relative(u"\\\\srv\\sh\\a", u"\\\\SRV\\sh\\b"), u"..\\b");
    EXPECT_EQ(relative(u"\\\\srv\\sh", u"\\\\other\\sh\\b"), u"\\\\other\\sh\\b");
    EXPECT_EQ(relative(u"\\a", u"\\\\srv\\sh"), u"\\\\srv\\sh");
}

TEST(Paths, GetSeparatorsAndDotsWhereTheyLack) {
    EXPECT_EQ(Merge(u"/d", u"\\other\\n.e"), u"/d/n.e");
    EXPECT_EQ(Merge(u"", u"n.e"), u"n.e");
    EXPECT_EQ(Merge(u"d\\", u"n", u"e"), u"d\\n.e");
    EXPECT_EQ(Merge(u"d", u"n", u""), u"d\\n");
    EXPECT_EQ(Merge(u"d", u"s", u"n.x", u".e"), u"d\\s\\n.x.e");
    EXPECT_EQ(Merge(u"d", u"", u"n", u"e"), u"d\\n.e");
    EXPECT_EQ(Merge({u"a", u"b"}, Ordinary), u"a\\b");
    EXPECT_EQ(Merge({u"srv", u"sh"}, UNC), u"\\\\srv\\sh");
    const auto withExt = [](CUnicodeString path) {
        AddExtIfNone(path, u"new");
        return path;
    };
    expectEach(withExt, {{u"a.b\\c", u"a.b\\c.new"}, {u"c.d", u"c.d"}});
    const auto replaced = [](CUnicodeString path) {
        ReplaceExt(path, u".new");
        return path;
    };
    expectEach(replaced, {{u"a.b\\c", u"a.b\\c.new"}, {u"c.d.e", u"c.d.new"}});
    const CUnicodeString a = u"\\Dir/ÄB", b = u"/dIR\\äb", c = u"/dir/b";
    EXPECT_EQ(CmpNames(&a, &b), 0);
    EXPECT_LT(CmpNames(&c, &a), 0);
}

TEST(Paths, AreCheckedForNamesThatNoFileCanHave) {
    for (const char16_t* path : {u" \\dir\\a.txt ", u"a", u"\\", u"", u"a/b/", u"\\\\srv\\sh\\a", u".x"})
        EXPECT_TRUE(CheckName(path)) << CUnicodeString(path).CreateString().Ptr();
    for (const char16_t* path : {u"\\dir\\a?.txt", u"\\a\\\\b.txt", u"C:\\a", u"C:a", u"a.t|t", u"a.t:t",
                                 u"\\/a", u"d*r\\a", u"\\\\srv\\a", u"\\\\srv", u"\\\\srv\\s<h\\a", u"a\"b"})
        EXPECT_FALSE(CheckName(path)) << CUnicodeString(path).CreateString().Ptr();
}

} // namespace
