// Who may do what with a file, and where symbolic links lead.
#include "platform/platform.h"
#include "platform/windows/text16.h"

#include <aclapi.h>

#include <string_view>

namespace Tarn::Platform {

namespace {

constexpr DWORD kCarriedOver =
    FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
constexpr DWORD kDevicePrefix = 4; // "\\?\"

// A list that does not inherit stays so; to any other the system adds what the folder gives. A list that this
// user may not set is left out, as documented.
void copyAccessList(const char16_t* model, const char16_t* file) {
    ACL* list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetNamedSecurityInfoW(const_cast<wchar_t*>(wide(model)), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                              nullptr, nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS)
        return;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    GetSecurityDescriptorControl(descriptor, &control, &revision);
    const DWORD inheritance = (control & SE_DACL_PROTECTED) != 0 ? PROTECTED_DACL_SECURITY_INFORMATION
                                                                 : UNPROTECTED_DACL_SECURITY_INFORMATION;
    SetNamedSecurityInfoW(const_cast<wchar_t*>(wide(file)), SE_FILE_OBJECT,
                          DACL_SECURITY_INFORMATION | inheritance, nullptr, nullptr, list, nullptr);
    LocalFree(descriptor);
}

// A name that does not exist, or that cannot, is no link.
bool isAboutMissingName(DWORD code) {
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND || code == ERROR_INVALID_NAME ||
           code == ERROR_BAD_NETPATH || code == ERROR_BAD_NET_NAME;
}

} // namespace

BOOL CopyFileSecurityW(const char16_t* model, const char16_t* file) {
    const DWORD attributes = ::GetFileAttributesW(wide(model));
    if (attributes != INVALID_FILE_ATTRIBUTES)
        copyAccessList(model, file);
    const DWORD kept = attributes != INVALID_FILE_ATTRIBUTES ? attributes & kCarriedOver : 0;
    return ::SetFileAttributesW(wide(file), kept | FILE_ATTRIBUTE_ARCHIVE);
}

DWORD GetLinkTargetW(const char16_t* link, DWORD size, char16_t* path) {
    const DWORD attributes = ::GetFileAttributesW(wide(link));
    const bool isThere = attributes != INVALID_FILE_ATTRIBUTES;
    if (!isThere || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        if (isThere || isAboutMissingName(::GetLastError()))
            ::SetLastError(ERROR_SUCCESS);
        return 0;
    }
    const HANDLE file = ::CreateFileW(wide(link), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        if (isAboutMissingName(::GetLastError()))
            ::SetLastError(ERROR_CANT_RESOLVE_FILENAME); // the link is there, what it leads to is not
        return 0;
    }
    DWORD length = GetFinalPathNameByHandleW(file, wide(path), size, FILE_NAME_NORMALIZED);
    const DWORD code = ::GetLastError();
    ::CloseHandle(file);
    ::SetLastError(length == 0 ? code : ERROR_SUCCESS);
    if (length < kDevicePrefix || length >= size)
        return length < kDevicePrefix ? 0 : length;
    // The prefix is for names that no other call takes: "\\?\C:\x" is C:\x, "\\?\UNC\server" is \\server.
    std::u16string_view target(path, length);
    const bool isRemote = target.starts_with(u"\\\\?\\UNC\\");
    if (target.starts_with(u"\\\\?\\"))
        target.remove_prefix(isRemote ? kDevicePrefix + 2 : kDevicePrefix);
    length = static_cast<DWORD>(target.size());
    std::char_traits<char16_t>::move(path, target.data(), target.size());
    path[length] = 0;
    if (isRemote)
        path[0] = u'\\';
    return length;
}

} // namespace Tarn::Platform
