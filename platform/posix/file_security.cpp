// Who may do what with a file, and where symbolic links lead.
#include "platform/platform.h"
#include "platform/posix/files/links.h"
#include "platform/posix/files/security.h"
#include "platform/posix/support/descriptor.h"
#include "platform/posix/support/error_codes.h"

#include <cerrno>
#include <fcntl.h>

namespace Tarn::Platform {

using namespace Posix;

namespace {

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
        return GiveUsualSecurity(ParentOf(file.path), opened);
    return found == ERROR_SUCCESS ? CopySecurity(model.path, model.target, opened) : found;
}

// Where a link leads; empty for a name that is none, or that cannot be anything.
DWORD linkTarget(const char16_t* link, U16String& target) {
    Name name;
    const DWORD code = Find(link, name);
    const bool isNothing = code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ||
                           code == ERROR_INVALID_NAME || code == ERROR_BAD_NETPATH;
    if (code != ERROR_SUCCESS)
        return isNothing ? DWORD{ERROR_SUCCESS} : code;
    String path;
    const DWORD failure = FollowLinks(name, path);
    if (failure == ERROR_SUCCESS && path != name.path)
        target = ToWide(path);
    // Not the code of a name that is missing itself, and so no link.
    const bool leadsNowhere = failure == ERROR_PATH_NOT_FOUND || failure == ERROR_FILE_NOT_FOUND;
    return leadsNowhere ? kCannotResolveName : failure;
}

} // namespace

BOOL CopyFileSecurityW(const char16_t* model, const char16_t* file) {
    return Report(Guarded([&] { return copySecurity(model, file); }));
}

DWORD GetLinkTargetW(const char16_t* link, DWORD size, char16_t* path) {
    U16String target;
    SetLastError(Guarded([&] { return linkTarget(link, target); }));
    if (target.empty())
        return 0;
    const auto length = static_cast<DWORD>(target.size());
    if (size <= length)
        return length + 1;
    target.copy(path, length);
    path[length] = 0;
    return length;
}

} // namespace Tarn::Platform
