// Path names as text: splitting, joining, comparing and checking. Nothing here touches the file system; only
// `MakeFullPath` and its callers ask for the current directory.
#include <tarnkit/file_system.h>

#include <algorithm>
#include <string_view>

namespace Tarn::FileSystem {

namespace {

constexpr int kLongestPart = 259; // of the 260 units that the system gives a part, one is the terminator
constexpr std::u16string_view kInvalidUnits = u"*?<>:\"|\\/";
constexpr char16_t kUp[] = u"..\\";

bool isSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

bool endsWithSeparator(const CUnicodeString& path) {
    return !path.IsEmpty() && isSeparator(path[path.GetLength() - 1]);
}

bool beginsWithSeparator(const CUnicodeString& path) { return !path.IsEmpty() && isSeparator(path[0]); }

bool hasDrive(const CUnicodeString& path) { return path.GetLength() > 1 && path[1] == u':'; }

bool isAsciiLetter(char16_t unit) { return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z'); }

// The index of the first separator at or after `start`, or -1.
int findSeparator(const CUnicodeString& path, int start) {
    for (int i = start; i < path.GetLength(); i++)
        if (isSeparator(path[i]))
            return i;
    return -1;
}

// The index of the last separator, even if it belongs to the root, or -1.
int findAnyLastSeparator(const CUnicodeString& path) {
    int i = path.GetLength() - 1;
    while (i >= 0 && !isSeparator(path[i]))
        i--;
    return i;
}

CUnicodeString trimmed(const CUnicodeString& path) {
    CUnicodeString result = path;
    result.Trim();
    return result;
}

// Where the parts of a path end.
struct CPartEnds {
    int drive;
    int dir;
    int name;
};

CPartEnds findParts(const CUnicodeString& path) {
    CPartEnds ends;
    ends.drive = hasDrive(path) ? 2 : 0;
    ends.dir = std::max(ends.drive, findAnyLastSeparator(path) + 1);
    const int dot = path.ReverseFind(u'.');
    ends.name = dot >= ends.dir ? dot : path.GetLength();
    return ends;
}

CUnicodeString part(const CUnicodeString& path, int first, int end) {
    return path.Mid(first, std::min(end - first, kLongestPart));
}

CUnicodeString withDot(const CUnicodeString& ext) {
    return ext.IsEmpty() || ext[0] == u'.' ? ext : u"." + ext;
}

// Joins with exactly one separator at the seam.
CUnicodeString join(const CUnicodeString& a, const CUnicodeString& b) {
    if (a.IsEmpty())
        return b;
    const int separators = (endsWithSeparator(a) ? 1 : 0) + (beginsWithSeparator(b) ? 1 : 0);
    if (separators == 0)
        return AddPathSeparator(a) + b;
    return separators == 1 ? a + b : a.Left(a.GetLength() - 1) + b;
}

// Like `join`, but an empty `b` adds no separator.
CUnicodeString joinPieces(const CUnicodeString& a, const CUnicodeString& b) {
    return b.IsEmpty() ? a : join(a, b);
}

// The end of the root of a network path, which includes the separator after the share; the length of the path
// if it has none.
int findEndOfShare(const CUnicodeString& path) {
    const int endOfServer = findSeparator(path, 2);
    const int endOfShare = endOfServer < 0 ? -1 : findSeparator(path, endOfServer + 1);
    return endOfShare < 0 ? path.GetLength() : endOfShare + 1;
}

bool areUnitsValid(const CUnicodeString& text, int first, int end) {
    return std::u16string_view(text.Ptr() + first, text.Ptr() + end).find_first_of(kInvalidUnits) ==
           std::u16string_view::npos;
}

// The number of components of a directory from `start` on; -1 if one of them is not valid.
int countValidComponents(const CUnicodeString& dir, int start) {
    int count = 0;
    while (start < dir.GetLength()) {
        const int separator = findSeparator(dir, start);
        const int end = separator < 0 ? dir.GetLength() : separator;
        if (end == start || !areUnitsValid(dir, start, end))
            return -1;
        count++;
        start = end + 1;
    }
    return count;
}

bool isDirValid(const CUnicodeString& dir, TPathType type) {
    constexpr int kServerAndShare = 2;
    if (type == UNC)
        return countValidComponents(dir, 2) >= kServerAndShare;
    return countValidComponents(dir, beginsWithSeparator(dir) ? 1 : 0) >= 0;
}

// Walks over the components of a path.
class CComponents {
public:
    CComponents(const CUnicodeString& ofPath, int from) : path(ofPath), start(from), end(from) { findEnd(); }

    bool AtEnd() const { return start == path.GetLength(); }
    CUnicodeString Name() const { return path.Mid(start, end - start); }
    CUnicodeString Rest() const { return path.Mid(start); }
    void Next() {
        start = end;
        findEnd();
    }

private:
    const CUnicodeString& path;
    int start;
    int end;

    void findEnd() {
        while (start < path.GetLength() && isSeparator(path[start]))
            start++;
        const int separator = findSeparator(path, start);
        end = separator < 0 ? path.GetLength() : separator;
    }
};

// The relative form of a path from a directory with the same root. The components of each begin at the given
// index.
CUnicodeString relate(const CUnicodeString& base, int baseStart, const CUnicodeString& path, int pathStart) {
    CComponents from(base, baseStart);
    CComponents to(path, pathStart);
    while (!from.AtEnd() && !to.AtEnd() && from.Name().CompareNoCase(to.Name()) == 0) {
        from.Next();
        to.Next();
    }
    CUnicodeString result;
    for (; !from.AtEnd(); from.Next())
        result += kUp;
    return result + to.Rest();
}

} // namespace

void Split(const CUnicodeString& path, CUnicodeString& drive, CUnicodeString& dir, CUnicodeString& name,
           CUnicodeString& ext) {
    const CUnicodeString source = path; // any of the results may be the path itself
    const CPartEnds ends = findParts(source);
    drive = part(source, 0, ends.drive);
    dir = part(source, ends.drive, ends.dir);
    name = part(source, ends.dir, ends.name);
    ext = part(source, ends.name, source.GetLength());
}

void Split(const CUnicodeString& path, CArray<CUnicodeString>& parts) {
    const CUnicodeString source = path; // may be an element of the array
    parts.DeleteAll();
    for (CComponents component(source, 0); !component.AtEnd(); component.Next())
        parts.Add(component.Name());
}

CUnicodeString GetPath(const CUnicodeString& path) {
    const CPartEnds ends = findParts(path);
    return part(path, ends.drive, ends.dir);
}

CUnicodeString GetName(const CUnicodeString& path) {
    const CPartEnds ends = findParts(path);
    return part(path, ends.dir, ends.name);
}

CUnicodeString GetExt(const CUnicodeString& path) {
    return part(path, findParts(path).name, path.GetLength());
}

CUnicodeString GetNameExt(const CUnicodeString& path) { return GetName(path) + GetExt(path); }

CUnicodeString GetDrivePath(const CUnicodeString& path) {
    return part(path, 0, findParts(path).drive) + GetPath(path);
}

TPathType GetPathType(const CUnicodeString& path) {
    return path.GetLength() >= 2 && isSeparator(path[0]) && path[1] == path[0] ? UNC : Ordinary;
}

bool IsUNCRootPath(const CUnicodeString& path) { return GetPathType(path) == UNC; }

CUnicodeString GetRoot(const CUnicodeString& path) {
    const CUnicodeString text = trimmed(path);
    if (GetPathType(text) != UNC)
        return u"\\";
    const int end = findEndOfShare(text);
    return end < text.GetLength() ? text.Left(end) : AddPathSeparator(text);
}

int FindLastSeparator(const CUnicodeString& path) {
    const int last = findAnyLastSeparator(path);
    const bool isOfServer = last == 1 && GetPathType(path) == UNC;
    const bool isOfDrive = last == 2 && hasDrive(path);
    return isOfServer || isOfDrive ? -1 : last;
}

CUnicodeString AddPathSeparator(const CUnicodeString& path) {
    if (endsWithSeparator(path))
        return path;
    const int last = findAnyLastSeparator(path);
    return path + (last < 0 ? u'\\' : path[last]);
}

void NormalizePath(CUnicodeString& path) {
    if (endsWithSeparator(path))
        path.StrDel(path.GetLength() - 1);
}

void ForceBackslashes(CUnicodeString& path) {
    for (int i = path.Find(u'/'); i >= 0; i = path.Find(u'/', i + 1))
        path.SetAt(i, u'\\');
}

CUnicodeString MergePath(const CUnicodeString& base, const CUnicodeString& path) {
    if (GetPathType(path) == UNC || (hasDrive(path) && isAsciiLetter(path[0])))
        return path;
    if (!beginsWithSeparator(path))
        return join(base, path);
    return GetPathType(base) == UNC ? join(GetRoot(base), path) : path;
}

void MakeFullPath(CUnicodeString& path) {
    if (!path.IsEmpty() && !beginsWithSeparator(path))
        path = MergePath(GetCurrentDir(), path);
}

CUnicodeString CombinePath(const CUnicodeString& base, const CUnicodeString& path) {
    CUnicodeString result = MergePath(base, path);
    MakeFullPath(result);
    return result;
}

CUnicodeString CanonicalizePath(const CUnicodeString& path) {
    CUnicodeString result = path;
    NormalizePath(result);
    if (result.IsEmpty())
        return result;
    MakeFullPath(result);
    const int endOfRoot = IsUNCRootPath(result) ? findEndOfShare(result) : 1;
    CUnicodeString root = result.Left(endOfRoot);
    root.MakeUpper();
    result = root + result.Mid(endOfRoot);
    ForceBackslashes(result);
    return result;
}

CUnicodeString RelativePath(const CUnicodeString& base, const CUnicodeString& path) {
    if (GetPathType(base) != GetPathType(path))
        return path;
    if (GetPathType(path) == UNC) {
        CComponents server(base, 0);
        CComponents pathServer(path, 0);
        const bool isSameServer = server.Name().CompareNoCase(pathServer.Name()) == 0;
        return isSameServer ? relate(base, 0, path, 0) : path;
    }
    const int drive = findParts(base).drive;
    const int pathDrive = findParts(path).drive;
    const bool isSameDrive = drive == pathDrive && base.Left(drive).CompareNoCase(path.Left(pathDrive)) == 0;
    const bool isBaseRooted = base.GetLength() == drive || isSeparator(base[drive]);
    const bool isPathRooted = path.GetLength() > pathDrive && isSeparator(path[pathDrive]);
    if (!isSameDrive || isBaseRooted != isPathRooted)
        return path;
    return relate(base, drive, path, pathDrive);
}

CUnicodeString Merge(const CUnicodeString& dir, const CUnicodeString& file) {
    return joinPieces(dir, GetNameExt(file));
}

CUnicodeString Merge(const CUnicodeString& dir, const CUnicodeString& name, const CUnicodeString& ext) {
    return joinPieces(dir, name + withDot(ext));
}

CUnicodeString Merge(const CUnicodeString& dir, const CUnicodeString& subdir, const CUnicodeString& name,
                     const CUnicodeString& ext) {
    return Merge(joinPieces(dir, subdir), name, ext);
}

CUnicodeString Merge(const CArray<CUnicodeString>& parts, TPathType type) {
    CUnicodeString result;
    for (const CUnicodeString& component : parts)
        result = joinPieces(result, component);
    return type == UNC ? u"\\\\" + result : result;
}

void AddExtIfNone(CUnicodeString& path, const CUnicodeString& ext) {
    if (findParts(path).name == path.GetLength())
        path += withDot(ext);
}

void ReplaceExt(CUnicodeString& path, const CUnicodeString& ext) {
    path = path.Left(findParts(path).name) + withDot(ext);
}

int CmpNames(const CUnicodeString* a, const CUnicodeString* b) {
    CUnicodeString first = *a;
    CUnicodeString second = *b;
    ForceBackslashes(first);
    ForceBackslashes(second);
    return first.CompareNoCase(second);
}

bool CheckName(const CUnicodeString& path) {
    const CUnicodeString text = trimmed(path);
    const CPartEnds ends = findParts(text);
    const int afterDot = std::min(ends.name + 1, text.GetLength());
    return isDirValid(text.Left(ends.dir), GetPathType(text)) && areUnitsValid(text, ends.dir, ends.name) &&
           areUnitsValid(text, afterDot, text.GetLength());
}

} // namespace Tarn::FileSystem
