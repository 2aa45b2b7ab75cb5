#include "platform/posix/support/user_folders.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {

namespace {

String baseFolder(const char* variable, const char* standard) {
    String folder = AbsolutePathIn(variable);
    if (!folder.empty())
        return folder;
    folder = HomeFolder();
    return folder.empty() ? folder : folder + standard;
}

} // namespace

String AbsolutePathIn(const char* variable) {
    const char* value = secure_getenv(variable);
    return value != nullptr && *value == '/' ? value : "";
}

String HomeFolder() {
    String home = AbsolutePathIn("HOME");
    if (!home.empty())
        return home;
    char texts[4096];
    passwd entry;
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, texts, sizeof texts, &found) == 0 && found != nullptr &&
        *found->pw_dir == '/')
        home = found->pw_dir;
    return home;
}

String ConfigFolder() { return baseFolder("XDG_CONFIG_HOME", "/.config"); }

String DataFolder() { return baseFolder("XDG_DATA_HOME", "/.local/share"); }

} // namespace Tarn::Platform::Posix
