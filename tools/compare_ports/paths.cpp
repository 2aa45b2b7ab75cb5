// All functions of FileSystem that work only on the text of paths.
#include "tools/compare_ports/results.h"

#include <tarnkit/file_system.h>

namespace compare_ports {

namespace {

using namespace Tarn;
using namespace Tarn::FileSystem;

constexpr unsigned kPaths = 10'000;

std::string quoted(const CUnicodeString& text) {
    return Quoted(std::u16string_view(text.Ptr(), static_cast<std::size_t>(text.GetLength())));
}

CUnicodeString randomPath(Random& random) {
    static const std::u16string_view kPieces[] = {
        u"\\",  u"\\",    u"/",        u"\\\\", u"//",     u"\\/",      u"a",      u"A",      u"dir",
        u"Dir", u"x.y.z", u".profile", u".",    u"..",     u"C:",       u"c:",     u"1:",     u"srv",
        u"SRV", u"share", u" ",        u"\t",   u"\u00E4", u"\u00C4",   u"\u0436", u"\u0131", u"\u00B5",
        u"*",   u"?",     u"|",        u":",    u"\"",     u"name.ext", u"\u3000"};
    CUnicodeString path;
    for (unsigned length = random.Below(9); length > 0; length--)
        path += CUnicodeString(random.Pick(kPieces).data());
    if (random.OneIn(100)) // longer than the limit for the parts of a split path
        path += CUnicodeString(u'l', 200 + static_cast<int>(random.Below(120)));
    return path;
}

/// The result of a function that changes a path in place.
template<class Function, class... Arguments>
CUnicodeString changed(CUnicodeString path, Function function, const Arguments&... arguments) {
    function(path, arguments...);
    return path;
}

std::string listed(const CArray<CUnicodeString>& texts) {
    std::string list;
    for (int i = 0; i < texts.Size(); i++)
        list += quoted(texts[i]);
    return list;
}

void printPath(ResultFile& results, unsigned number, const CUnicodeString& base, const CUnicodeString& path) {
    const auto add = [&](const char* function, const std::string& result) {
        results.Add(std::string("path/") + function, number, quoted(path) + " " + result);
    };
    const auto addWithBase = [&](const char* function, const std::string& result) {
        results.Add(std::string("path/") + function, number,
                    quoted(base) + " " + quoted(path) + " " + result);
    };
    CUnicodeString drive, dir, name, ext;
    Split(path, drive, dir, name, ext);
    add("Split", quoted(drive) + quoted(dir) + quoted(name) + quoted(ext));
    CArray<CUnicodeString> parts;
    Split(path, parts);
    add("SplitAll", listed(parts));
    add("GetPath", quoted(GetPath(path)));
    add("GetName", quoted(GetName(path)));
    add("GetExt", quoted(GetExt(path)));
    add("GetNameExt", quoted(GetNameExt(path)));
    add("GetDrivePath", quoted(GetDrivePath(path)));
    add("GetPathType", std::to_string(GetPathType(path)) + (IsUNCRootPath(path) ? " root" : ""));
    add("GetRoot", quoted(GetRoot(path)));
    add("FindLastSeparator", std::to_string(FindLastSeparator(path)));
    add("AddPathSeparator", quoted(AddPathSeparator(path)));
    add("NormalizePath", quoted(changed(path, NormalizePath)));
    add("ForceBackslashes", quoted(changed(path, ForceBackslashes)));
    add("MakeFullPath", quoted(changed(path, MakeFullPath)));
    add("CanonicalizePath", quoted(CanonicalizePath(path)));
    add("CheckName", CheckName(path) ? "1" : "0");
    addWithBase("MergePath", quoted(MergePath(base, path)));
    addWithBase("CombinePath", quoted(CombinePath(base, path)));
    addWithBase("RelativePath", quoted(RelativePath(base, path)));
    addWithBase("Merge2", quoted(Merge(base, path)));
    addWithBase("Merge3", quoted(Merge(base, name, ext)));
    addWithBase("Merge4", quoted(Merge(base, dir, name, path)));
    addWithBase("MergeAll", quoted(Merge(parts, GetPathType(base))));
    addWithBase("AddExtIfNone", quoted(changed(path, AddExtIfNone, GetExt(base))));
    addWithBase("ReplaceExt", quoted(changed(path, ReplaceExt, GetExt(base))));
    const int order = CmpNames(&base, &path);
    addWithBase("CmpNames", order < 0 ? "<" : order > 0 ? ">" : "=");
}

} // namespace

void PrintPaths(ResultFile& results) {
    ChangeDir(u"\\");
    Random random(1);
    CUnicodeString base;
    for (unsigned number = 0; number < kPaths; number++) {
        // Some paths differ only in a few places from the previous one.
        CUnicodeString path = random.OneIn(4) ? base + randomPath(random) : randomPath(random);
        if (random.OneIn(8))
            path = base;
        if (random.OneIn(8))
            path.MakeUpper();
        printPath(results, number, base, path);
        if (path.GetLength() < 500)
            base = path;
    }
}

} // namespace compare_ports
