// Calendar time.
#include "platform/platform.h"

namespace Tarn::Platform {

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
    return ::FileTimeToSystemTime(fileTime, systemTime);
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime) {
    return ::SystemTimeToFileTime(systemTime, fileTime);
}

void GetSystemTimeAsFileTime(FILETIME* time) { ::GetSystemTimeAsFileTime(time); }

void GetLocalTime(SYSTEMTIME* localTime) { ::GetLocalTime(localTime); }

BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localTime) {
    return ::FileTimeToLocalFileTime(fileTime, localTime);
}

BOOL LocalFileTimeToFileTime(const FILETIME* localTime, FILETIME* fileTime) {
    return ::LocalFileTimeToFileTime(localTime, fileTime);
}

DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* information) {
    return ::GetTimeZoneInformation(information);
}

} // namespace Tarn::Platform
