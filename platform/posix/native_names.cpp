// The names of files as other programs spell them.
#include "platform/platform.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/support/error_codes.h"

#include <cerrno>
#include <memory>
#include <unistd.h>

namespace Tarn::Platform {

using namespace Posix;

namespace {

/// Calls `find(text)`, which returns a code, and copies the text.
template<class Text, class Find>
DWORD copyFound(DWORD size, typename Text::value_type* buffer, Find find) {
    Text text;
    const DWORD code = Guarded([&] { return find(text); });
    SetLastError(code);
    if (code != ERROR_SUCCESS)
        return 0;
    const auto length = static_cast<DWORD>(text.size());
    if (size <= length)
        return length + 1;
    text.copy(buffer, length);
    buffer[length] = 0;
    return length;
}

} // namespace

DWORD GetNativeName(const char16_t* name, DWORD size, char* bytes) {
    return copyFound<String>(size, bytes, [&](String& path) { return ToDisk(name, path); });
}

DWORD GetNameOfNative(const char* bytes, DWORD size, char16_t* name) {
    return copyFound<U16String>(size, name, [&](U16String& wide) -> DWORD {
        wide = ToWide(bytes);
        return wide.empty() ? ERROR_PATH_NOT_FOUND : ERROR_SUCCESS;
    });
}

DWORD GetCurrentDirectoryW(DWORD size, char16_t* path) {
    return copyFound<U16String>(size, path, [&](U16String& wide) -> DWORD {
        const std::unique_ptr<char, decltype(&free)> folder(getcwd(nullptr, 0), free);
        if (folder == nullptr)
            return CodeOf(errno);
        if (*folder != '/') // cannot be reached from the root
            return ERROR_PATH_NOT_FOUND;
        wide = ToWide(folder.get());
        return ERROR_SUCCESS;
    });
}

} // namespace Tarn::Platform
