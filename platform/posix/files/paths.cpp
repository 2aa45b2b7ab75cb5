#include "platform/posix/files/paths.h"

#include "platform/posix/files/folder_search.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/text/utf8.h"

#include <algorithm>
#include <cerrno>

namespace Tarn::Platform::Posix {

namespace {

constexpr char16_t kForbidden[] = u"*?<>\"|:";
/// Characters that must not occur in 16-bit names are mapped to this area.
constexpr char16_t kPrivateArea = 0xF000;

bool isForbidden(char16_t unit) {
    return unit < u' ' ||
           U16String::traits_type::find(kForbidden, std::size(kForbidden) - 1, unit) != nullptr;
}

/// Whether a byte of a disk name is mapped to the private area.
bool isMoved(char32_t byte) {
    return byte != 0 && byte < 0x80 && (isForbidden(static_cast<char16_t>(byte)) || byte == U'\\');
}

bool isMovedUnit(char32_t unit) { return unit > kPrivateArea && isMoved(unit - kPrivateArea); }

bool isEscapedByte(char32_t unit) { return unit >= 0xDC80 && unit <= 0xDCFF; }

struct CodePoint {
    char32_t value;
    std::size_t length;
};

/// The code point at the start of `bytes`, surrogates included; `kNotUtf8` with a length of 1 if there is
/// none.
CodePoint decodeOne(const char* bytes, std::size_t size) {
    const char* next = bytes;
    const char32_t value = ReadUtf8(next, bytes + size, Surrogates::kAllowed);
    return {value, value == kNotUtf8 ? 1 : static_cast<std::size_t>(next - bytes)};
}

/// Whether the code point read before `rest` may appear in a 16-bit name as it is. One that would be read
/// back as something else may not; its bytes are escaped one by one.
bool standsForItself(char32_t value, const char* rest, std::size_t restSize) {
    if (value == kNotUtf8 || isMovedUnit(value) || isEscapedByte(value))
        return false;
    if (!IsHighSurrogate(value) || restSize == 0)
        return true;
    const char32_t next = decodeOne(rest, restSize).value;
    return next != kNotUtf8 && !IsSurrogate(next) && !isMovedUnit(next);
}

/// Appends one component; false if no file can have that name.
bool appendComponent(String& path, const char16_t* text, std::size_t size) {
    const std::size_t start = path.size();
    bool hasLoneSurrogate = false;
    for (const char16_t *next = text, *end = text + size; next != end;) {
        const char32_t character = ReadUtf16(next, end);
        if (character < kFirstSupplementary && isForbidden(static_cast<char16_t>(character)))
            return false;
        hasLoneSurrogate |= IsSurrogate(character);
        if (isEscapedByte(character))
            path.push_back(static_cast<char>(character & 0xFF));
        else
            PutUtf8(isMovedUnit(character) ? character - kPrivateArea : character,
                    [&](char byte) { path.push_back(byte); });
    }
    // Escapes that together spell a character would make two names of one file.
    return !hasLoneSurrogate ||
           ToWide(path.data() + start, path.size() - start).compare(0, U16String::npos, text, size) == 0;
}

bool isText(const char16_t* text, std::size_t size, const char16_t* expected) {
    return U16String::traits_type::length(expected) == size &&
           U16String::traits_type::compare(text, expected, size) == 0;
}

/// Removes the last component of the path, or adds another ".." if there is none to remove.
void stepUp(String& path) {
    const bool isAbsolute = !path.empty() && path[0] == '/';
    if (path == "/")
        return;
    if (!isAbsolute && (path.empty() || LastOf(path) == "..")) {
        path += path.empty() ? ".." : "/..";
        return;
    }
    const std::size_t separator = path.rfind('/');
    path.resize(separator == String::npos ? 0 : separator == 0 ? 1 : separator);
}

/// Follows `path`, which is missing as it is spelled, component by component, each as spelled or else
/// regardless of case; `result.path` becomes the path as it is on disk.
DWORD walk(const String& path, Name& result) {
    const std::size_t last = path.rfind('/');
    // Usually the folder exists.
    const bool isFolderThere = last != String::npos && last > 0 &&
                               Query(path.substr(0, last).c_str(), result.folder) == 0 &&
                               result.folder.IsDirectory();
    String real = isFolderThere ? path.substr(0, last) : path[0] == '/' ? "/" : "";
    for (std::size_t start = isFolderThere ? last + 1 : real.size(); start < path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const bool isLast = end == path.size();
        const String component = path.substr(start, end - start);
        start = end + 1;
        String candidate = Join(real, component);
        int error = isFolderThere ? ENOENT : Query(candidate.c_str(), result.entry, AT_SYMLINK_NOFOLLOW);
        if (error == ENOENT) {
            const String directory = real.empty() ? "." : real;
            if (!isFolderThere && Query(directory.c_str(), result.folder) != 0)
                result.folder = FileInformation();
            String found;
            const DWORD code = FindIgnoringCase(directory, result.folder, component, found);
            if (code == ERROR_FILE_NOT_FOUND || (found.empty() && !isLast))
                return ERROR_PATH_NOT_FOUND;
            if (code != ERROR_SUCCESS)
                return code;
            if (!found.empty()) {
                candidate = Join(real, found);
                error = Query(candidate.c_str(), result.entry, AT_SYMLINK_NOFOLLOW);
            }
        }
        real = candidate;
        if (error != 0) {
            result.path = real;
            return error == ENOENT && !isLast ? DWORD{ERROR_PATH_NOT_FOUND} : CodeOf(error);
        }
    }
    result.path = real;
    result.folder = FileInformation(); // nobody asks for that of an existing file
    return ERROR_SUCCESS;
}

} // namespace

U16String ToWide(const char* path, std::size_t size) {
    U16String text;
    text.reserve(size);
    for (std::size_t i = 0; i < size;) {
        const CodePoint point = decodeOne(path + i, size - i);
        const char32_t value = point.value;
        const char* rest = path + i + point.length;
        if (isMoved(value))
            text.push_back(static_cast<char16_t>(kPrivateArea + value));
        else if (value == U'/')
            text.push_back(u'\\');
        else if (!standsForItself(value, rest, size - i - point.length))
            for (std::size_t k = 0; k < point.length; k++)
                text.push_back(static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(path[i + k])));
        else
            PutUtf16(value, [&](char16_t unit) { text.push_back(unit); });
        i += point.length;
    }
    return text;
}

DWORD ToDisk(const char16_t* name, String& path) {
    path.clear();
    if (name == nullptr || *name == 0)
        return ERROR_PATH_NOT_FOUND;
    if (IsSeparator(name[0])) {
        if (name[1] == name[0])
            return ERROR_BAD_NETPATH;
        path.push_back('/');
    }
    while (*name != 0) {
        std::size_t size = 0;
        while (name[size] != 0 && !IsSeparator(name[size]))
            size++;
        if (isText(name, size, u"..")) {
            stepUp(path);
        } else if (size != 0 && !isText(name, size, u".")) {
            if (!path.empty() && path.back() != '/')
                path.push_back('/');
            if (!appendComponent(path, name, size))
                return ERROR_INVALID_NAME;
        }
        name += size + (name[size] != 0 ? 1 : 0);
    }
    if (path.empty())
        path.push_back('.');
    return ERROR_SUCCESS;
}

U16String Fold(U16String text) {
    CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

bool IsSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

bool EndsWithSeparator(const char16_t* name) {
    const std::size_t size = name == nullptr ? 0 : U16String::traits_type::length(name);
    return size != 0 && IsSeparator(name[size - 1]);
}

String ParentOf(const String& path) {
    const std::size_t separator = path.rfind('/');
    return separator == String::npos ? "." : separator == 0 ? "/" : path.substr(0, separator);
}

String LastOf(const String& path) {
    const std::size_t separator = path.rfind('/');
    return separator == String::npos ? path : path.substr(separator + 1);
}

String Join(const String& directory, const String& last) {
    String path = directory;
    if (!path.empty() && path.back() != '/')
        path.push_back('/');
    return path += last;
}

DWORD Find(const char16_t* name, Name& result) {
    if (const DWORD code = ToDisk(name, result.path); code != ERROR_SUCCESS)
        return code;
    result.given = LastOf(result.path);
    result.endsWithSeparator = EndsWithSeparator(name);
    const int error = Query(result.path.c_str(), result.entry, AT_SYMLINK_NOFOLLOW);
    const bool isMissing = error == ENOENT || error == ENOTDIR;
    const DWORD code = isMissing ? walk(String(result.path), result) : CodeOf(error);
    if (code != ERROR_SUCCESS)
        return code;
    result.target = result.entry;
    if (result.entry.IsLink())
        Query(result.path.c_str(), result.target);
    return result.endsWithSeparator && !result.IsDirectory() ? DWORD{ERROR_INVALID_NAME}
                                                             : DWORD{ERROR_SUCCESS};
}

DWORD CheckParentWritable(const Name& name) {
    if (name.folder.mode == 0)
        return CheckParentWritable(name.path);
    return name.folder.IsReadOnly() ? DWORD{ERROR_ACCESS_DENIED} : DWORD{ERROR_SUCCESS};
}

DWORD CheckParentWritable(const String& path) {
    FileInformation parent;
    if (const int error = Query(ParentOf(path).c_str(), parent); error != 0)
        return error == ENOENT ? DWORD{ERROR_PATH_NOT_FOUND} : CodeOf(error);
    return parent.IsReadOnly() ? DWORD{ERROR_ACCESS_DENIED} : DWORD{ERROR_SUCCESS};
}

} // namespace Tarn::Platform::Posix
