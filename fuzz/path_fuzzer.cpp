// Passes arbitrary paths through every function that works on their text alone, and compares the results with
// each other.
#include "fuzz/support.h"

#include <tarnkit/file_system.h>

namespace {

using namespace Tarn;

bool isSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

// Paths consist mostly of characters that have a meaning in paths.
CUnicodeString takePath(FuzzInput& input) {
    static constexpr std::u16string_view kUnits = u"\\/.:aAbB? \u00E4\u00C4";
    std::u16string path;
    for (const char c : input.TakeString(40)) {
        const auto byte = static_cast<unsigned char>(c);
        path.push_back(byte < 0xF0 ? kUnits[byte % kUnits.size()] : static_cast<char16_t>(byte * 257));
    }
    return path.c_str();
}

void checkParts(const CUnicodeString& path) {
    CUnicodeString drive, dir, name, ext;
    FileSystem::Split(path, drive, dir, name, ext);
    MUST(drive + dir + name + ext == path);
    MUST(FileSystem::GetDrivePath(path) == drive + dir && FileSystem::GetPath(path) == dir);
    MUST(FileSystem::GetName(path) == name && FileSystem::GetExt(path) == ext);
    MUST(FileSystem::GetNameExt(path) == name + ext);
    MUST(ext.IsEmpty() || ext[0] == u'.');

    CArray<CUnicodeString> parts;
    FileSystem::Split(path, parts);
    for (const CUnicodeString& part : parts)
        MUST(!part.IsEmpty() && part.FindOneOf(u"\\/") < 0);
    CArray<CUnicodeString> again;
    FileSystem::Split(FileSystem::Merge(parts, FileSystem::GetPathType(path)), again);
    MUST(again == parts);

    CUnicodeString changed = path;
    FileSystem::ReplaceExt(changed, u"ext");
    MUST(FileSystem::GetExt(changed) == u".ext");
    changed = path;
    FileSystem::AddExtIfNone(changed, u".ext");
    MUST(!FileSystem::GetExt(changed).IsEmpty());
}

void checkSpelling(const CUnicodeString& path) {
    const int separator = FileSystem::FindLastSeparator(path);
    MUST(separator == -1 || isSeparator(path[separator]));
    const CUnicodeString closed = FileSystem::AddPathSeparator(path);
    MUST(isSeparator(closed[closed.GetLength() - 1]) && FileSystem::AddPathSeparator(closed) == closed);
    CUnicodeString backslashed = path;
    FileSystem::ForceBackslashes(backslashed);
    MUST(backslashed.Find(u'/') < 0 && FileSystem::CmpNames(&path, &backslashed) == 0);

    const CUnicodeString canonical = FileSystem::CanonicalizePath(path);
    CUnicodeString normalized = path;
    FileSystem::NormalizePath(normalized);
    MUST(canonical.IsEmpty() == normalized.IsEmpty() && canonical.Find(u'/') < 0);
    CUnicodeString full = path;
    FileSystem::MakeFullPath(full);
    CUnicodeString fullAgain = full;
    FileSystem::MakeFullPath(fullAgain);
    MUST(full == fullAgain);
    FileSystem::GetRoot(path);
    FileSystem::CheckName(path);
}

void checkPairs(const CUnicodeString& a, const CUnicodeString& b) {
    const int order = FileSystem::CmpNames(&a, &b);
    const int reverse = FileSystem::CmpNames(&b, &a);
    MUST((order < 0) == (reverse > 0) && (order == 0) == (reverse == 0));
    const CUnicodeString merged = FileSystem::MergePath(a, b);
    MUST(merged.GetLength() >= b.GetLength());
    FileSystem::CombinePath(a, b);
    // A drive alone means its root as a base, and itself as a path.
    MUST(FileSystem::RelativePath(a, a).IsEmpty() || (a.GetLength() == 2 && a[1] == u':'));
    FileSystem::RelativePath(a, b);
    FileSystem::Merge(a, b);
    FileSystem::Merge(a, b, u"ext");
    FileSystem::Merge(a, b, a, b);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    FuzzInput input(data, size);
    const CUnicodeString a = takePath(input);
    const CUnicodeString b = takePath(input);
    checkParts(a);
    checkSpelling(a);
    checkPairs(a, b);
    return 0;
}
