#include "platform/posix/files/links.h"

#include "platform/posix/support/error_codes.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <unistd.h>

namespace Tarn::Platform::Posix {

namespace {

constexpr int kMostLinks = 40;
constexpr unsigned kSharedFolder = S_ISVTX | S_IWOTH;

/// In a folder where everybody may create names, a link is as trustworthy as its owner. Many systems refuse
/// to follow such a link, but some are set up not to.
bool isTrap(const FileInformation& link, const FileInformation& folder) {
    return (folder.mode & kSharedFolder) == kSharedFolder && link.owner != geteuid() &&
           link.owner != folder.owner;
}

/// Removes links, "." and ".." from all of the path but its last component, as the system understands them.
DWORD resolveFolder(String& path) {
    const String last = LastOf(path);
    const bool isFolder = last.empty() || last == "." || last == "..";
    const String resolved = isFolder ? path : ParentOf(path);
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(resolved.c_str(), nullptr), &std::free);
    if (real == nullptr)
        return errno == ENOENT ? DWORD{ERROR_PATH_NOT_FOUND} : CodeOf(errno);
    path = isFolder ? String(real.get()) : Join(real.get(), last);
    return ERROR_SUCCESS;
}

/// Goes from a link to the name in it. `entry` becomes what that is; its mode is 0 if it is missing.
DWORD followOne(String& path, FileInformation& entry) {
    FileInformation folder;
    if (const int error = Query(ParentOf(path).c_str(), folder); error != 0)
        return CodeOf(error);
    if (isTrap(entry, folder))
        return ERROR_ACCESS_DENIED;
    char text[PATH_MAX];
    const ssize_t size = readlink(path.c_str(), text, sizeof text);
    if (size < 0 || size == sizeof text)
        return size < 0 ? CodeOf(errno) : DWORD{ERROR_FILENAME_EXCED_RANGE};
    const String next(text, static_cast<std::size_t>(size));
    path = next[0] == '/' ? next : Join(ParentOf(path), next);
    if (const DWORD code = resolveFolder(path); code != ERROR_SUCCESS)
        return code;
    entry = {};
    const int error = Query(path.c_str(), entry, AT_SYMLINK_NOFOLLOW);
    return error == ENOENT ? DWORD{ERROR_SUCCESS} : CodeOf(error);
}

} // namespace

bool IsOfProcess(const FileInformation& entry) {
    FileInformation process;
    return entry.IsLink() && Query("/proc/self", process, AT_SYMLINK_NOFOLLOW) == 0 &&
           process.device == entry.device;
}

DWORD FollowLinks(const Name& name, String& target) {
    target = name.path;
    FileInformation entry = name.entry;
    for (int i = 0; entry.IsLink() && !IsOfProcess(entry); i++)
        if (const DWORD code = i < kMostLinks ? followOne(target, entry) : CodeOf(ELOOP);
            code != ERROR_SUCCESS)
            return code;
    return ERROR_SUCCESS;
}

} // namespace Tarn::Platform::Posix
