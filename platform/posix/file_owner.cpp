// Whose a file is.
#include "platform/platform.h"
#include "platform/posix/files/information.h"
#include "platform/posix/files/open_file.h"
#include "platform/posix/support/error_codes.h"

namespace Tarn::Platform {

using namespace Posix;

BOOL HaveSameOwner(HANDLE a, HANDLE b) {
    FileInformation files[2];
    const HANDLE handles[] = {a, b};
    for (int i = 0; i < 2; i++) {
        const Held<OpenFile> file(handles[i]);
        const DWORD code = file ? CodeOf(Query(file->descriptor, files[i])) : DWORD{ERROR_INVALID_HANDLE};
        if (!Report(code))
            return false;
    }
    return files[0].owner == files[1].owner;
}

} // namespace Tarn::Platform
