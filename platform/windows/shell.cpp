// The user's special folders.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

HRESULT SHGetMalloc(IMalloc** allocator) { return ::SHGetMalloc(allocator); }

HRESULT SHGetSpecialFolderLocation(HWND owner, int folder, ITEMIDLIST** location) {
    return ::SHGetSpecialFolderLocation(owner, folder, location);
}

BOOL SHGetPathFromIDListW(const ITEMIDLIST* location, char16_t* path) {
    return ::SHGetPathFromIDListW(location, wide(path));
}

} // namespace Tarn::Platform
