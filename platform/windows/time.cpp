// Calendar time.
#include "platform/platform.h"

namespace Tarn::Platform {

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
    return ::FileTimeToSystemTime(fileTime, systemTime);
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime) {
    return ::SystemTimeToFileTime(systemTime, fileTime);
}

} // namespace Tarn::Platform
