// The user's special folders, as the XDG base directories and the user's own list of directories
// (user-dirs.dirs) define them.
#include "platform/platform.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/support/user_folders.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

/// The location of a folder. The units of the path and its terminator follow in the same block.
struct ITEMIDLIST {
    std::size_t length;
};

namespace Tarn::Platform {

using namespace Posix;

namespace {

constexpr unsigned kPrivateDirectory = 0700;
/// The folder `last` below `base`, unless the user's list of directories puts it elsewhere under `variable`.
struct Folder {
    int number;
    String (*base)();
    const char* last;
    const char* variable;
};

constexpr Folder kFolders[] = {
    {0, HomeFolder, "Desktop", "XDG_DESKTOP_DIR"},     // Desktop
    {2, DataFolder, "applications", nullptr},          // Programs
    {5, HomeFolder, "Documents", "XDG_DOCUMENTS_DIR"}, // Personal documents
    {6, DataFolder, "favorites", nullptr},             // Favourites
    {7, ConfigFolder, "autostart", nullptr},           // Start-up
    {8, DataFolder, "recent", nullptr},                // Recent documents
    {11, ConfigFolder, "menus", nullptr},              // Start menu
    {20, DataFolder, "fonts", nullptr},                // Fonts
};

HRESULT resultOf(DWORD code) {
    constexpr std::uint32_t kWin32Failure = 0x80070000;
    return code == ERROR_SUCCESS ? S_OK : static_cast<HRESULT>(kWin32Failure | (code & 0xFFFF));
}

/// The path that a line `NAME="$HOME/..."` or `NAME="/..."` assigns to `variable`, or an empty string.
String pathInLine(const char* line, const char* variable) {
    constexpr const char kHome[] = "$HOME/";
    line += std::strspn(line, " \t");
    const std::size_t nameLength = std::strlen(variable);
    if (std::strncmp(line, variable, nameLength) != 0)
        return {};
    line += nameLength;
    line += std::strspn(line, " \t");
    if (*line++ != '=')
        return {};
    line += std::strspn(line, " \t");
    if (*line++ != '"')
        return {};
    String path;
    if (std::strncmp(line, kHome, sizeof kHome - 1) == 0) {
        path = HomeFolder();
        if (path.empty())
            return path;
        path += '/';
        line += sizeof kHome - 1;
    } else if (*line != '/') {
        return {};
    }
    for (; *line != '\0' && *line != '"' && *line != '\n'; line++) {
        if (*line == '\\' && line[1] != '\0')
            line++;
        path.push_back(*line);
    }
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

/// The value of `variable` in the environment, or else in the last such line of the user's directory list.
String listedFolder(const char* variable) {
    String result = AbsolutePathIn(variable);
    if (!result.empty())
        return result;
    const String folder = ConfigFolder();
    FILE* lines = folder.empty() ? nullptr : std::fopen(Join(folder, "user-dirs.dirs").c_str(), "re");
    if (lines == nullptr)
        return result;
    char* line = nullptr;
    std::size_t size = 0;
    while (getline(&line, &size, lines) >= 0)
        if (String path = pathInLine(line, variable); !path.empty())
            result.swap(path);
    std::free(line);
    std::fclose(lines);
    return result;
}

/// Empty if the user has no home.
String pathOf(const Folder& folder) {
    if (folder.variable != nullptr)
        if (String listed = listedFolder(folder.variable); !listed.empty())
            return listed;
    const String base = folder.base();
    return base.empty() ? base : Join(base, folder.last);
}

/// Creates the directory and any missing ones above it.
int makeDirectories(const String& path) {
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const String part = path.substr(0, end);
        if (mkdir(part.c_str(), kPrivateDirectory) != 0 && errno != EEXIST) {
            const int error = errno;
            struct stat status;
            if (stat(part.c_str(), &status) != 0)
                return error;
        }
        if (end == String::npos)
            return 0;
    }
}

HRESULT locate(const Folder& folder, ITEMIDLIST** location) {
    const String path = pathOf(folder);
    if (path.empty())
        return resultOf(ERROR_PATH_NOT_FOUND);
    if (const int error = makeDirectories(path); error != 0)
        return resultOf(error == ENOENT ? DWORD{ERROR_PATH_NOT_FOUND} : CodeOf(error));
    const U16String text = ToWide(path);
    const std::size_t textSize = (text.size() + 1) * sizeof(char16_t);
    auto* made = static_cast<ITEMIDLIST*>(std::malloc(sizeof(ITEMIDLIST) + textSize));
    if (made == nullptr)
        return E_OUTOFMEMORY;
    made->length = text.size();
    std::memcpy(made + 1, text.c_str(), textSize);
    *location = made;
    return S_OK;
}

struct ShellAllocator final : IMalloc {
    void Free(void* block) override { std::free(block); }
    ULONG Release() override { return 1; }
};

constinit ShellAllocator shellAllocator;

} // namespace

HRESULT SHGetMalloc(IMalloc** allocator) {
    if (allocator == nullptr)
        return E_INVALIDARG;
    *allocator = &shellAllocator;
    return S_OK;
}

HRESULT SHGetSpecialFolderLocation(HWND, int folder, ITEMIDLIST** location) {
    if (location == nullptr)
        return E_INVALIDARG;
    *location = nullptr;
    HRESULT result = E_INVALIDARG;
    const DWORD code = Guarded([&]() -> DWORD {
        for (const Folder& known : kFolders)
            if (known.number == folder)
                result = locate(known, location);
        return ERROR_SUCCESS;
    });
    return code == ERROR_SUCCESS ? result : E_OUTOFMEMORY;
}

BOOL SHGetPathFromIDListW(const ITEMIDLIST* location, char16_t* path) {
    if (path == nullptr)
        return FALSE;
    path[0] = 0;
    if (location == nullptr || location->length >= static_cast<std::size_t>(MAX_PATH))
        return FALSE;
    std::memcpy(path, location + 1, (location->length + 1) * sizeof(char16_t));
    return TRUE;
}

} // namespace Tarn::Platform
