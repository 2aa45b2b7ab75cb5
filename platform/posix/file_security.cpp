// Who may do what with a file, and where symbolic links lead.
#include "platform/platform.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/support/descriptor.h"
#include "platform/posix/support/error_codes.h"

#include <cerrno>
#include <climits>
#include <sys/xattr.h>
#include <unistd.h>

namespace Tarn::Platform {

using namespace Posix;

namespace {

constexpr unsigned kPermissions = 0777;
constexpr unsigned kGroupPermissions = 0070;
constexpr unsigned kOtherPermissions = 0007;
constexpr unsigned kNewFileMode = 0666;
constexpr std::size_t kMostAttributeBytes = 0x10000;
constexpr int kMostLinks = 40;
constexpr const char* kAccessControlList = "system.posix_acl_access";

// Attributes that describe what a file is, not what is in it. Those of the kernel's own modules stay with the
// file for which the kernel made them.
bool isCarriedOver(const String& attribute) {
    return attribute.starts_with("user.") || attribute == kAccessControlList ||
           attribute == "security.selinux";
}

// Attributes that the system refuses are left out, as documented.
void copyAttributes(const char* model, int file) {
    Vector<char> names(kMostAttributeBytes);
    Vector<char> value(kMostAttributeBytes);
    const ssize_t size = listxattr(model, names.data(), names.size());
    bool hasList = false;
    for (ssize_t i = 0; i < size;) {
        const String name = names.data() + i;
        i += static_cast<ssize_t>(name.size()) + 1;
        hasList = hasList || name == kAccessControlList;
        if (!isCarriedOver(name))
            continue;
        const ssize_t length = getxattr(model, name.c_str(), value.data(), value.size());
        if (length >= 0)
            fsetxattr(file, name.c_str(), value.data(), static_cast<std::size_t>(length), 0);
    }
    if (size >= 0 && !hasList)
        fremovexattr(file, kAccessControlList); // which the file may have got from its folder
}

// A group that cannot be given must not hand the group's rights to another one.
unsigned permissionsOf(const FileInformation& model, bool hasGroup) {
    const unsigned mode = model.mode & kPermissions;
    return hasGroup ? mode : mode & (~kGroupPermissions | (mode & kOtherPermissions) << 3);
}

DWORD copySecurity(const char16_t* modelText, const char16_t* fileText) {
    Name model;
    Name file;
    if (const DWORD code = Find(fileText, file); code != ERROR_SUCCESS)
        return code;
    const Descriptor opened(open(file.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (opened < 0)
        return CodeOf(errno);
    const DWORD found = Find(modelText, model);
    if (found == ERROR_FILE_NOT_FOUND)
        return fchmod(opened, kNewFileMode & ~FileModeMask()) == 0 ? DWORD{ERROR_SUCCESS} : CodeOf(errno);
    if (found != ERROR_SUCCESS)
        return found;
    const bool hasGroup = fchown(opened, model.target.owner, model.target.group) == 0 ||
                          fchown(opened, static_cast<uid_t>(-1), model.target.group) == 0;
    if (fchmod(opened, permissionsOf(model.target, hasGroup)) != 0)
        return CodeOf(errno);
    copyAttributes(model.path.c_str(), opened);
    return ERROR_SUCCESS;
}

// Follows links until a name is none. Only the last component matters: the system follows the others.
DWORD followLinks(const char16_t* link, U16String& target) {
    Name name;
    if (Find(link, name) != ERROR_SUCCESS || !name.entry.IsLink())
        return ERROR_SUCCESS;
    for (int i = 0; i < kMostLinks; i++) {
        char text[PATH_MAX];
        const ssize_t size = readlink(name.path.c_str(), text, sizeof text);
        if (size < 0 || size == sizeof text)
            return size < 0 ? CodeOf(errno) : DWORD{ERROR_FILENAME_EXCED_RANGE};
        const String next(text, static_cast<std::size_t>(size));
        name.path = next[0] == '/' ? next : Join(ParentOf(name.path), next);
        if (Query(name.path.c_str(), name.entry, AT_SYMLINK_NOFOLLOW) != 0 || !name.entry.IsLink()) {
            target = ToWide(name.path);
            return ERROR_SUCCESS;
        }
    }
    return CodeOf(ELOOP);
}

} // namespace

BOOL CopyFileSecurityW(const char16_t* model, const char16_t* file) {
    return Report(Guarded([&] { return copySecurity(model, file); }));
}

DWORD GetLinkTargetW(const char16_t* link, DWORD size, char16_t* path) {
    U16String target;
    if (!Report(Guarded([&] { return followLinks(link, target); })) || target.empty())
        return 0;
    const auto length = static_cast<DWORD>(target.size());
    if (size <= length)
        return length + 1;
    target.copy(path, length);
    path[length] = 0;
    return length;
}

} // namespace Tarn::Platform
