#include "platform/posix/files/security.h"

#include "platform/posix/support/error_codes.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <endian.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <span>
#include <sys/xattr.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {

namespace {

constexpr unsigned kPermissions = 0777;
constexpr unsigned kOwnerPermissions = 0700;
constexpr unsigned kGroupPermissions = 0070;
constexpr unsigned kOtherPermissions = 0007;
constexpr unsigned kNewFileMode = 0666;
constexpr std::size_t kMostAttributeBytes = 0x10000;
constexpr const char* kAccessControlList = "system.posix_acl_access";
constexpr const char* kListOfNewFiles = "system.posix_acl_default";

/// Whether the file has no such attribute, or cannot have it.
bool isAbsent(int error) { return error == ENODATA || error == EOPNOTSUPP || error == ENOSYS; }

/// An access-control list as the system stores it: a header and entries. Without one, the mode alone counts.
class AccessList {
public:
    DWORD Read(const String& path, const char* attribute) {
        bytes.resize(kMostAttributeBytes);
        const ssize_t size = getxattr(path.c_str(), attribute, bytes.data(), bytes.size());
        const int error = size < 0 && !isAbsent(errno) ? errno : 0;
        bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        return CodeOf(error);
    }

    bool IsEmpty() const { return bytes.empty(); }

    bool Write(int file) const {
        return fsetxattr(file, kAccessControlList, bytes.data(), bytes.size(), 0) == 0;
    }

    /// Takes from a group to which the file cannot be given what not everybody may do.
    void LimitGroup() {
        const unsigned others = permissionsOf(ACL_OTHER);
        for (Entry& entry : entries())
            if (tagOf(entry) == ACL_GROUP_OBJ)
                limit(entry, others);
    }

    /// Does what the system does with a folder's list for new files when a file is made.
    void Inherit(unsigned mode) {
        for (Entry& entry : entries()) {
            const int tag = tagOf(entry);
            const unsigned shift = tag == ACL_USER_OBJ ? 6 : tag == ACL_OTHER ? 0 : 3;
            if (shift != 3 || tag == (has(ACL_MASK) ? ACL_MASK : ACL_GROUP_OBJ))
                limit(entry, mode >> shift);
        }
    }

    /// A mode that without the list gives nobody more than the list does.
    unsigned LeastMode(unsigned mode) {
        unsigned group = 7;
        for (const Entry& entry : entries())
            if (tagOf(entry) != ACL_USER_OBJ && tagOf(entry) != ACL_OTHER)
                group &= permissionsOf(entry);
        return mode & (kOwnerPermissions | group << 3 | (group & permissionsOf(ACL_OTHER)));
    }

private:
    using Entry = posix_acl_xattr_entry;

    Vector<char> bytes;

    // The numbers are little-endian everywhere.
    static int tagOf(const Entry& entry) { return le16toh(entry.e_tag); }
    static unsigned permissionsOf(const Entry& entry) { return le16toh(entry.e_perm); }
    static void limit(Entry& entry, unsigned permissions) {
        entry.e_perm = htole16(static_cast<std::uint16_t>(permissionsOf(entry) & permissions & 7));
    }

    std::span<Entry> entries() {
        constexpr std::size_t kHeader = sizeof(posix_acl_xattr_header);
        return {reinterpret_cast<Entry*>(bytes.data() + kHeader), (bytes.size() - kHeader) / sizeof(Entry)};
    }
    bool has(int tag) {
        return std::ranges::any_of(entries(), [=](const Entry& entry) { return tagOf(entry) == tag; });
    }
    unsigned permissionsOf(int tag) {
        unsigned permissions = 7;
        for (const Entry& entry : entries())
            if (tagOf(entry) == tag)
                permissions &= permissionsOf(entry);
        return permissions;
    }
};

/// At no moment has anybody more rights than in the end. A list that the system refuses is left out, as
/// documented.
DWORD give(int file, unsigned mode, AccessList& list) {
    // A new file may have got a list from its folder.
    if (fremovexattr(file, kAccessControlList) != 0 && !isAbsent(errno))
        return CodeOf(errno);
    if (fchmod(file, list.IsEmpty() ? mode : list.LeastMode(mode)) != 0)
        return CodeOf(errno);
    if (!list.IsEmpty())
        list.Write(file);
    return ERROR_SUCCESS;
}

/// Attributes that describe what a file is, not what is in it. Those of the kernel's own modules stay with
/// the file for which the kernel made them.
bool isCarriedOver(const String& attribute) {
    return attribute.starts_with("user.") || attribute == "security.selinux";
}

/// Attributes that the system refuses are left out, as documented.
void copyAttributes(const char* model, int file) {
    Vector<char> names(kMostAttributeBytes);
    Vector<char> value(kMostAttributeBytes);
    const ssize_t size = listxattr(model, names.data(), names.size());
    for (ssize_t i = 0; i < size;) {
        const String name = names.data() + i;
        i += static_cast<ssize_t>(name.size()) + 1;
        const ssize_t length =
            isCarriedOver(name) ? getxattr(model, name.c_str(), value.data(), value.size()) : -1;
        if (length >= 0)
            fsetxattr(file, name.c_str(), value.data(), static_cast<std::size_t>(length), 0);
    }
}

/// A group that cannot be given must not hand the group's rights to another one.
unsigned withoutGroup(unsigned mode) { return mode & (~kGroupPermissions | (mode & kOtherPermissions) << 3); }

} // namespace

DWORD CopySecurity(const String& model, const FileInformation& information, int file) {
    AccessList list;
    if (const DWORD code = list.Read(model, kAccessControlList); code != ERROR_SUCCESS)
        return code;
    const bool hasGroup = fchown(file, information.owner, information.group) == 0 ||
                          fchown(file, static_cast<uid_t>(-1), information.group) == 0;
    if (!hasGroup && !list.IsEmpty())
        list.LimitGroup();
    const unsigned mode = information.mode & kPermissions;
    const bool isLimited = !hasGroup && list.IsEmpty();
    if (const DWORD code = give(file, isLimited ? withoutGroup(mode) : mode, list); code != ERROR_SUCCESS)
        return code;
    copyAttributes(model.c_str(), file);
    return ERROR_SUCCESS;
}

DWORD GiveUsualSecurity(const String& folder, int file) {
    AccessList list;
    if (const DWORD code = list.Read(folder, kListOfNewFiles); code != ERROR_SUCCESS)
        return code;
    if (list.IsEmpty())
        return give(file, kNewFileMode & ~FileModeMask(), list);
    list.Inherit(kNewFileMode);
    return give(file, kNewFileMode, list);
}

} // namespace Tarn::Platform::Posix
