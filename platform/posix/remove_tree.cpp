// Removing a directory with everything in it.
//
// Every entry is looked at, opened and removed from its open directory, and no link is followed. Whoever
// exchanges a directory for a link meanwhile loses the link, not what it leads to.
#include "platform/platform.h"
#include "platform/posix/files/deletion_claim.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/support/error_codes.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace Tarn::Platform {

using namespace Posix;

namespace {

/// An open directory.
class Folder {
public:
    Folder() = default;
    Folder(int directory, const char* name, int access)
        : descriptor(openat(directory, name, access | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {}
    Folder(Folder&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    Folder& operator=(Folder&& other) noexcept {
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~Folder() {
        if (descriptor >= 0)
            close(descriptor);
    }

    bool IsOpen() const { return descriptor >= 0; }
    int Descriptor() const { return descriptor; }

    /// The names of its entries, the first one last.
    DWORD List(Vector<String>& names) const {
        const int copy = openat(descriptor, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const DirectoryEntries entries(copy < 0 ? nullptr : fdopendir(copy));
        if (!entries) {
            const int error = errno;
            if (copy >= 0)
                close(copy);
            return CodeOf(error);
        }
        for (;;) {
            errno = 0;
            const dirent* entry = readdir(entries.get());
            if (entry == nullptr)
                break;
            if (const std::string_view name = entry->d_name; name != "." && name != "..")
                names.emplace_back(name);
        }
        std::sort(names.begin(), names.end(), std::greater<>());
        return CodeOf(errno);
    }

private:
    int descriptor = -1;
};

/// Empties a directory. However deep it is, two directories are open at most.
class TreeEmptier {
public:
    DWORD Empty(const char* path) {
        DWORD code = enter(AT_FDCWD, path);
        while (code == ERROR_SUCCESS && !levels.empty())
            code = levels.back().names.empty() ? leave() : remove(levels.back().names.back());
        return code;
    }

    /// After a failure: the path of what could not be removed, seen from the directory that was to be
    /// emptied.
    String Failed() const {
        String path;
        for (const Level& level : levels)
            if (!level.names.empty())
                path = path.empty() ? level.names.back() : Join(path, level.names.back());
        return path;
    }

private:
    struct Level {
        FileInformation directory;
        Vector<String> names; // what is still to be removed; the last one is under way
    };

    Vector<Level> levels;
    Folder current; // that of the last level

    /// Begins to empty a directory, which becomes the last level. An empty one, except for the first, is
    /// removed at once: it need not be left again, for which some may lack the right.
    DWORD enter(int parent, const char* name) {
        Folder folder(parent, name, O_RDONLY);
        if (!folder.IsOpen())
            return errno == ENOTDIR || errno == ELOOP ? becameOther() : CodeOf(errno);
        Level level;
        if (const int error = Query(folder.Descriptor(), level.directory); error != 0)
            return CodeOf(error);
        if (level.directory.IsReadOnly() &&
            fchmod(folder.Descriptor(), WritableMode(level.directory.mode & 07777)) != 0)
            return CodeOf(errno);
        if (const DWORD code = folder.List(level.names); code != ERROR_SUCCESS)
            return code;
        if (level.names.empty() && !levels.empty())
            return unlinkCurrent(AT_REMOVEDIR);
        levels.push_back(std::move(level));
        current = std::move(folder);
        return ERROR_SUCCESS;
    }

    /// What was a directory when it was looked at is none any more. Removes a link by its name; if it is the
    /// first directory, the caller does.
    DWORD becameOther() { return levels.empty() ? DWORD{ERROR_SUCCESS} : unlinkCurrent(0); }

    /// Removes the entry that is under way.
    DWORD unlinkCurrent(int flags) {
        Vector<String>& names = levels.back().names;
        if (unlinkat(current.Descriptor(), names.back().c_str(), flags) != 0)
            return errno == EEXIST ? DWORD{ERROR_DIR_NOT_EMPTY} : CodeOf(errno);
        names.pop_back();
        return ERROR_SUCCESS;
    }

    DWORD remove(const String& name) {
        FileInformation entry;
        if (const int error = Query(name.c_str(), entry, AT_SYMLINK_NOFOLLOW, current.Descriptor());
            error != 0)
            return CodeOf(error);
        if (entry.IsDirectory())
            return enter(current.Descriptor(), name.c_str());
        DeletionClaim claim;
        if (const DWORD code = claim.Take(name.c_str(), entry, current.Descriptor()); code != ERROR_SUCCESS)
            return code == kNameChanged ? DWORD{ERROR_SHARING_VIOLATION} : code;
        return unlinkCurrent(0);
    }

    /// Goes back to the directory above, which must still be the one it was, and removes the emptied one.
    DWORD leave() {
        levels.pop_back();
        if (levels.empty())
            return ERROR_SUCCESS;
        Folder parent(current.Descriptor(), "..", O_PATH);
        if (!parent.IsOpen())
            return CodeOf(errno);
        FileInformation now;
        if (const int error = Query(parent.Descriptor(), now); error != 0)
            return CodeOf(error);
        if (!now.IsSameFile(levels.back().directory))
            return ERROR_PATH_NOT_FOUND; // somebody has moved the emptied directory
        current = std::move(parent);
        return unlinkCurrent(AT_REMOVEDIR);
    }
};

void copyText(const U16String& text, char16_t* buffer, DWORD size) {
    const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
    text.copy(buffer, length);
    buffer[length] = 0;
}

DWORD emptyTree(const char16_t* text, char16_t* failed, DWORD size) {
    Name name;
    if (const DWORD code = Find(text, name); code != ERROR_SUCCESS)
        return code;
    if (!name.IsDirectory())
        return ERROR_DIRECTORY;
    if (name.entry.IsLink())
        return ERROR_SUCCESS;
    TreeEmptier emptier;
    const DWORD code = Guarded([&] { return emptier.Empty(name.path.c_str()); });
    if (code != ERROR_SUCCESS)
        copyText(ToWide(emptier.Failed()), failed, size);
    return code;
}

} // namespace

BOOL RemoveTreeW(const char16_t* name, char16_t* failed, DWORD size) {
    *failed = 0;
    return Report(Guarded([&] { return emptyTree(name, failed, size); })) && RemoveDirectoryW(name);
}

} // namespace Tarn::Platform
