// Searching for files that match a pattern.
//
// A search reads its directory once, when it begins, and returns the files in the order of their names. Files
// created later are not found; one that is gone when its turn comes is skipped.
#include "platform/platform.h"
#include "platform/posix/files/handles.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/support/error_codes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <unistd.h>

namespace Tarn::Platform {

using namespace Posix;

namespace {

constexpr DWORD kSymbolicLinkTag = 0xA000000C;

// `*` and `?` have a slightly different meaning next to a dot: Windows replaces them by these wildcards in
// every search, and so does this port.
constexpr char16_t kStarToLastDot = u'<'; // Anything, but not the last dot.
constexpr char16_t kCharOrDotNext = u'>'; // One unit, or none before a dot and at the end.
constexpr char16_t kDotOrEnd = u'"';

struct Search : HandleObject {
    static constexpr Kind kKind = Kind::Search;

    Search() : HandleObject(kKind) {}
    ~Search() override { Shut(); }
    DWORD Shut() override {
        if (directory >= 0)
            close(directory);
        directory = -1;
        return ERROR_SUCCESS;
    }

    int directory = -1;
    Vector<String> names;
    std::size_t next = 0;
};

U16String translatePattern(U16String pattern) {
    const bool endsWithStarDot = pattern.size() > 1 && pattern.ends_with(u"*.");
    while (pattern.size() > 1 && pattern.back() == u'.')
        pattern.pop_back();
    if (endsWithStarDot)
        pattern.back() = kStarToLastDot;
    for (std::size_t i = 0; i < pattern.size(); i++) {
        const bool isWild = pattern[i] == u'?' || pattern[i] == u'*';
        if (isWild && i > 0 && pattern[i - 1] == u'.')
            pattern[i - 1] = kDotOrEnd;
        if (pattern[i] == u'?')
            pattern[i] = kCharOrDotNext;
        else if (pattern[i] == u'.' && i > 0 && pattern[i - 1] == u'*')
            pattern[i - 1] = kStarToLastDot;
    }
    return pattern;
}

/// Matches a folded name against a folded, translated pattern, which is processed from its end. `here[n]`
/// says whether the rest of the pattern matches the name from its n-th unit on.
bool matches(const U16String& pattern, const U16String& name) {
    const std::size_t end = name.size();
    const std::size_t lastDot = name.rfind(u'.');
    Vector<bool> here(end + 1);
    here[end] = true;
    for (std::size_t p = pattern.size(); p-- > 0;) {
        const Vector<bool> after = here;
        for (std::size_t n = end + 1; n-- > 0;) {
            const bool atEnd = n == end;
            const bool atDot = !atEnd && name[n] == u'.';
            switch (pattern[p]) {
            case u'*':
                here[n] = after[n] || (!atEnd && here[n + 1]);
                break;
            case kStarToLastDot:
                here[n] = after[n] || (!atEnd && n != lastDot && here[n + 1]);
                break;
            case kCharOrDotNext:
                here[n] = atEnd || atDot ? after[n] : after[n + 1];
                break;
            case kDotOrEnd:
                here[n] = atEnd ? after[n] : atDot && after[n + 1];
                break;
            default:
                here[n] = !atEnd && name[n] == pattern[p] && after[n + 1];
                break;
            }
        }
    }
    return here[0];
}

/// Fills `data` from the entry `name` of the directory and returns 0, or an `errno` value if it is gone.
int describe(int directory, const String& name, WIN32_FIND_DATAW& data) {
    FileInformation entry;
    if (const int error = Query(name.c_str(), entry, AT_SYMLINK_NOFOLLOW, directory); error != 0)
        return error;
    FileInformation target = entry;
    if (entry.IsLink())
        Query(name.c_str(), target, 0, directory);
    const U16String wide = ToWide(name);
    if (wide.size() >= std::size(data.cFileName))
        return ENAMETOOLONG;
    data = {};
    data.dwFileAttributes = AttributesOf(entry, target);
    data.ftCreationTime = target.creation;
    data.ftLastAccessTime = target.access;
    data.ftLastWriteTime = target.write;
    if (target.IsRegular()) {
        data.nFileSizeHigh = static_cast<DWORD>(target.size >> 32);
        data.nFileSizeLow = static_cast<DWORD>(target.size);
    }
    data.dwReserved0 = entry.IsLink() ? kSymbolicLinkTag : 0;
    wide.copy(data.cFileName, wide.size());
    return 0;
}

/// Fills `data` from the next entry that still exists; ERROR_NO_MORE_FILES if there is none.
DWORD deliverNext(Search& search, WIN32_FIND_DATAW& data) {
    while (search.next < search.names.size()) {
        const int error = describe(search.directory, search.names[search.next++], data);
        if (error == 0)
            return ERROR_SUCCESS;
        if (error != ENOENT && error != ENAMETOOLONG)
            return CodeOf(error);
    }
    return ERROR_NO_MORE_FILES;
}

/// The code for a directory that cannot be opened, from `errno`.
DWORD codeOfDirectory(int error) {
    return error == ENOTDIR ? ERROR_DIRECTORY : error == ENOENT ? DWORD{ERROR_PATH_NOT_FOUND} : CodeOf(error);
}

/// Opens the directory in which the search found its names; this does not need the right to list it.
DWORD openDirectory(Search& search, const String& path) {
    search.directory = open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    return search.directory >= 0 ? DWORD{ERROR_SUCCESS} : codeOfDirectory(errno);
}

/// Reads the names that match the pattern: "." and ".." first, then the others in the order of their folded
/// form. The root has no "." and "..".
DWORD collect(Search& search, const String& path, const U16String& pattern) {
    const DirectoryEntries entries(opendir(path.c_str()));
    if (!entries)
        return codeOfDirectory(errno);
    const bool isRoot = path == "/";
    struct Match {
        U16String folded;
        String name;
    };
    Vector<Match> found;
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(entries.get());
        if (entry == nullptr && errno != 0)
            return CodeOf(errno);
        if (entry == nullptr)
            break;
        const String name = entry->d_name;
        Match match{Fold(ToWide(name)), name};
        if (!(isRoot && (name == "." || name == "..")) && matches(pattern, match.folded))
            found.push_back(std::move(match));
    }
    const auto order = [](const Match& match) { return match.name == "." ? 0 : match.name == ".." ? 1 : 2; };
    std::sort(found.begin(), found.end(), [&](const Match& a, const Match& b) {
        return order(a) != order(b) ? order(a) < order(b) : a.folded < b.folded;
    });
    for (Match& match : found)
        search.names.push_back(std::move(match.name));
    return ERROR_SUCCESS;
}

/// Begins a search for one name: the file itself, or nothing.
DWORD beginExact(Search& search, const char16_t* name) {
    Name found;
    if (const DWORD code = Find(name, found); code != ERROR_SUCCESS)
        return code == ERROR_FILE_NOT_FOUND && found.endsWithSeparator ? DWORD{ERROR_PATH_NOT_FOUND} : code;
    const String last = LastOf(found.path);
    if (found.endsWithSeparator || last.empty() || last == "." || last == "..")
        return ERROR_FILE_NOT_FOUND;
    search.names.push_back(last);
    return openDirectory(search, ParentOf(found.path));
}

DWORD beginPattern(Search& search, const U16String& name, std::size_t lastStart) {
    const U16String pattern = name.substr(lastStart);
    if (pattern.find_first_of(u"<>\"|:") != U16String::npos)
        return ERROR_INVALID_NAME;
    // Without its last separator, so that a file in the place of the directory is reported as such.
    const U16String directoryName =
        lastStart == 0 ? u"." : name.substr(0, std::max<std::size_t>(lastStart - 1, 1));
    Name directory;
    if (const DWORD code = Find(directoryName.c_str(), directory); code != ERROR_SUCCESS)
        return code == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_PATH_NOT_FOUND} : code;
    if (const DWORD failure = openDirectory(search, directory.path); failure != ERROR_SUCCESS)
        return failure;
    return collect(search, directory.path, translatePattern(Fold(pattern)));
}

DWORD begin(Search& search, const char16_t* name) {
    const U16String text = name == nullptr ? u"" : name;
    const std::size_t separator = text.find_last_of(u"\\/");
    const std::size_t lastStart = separator == U16String::npos ? 0 : separator + 1;
    return text.find_first_of(u"*?", lastStart) == U16String::npos ? beginExact(search, name)
                                                                   : beginPattern(search, text, lastStart);
}

} // namespace

HANDLE FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* data) {
    HANDLE handle = INVALID_HANDLE_VALUE;
    Report(Guarded([&]() -> DWORD {
        Owned<Search> search(New<Search>());
        if (!search)
            return ERROR_NOT_ENOUGH_MEMORY;
        DWORD code = begin(*search, pattern);
        if (code == ERROR_SUCCESS)
            code = deliverNext(*search, *data);
        if (code != ERROR_SUCCESS)
            return code == ERROR_NO_MORE_FILES ? DWORD{ERROR_FILE_NOT_FOUND} : code;
        const HANDLE made = NewHandle(search.get());
        if (made == nullptr)
            return ERROR_TOO_MANY_OPEN_FILES;
        search.release();
        handle = made;
        return ERROR_SUCCESS;
    }));
    return handle;
}

BOOL FindNextFileW(HANDLE handle, WIN32_FIND_DATAW* data) {
    const Held<Search> search(handle);
    if (!search)
        return Report(ERROR_INVALID_HANDLE);
    const std::lock_guard lock(search->use);
    return Report(Guarded([&] { return deliverNext(*search, *data); }));
}

BOOL FindClose(HANDLE handle) {
    HandleObject* search = RemoveHandle(handle, HandleObject::Kind::Search);
    return Report(search == nullptr ? DWORD{ERROR_INVALID_HANDLE} : LetGo(search));
}

} // namespace Tarn::Platform
