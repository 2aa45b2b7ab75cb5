#include "platform/posix/files/folder_search.h"

#include "platform/posix/files/paths.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/support/fork_handlers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <linux/magic.h>
#include <string_view>
#include <sys/inotify.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace Tarn::Platform::Posix {

namespace {

/// Fewer names are read in no time.
constexpr std::size_t kManyNames = 100;
constexpr std::size_t kMostKeptNames = 200'000;
constexpr std::size_t kMostFolders = 8;
constexpr int kNone = -1;

std::size_t hashOf(const U16String& folded) { return std::hash<std::u16string_view>()(folded); }
std::size_t hashOf(const char* name) { return hashOf(Fold(ToWide(name, std::strlen(name)))); }

/// A name on disk, compared with others regardless of case.
class CaseBlindName {
public:
    explicit CaseBlindName(const String& nameOnDisk) : name(nameOnDisk), folded(Fold(ToWide(nameOnDisk))) {}

    bool Matches(std::string_view other) const {
        for (std::size_t i = 0; i < name.size() && i < other.size(); i++) {
            if (!isAscii(name[i]) || !isAscii(other[i]))
                return Fold(ToWide(other.data(), other.size())) == folded;
            if (lower(name[i]) != lower(other[i]))
                return false;
        }
        return name.size() == other.size();
    }
    /// Of several entries that match, the first in byte order is found.
    void Offer(const char* entry, String& found) const {
        if (Matches(entry) && (found.empty() || found.compare(entry) > 0))
            found = entry;
    }
    std::size_t Hash() const { return hashOf(folded); }

private:
    static bool isAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }
    static char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

    const String& name;
    U16String folded;
};

/// Whether nothing but calls on this system changes the folders of that disk.
bool areChangesKnown(int directory) {
    constexpr unsigned kXfs = 0x58465342;
    constexpr unsigned kLocal[] = {EXT4_SUPER_MAGIC, kXfs,        BTRFS_SUPER_MAGIC,
                                   F2FS_SUPER_MAGIC, TMPFS_MAGIC, OVERLAYFS_SUPER_MAGIC};
    struct statfs disk;
    return fstatfs(directory, &disk) == 0 &&
           std::find(std::begin(kLocal), std::end(kLocal), static_cast<unsigned>(disk.f_type)) !=
               std::end(kLocal);
}

/// A folder that had many names when it was searched.
struct LargeFolder {
    FileInformation folder;
    /// What the queue of changes calls the folder, if its names are kept.
    int watch = kNone;
    /// By the hash of their folded form.
    std::unordered_multimap<std::size_t, String, std::hash<std::size_t>, std::equal_to<std::size_t>,
                            Allocator<std::pair<const std::size_t, String>>>
        names;

    void Remove(const char* name) {
        const auto [first, last] = names.equal_range(hashOf(name));
        const auto place =
            std::find_if(first, last, [name](const auto& entry) { return entry.second == name; });
        if (place != last)
            names.erase(place);
    }
    void Add(const char* name) {
        Remove(name); // the folder may have been read after the change
        names.emplace(hashOf(name), name);
    }
};

class LargeFolders {
public:
    LargeFolders() = default;
    LargeFolders(const LargeFolders&) = delete;
    LargeFolders& operator=(const LargeFolders&) = delete;
    ~LargeFolders() {
        if (queue != kNone)
            close(queue);
    }

    /// Looks for a name where names are kept. `isKnown` says whether they are. Returns false if changes have
    /// been lost: then nothing here is right any more.
    bool Find(const FileInformation& folder, const CaseBlindName& name, String& found, bool& isKnown) {
        if (!takeChanges())
            return false;
        const LargeFolder* const kept = find(folder);
        isKnown = kept != nullptr && kept->watch != kNone;
        if (!isKnown)
            return true;
        const auto [first, last] = kept->names.equal_range(name.Hash());
        for (auto entry = first; entry != last; ++entry)
            name.Offer(entry->second.c_str(), found);
        return true;
    }

    /// Notes the folder, and keeps its names if it was noted before.
    void Note(const FileInformation& folder, DIR* entries) {
        LargeFolder* const known = find(folder);
        if (known != nullptr) {
            if (known->watch == kNone && areChangesKnown(dirfd(entries)))
                keep(*known, entries);
            return;
        }
        LargeFolder& noted = folders[oldest++ % kMostFolders];
        drop(noted);
        noted.folder = folder;
    }

private:
    std::array<LargeFolder, kMostFolders> folders;
    std::size_t oldest = 0;
    int queue = kNone;

    LargeFolder* find(const FileInformation& folder) {
        const auto place = std::find_if(folders.begin(), folders.end(), [&](const LargeFolder& known) {
            return known.folder.IsSameFile(folder) && known.folder.mode == folder.mode;
        });
        return place == folders.end() ? nullptr : &*place;
    }

    void drop(LargeFolder& large) {
        if (large.watch != kNone)
            inotify_rm_watch(queue, large.watch);
        large = LargeFolder();
    }

    void keep(LargeFolder& large, DIR* entries) {
        if (queue == kNone)
            queue = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (queue == kNone)
            return;
        char path[32]; // leads to the open folder, whatever its name leads to by now
        std::snprintf(path, sizeof path, "/proc/self/fd/%d", dirfd(entries));
        large.watch =
            inotify_add_watch(queue, path, IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR);
        if (large.watch == kNone)
            return;
        rewinddir(entries);
        errno = 0;
        while (const dirent* entry = readdir(entries))
            large.names.emplace(hashOf(entry->d_name), entry->d_name);
        if (errno != 0 || nameCount() > kMostKeptNames)
            drop(large);
    }

    std::size_t nameCount() const {
        std::size_t count = 0;
        for (const LargeFolder& large : folders)
            count += large.names.size();
        return count;
    }

    bool takeChanges() {
        alignas(inotify_event) char changes[4096];
        while (queue != kNone) {
            const ssize_t size = read(queue, changes, sizeof changes);
            if (size < 0 && errno == EINTR)
                continue;
            if (size < 0)
                return errno == EAGAIN;
            for (ssize_t i = 0; i < size;) {
                const auto change = reinterpret_cast<const inotify_event*>(changes + i);
                i += static_cast<ssize_t>(sizeof *change + change->len);
                if ((change->mask & IN_Q_OVERFLOW) != 0)
                    return false;
                apply(*change);
            }
        }
        return true;
    }

    void apply(const inotify_event& change) {
        const auto place = std::find_if(folders.begin(), folders.end(),
                                        [&](const LargeFolder& large) { return large.watch == change.wd; });
        if (place == folders.end())
            return;
        if ((change.mask & (IN_CREATE | IN_MOVED_TO)) != 0)
            place->Add(change.name);
        if ((change.mask & (IN_DELETE | IN_MOVED_FROM)) != 0)
            place->Remove(change.name);
        // The folder or its disk is gone, or it has grown too large.
        if ((change.mask & IN_IGNORED) != 0 || nameCount() > kMostKeptNames)
            drop(*place);
    }
};

std::mutex foldersMutex;
/// Null while there are none. Whatever goes wrong ends them, and the next searches begin anew.
LargeFolders* largeFolders = nullptr;

void forgetFolders() { Delete(std::exchange(largeFolders, nullptr)); }

[[gnu::destructor]] void forgetFoldersAtUnload() {
    const std::lock_guard lock(foldersMutex);
    forgetFolders();
}

bool findKept(const FileInformation& folder, const CaseBlindName& name, String& found) {
    const std::lock_guard lock(foldersMutex);
    if (largeFolders == nullptr)
        return false;
    bool isKnown = false;
    try {
        if (!largeFolders->Find(folder, name, found, isKnown))
            forgetFolders();
    } catch (...) {
        forgetFolders();
        throw;
    }
    return isKnown;
}

/// That names cannot be kept is no failure of the search.
void note(DIR* entries) {
    FileInformation folder;
    if (Query(dirfd(entries), folder) != 0)
        return;
    const std::lock_guard lock(foldersMutex);
    if (largeFolders == nullptr)
        largeFolders = New<LargeFolders>();
    if (largeFolders != nullptr && Guarded([&]() -> DWORD {
                                       largeFolders->Note(folder, entries);
                                       return ERROR_SUCCESS;
                                   }) != ERROR_SUCCESS)
        forgetFolders();
}

} // namespace

// In the child, the queue is that of the parent.
constinit const ForkHandlers kFoldersAtFork = {[] { foldersMutex.lock(); }, [] { foldersMutex.unlock(); },
                                               [] {
                                                   forgetFolders();
                                                   foldersMutex.unlock();
                                               }};

DWORD FindIgnoringCase(const String& directory, const FileInformation& folder, const String& wanted,
                       String& found) {
    const CaseBlindName name(wanted);
    if (findKept(folder, name, found))
        return ERROR_SUCCESS;
    const DirectoryEntries entries(opendir(directory.c_str()));
    if (!entries)
        return errno == EACCES ? DWORD{ERROR_SUCCESS} : CodeOf(errno);
    std::size_t count = 0;
    for (; const dirent* entry = readdir(entries.get()); count++)
        name.Offer(entry->d_name, found);
    if (count >= kManyNames)
        note(entries.get());
    return ERROR_SUCCESS;
}

} // namespace Tarn::Platform::Posix
