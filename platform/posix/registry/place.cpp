#include "platform/posix/registry/place.h"

#include "platform/posix/support/error_codes.h"
#include "platform/posix/support/user_folders.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {

namespace {

constexpr mode_t kAnyWriteBit = 0222;

// Null if the variable is not set or empty, or if this program has other rights than the user who started it:
// that user may not choose what it reads.
const char* chosenFolder() {
    const char* chosen = secure_getenv("TARNKIT_REGISTRY");
    return chosen == nullptr || *chosen == 0 ? nullptr : chosen;
}

// The folder that a relative TARNKIT_REGISTRY starts from: the current one when the library was loaded. It is
// only asked for if there is such a variable. Empty as long as it is unknown.
char folderAtLoad[PATH_MAX];

const char* startOfRelativePaths() {
    if (*folderAtLoad == 0 && getcwd(folderAtLoad, sizeof(folderAtLoad)) == nullptr)
        *folderAtLoad = 0;
    return folderAtLoad;
}

[[gnu::constructor]] void rememberCurrentFolder() {
    if (const char* chosen = chosenFolder(); chosen != nullptr && *chosen != '/')
        startOfRelativePaths();
}

// Empty if there is none.
String folderOf(RegistryKind kind) {
    if (const char* chosen = chosenFolder(); chosen != nullptr) {
        const String start = *chosen == '/' ? "" : startOfRelativePaths();
        return *chosen == '/' ? chosen : start.empty() ? start : start + "/" + chosen;
    }
    if (kind == RegistryKind::Machine)
        return "/etc/tarnkit";
    const String settings = ConfigFolder();
    return settings.empty() ? settings : settings + "/tarnkit";
}

// The part of a path above its last name; empty if that is the root.
String parentOf(const String& path) {
    const std::size_t end = path.find_last_not_of('/');
    const std::size_t separator = end == String::npos ? end : path.rfind('/', end);
    return separator == String::npos ? String() : path.substr(0, separator);
}

// Creates a folder and those above it. A folder without any write bit is left alone, even if root asks.
LSTATUS makeFolder(const String& folder, mode_t mode) {
    struct stat status;
    if (stat(folder.c_str(), &status) == 0)
        return S_ISDIR(status.st_mode) && (status.st_mode & kAnyWriteBit) != 0 ? 0 : ERROR_ACCESS_DENIED;
    if (errno != ENOENT)
        return RegistryCodeOf(errno);
    const String parent = parentOf(folder);
    if (!parent.empty())
        if (const LSTATUS failure = makeFolder(parent, mode); failure != 0)
            return failure;
    if (mkdir(folder.c_str(), mode) != 0)
        return errno == EEXIST ? 0 : RegistryCodeOf(errno);
    SyncRegistryFile(parent.empty() ? "/" : parent.c_str()); // a parent that may not be read cannot be synced
    return 0;
}

} // namespace

String RegistryFile(RegistryKind kind) {
    const String folder = folderOf(kind);
    return folder.empty() ? folder : folder + (kind == RegistryKind::User ? "/user.db" : "/machine.db");
}

LSTATUS MakeRegistryFile(RegistryKind kind, const String& file) {
    const bool isForAll = kind == RegistryKind::Machine;
    const LSTATUS failure = makeFolder(parentOf(file), isForAll && chosenFolder() == nullptr ? 0755 : 0700);
    if (failure != 0)
        return failure;
    struct stat status;
    if (stat(file.c_str(), &status) == 0 && (status.st_mode & kAnyWriteBit) == 0)
        return ERROR_ACCESS_DENIED;
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, isForAll ? 0644 : 0600);
    if (descriptor < 0)
        return RegistryCodeOf(errno);
    close(descriptor);
    return 0;
}

LSTATUS SyncRegistryFile(const char* name) {
    const int descriptor = open(name, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return errno == ENOENT ? 0 : RegistryCodeOf(errno);
    int error = 0;
    do
        error = fsync(descriptor) == 0 ? 0 : errno;
    while (error == EINTR);
    close(descriptor);
    return error == 0 || error == EINVAL ? 0 : RegistryCodeOf(error); // some systems sync no folders
}

LSTATUS RegistryCodeOf(int error) {
    switch (const DWORD code = CodeOf(error)) {
    case ERROR_DISK_FULL:
    case ERROR_TOO_MANY_OPEN_FILES:
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_IO_DEVICE:
        return static_cast<LSTATUS>(code);
    default:
        return ERROR_ACCESS_DENIED;
    }
}

} // namespace Tarn::Platform::Posix
