// The one door to the operating system.
//
// Every system call that the library makes is declared here, under the name of the Win32 call that it stands
// for: arguments, results and last-error codes are as documented for that call, and text is 16-bit. On
// Windows each function makes that one call; the POSIX port implements it. No code above this door asks which
// system it runs on.
//
// A function has a comment here only where it differs from the call it is named after. No function throws or
// allocates through the current memory manager.
#pragma once

#include <tarnkit/types.h>

#include <cstddef>

namespace Tarn {
struct CResourceStrings;
}

namespace Tarn::Platform {

// Last error, debugger output, process.
DWORD GetLastError();
void SetLastError(DWORD code);
/// The POSIX port writes the text, as UTF-8, to what TARNKIT_TRACE names: "stderr" or a file to append to. It
/// discards the text if the variable is not set or standard error was closed when the process started. What a
/// terminal would obey (terminal_control.h) is written visibly.
void OutputDebugStringW(const char16_t* text);
/// Tells the user, on standard error, why the process is about to end; where a program of windows has none,
/// in a message box. What a terminal would obey is written visibly.
void WriteLastWords(const char16_t* title, const char16_t* text);
/// A software breakpoint. Ends the process if no debugger handles it.
void DebugBreak();
/// Ends this process without running destructors.
[[noreturn]] void TerminateThisProcess(UINT exitCode);
DWORD GetCurrentProcessId();
/// Fills a buffer with bytes that nobody can guess.
BOOL RtlGenRandom(void* buffer, DWORD size);

// Memory.
HANDLE GetProcessHeap();
/// Creates a growable heap without options.
HANDLE HeapCreate(std::size_t initialSize);
/// Frees all blocks too. Fails (6) for the process heap and for anything that is not a heap.
BOOL HeapDestroy(HANDLE heap);
void* HeapAlloc(HANDLE heap, std::size_t size);
BOOL HeapFree(HANDLE heap, void* block);
/// Makes a block of the process heap larger, moving it if necessary. Null, and nothing has changed, when
/// there is no memory.
void* HeapReAlloc(HANDLE processHeap, void* block, std::size_t size);
void* VirtualAlloc(void* address, std::size_t size, DWORD type, DWORD protection);
BOOL VirtualFree(void* address, std::size_t size, DWORD type);
/// The size, in whole pages, of the memory that `VirtualAlloc` has committed from `start` on, if that is
/// where a region starts; 0 otherwise. Stands for VirtualQuery.
std::size_t GetRegionSize(void* start);
/// Makes a region of committed memory larger, moving its pages to other addresses if necessary. Returns where
/// it starts now; null, and nothing has changed, where the system cannot do that, as on Windows.
void* GrowRegion(void* start, std::size_t size);
std::size_t VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information, std::size_t size);
DWORD GetPageSize();

// Thread-local storage.
DWORD TlsAlloc();
BOOL TlsFree(DWORD index);
void* TlsGetValue(DWORD index);
BOOL TlsSetValue(DWORD index, void* value);

// Files.
/// On POSIX only its owner can read a new file that has FILE_ATTRIBUTE_TEMPORARY.
HANDLE CreateFileW(const char16_t* name, DWORD access, DWORD share, DWORD disposition, DWORD attributes);
/// Creates an empty file as `CreateFileW` does with CREATE_NEW and FILE_ATTRIBUTE_TEMPORARY, and closes it.
/// Whether its name exists in another spelling is not asked: it must be one that nobody else can have chosen.
BOOL CreateTemporaryFileW(const char16_t* name);
/// What Windows CE requires for a file that is going to be mapped; elsewhere the same as `CreateFileW`.
HANDLE CreateFileForMappingW(const char16_t* name, DWORD access, DWORD share, DWORD disposition,
                             DWORD attributes);
BOOL CloseHandle(HANDLE file);
BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written);
DWORD SetFilePointer(HANDLE file, LONG low, LONG* high, DWORD from);
BOOL SetEndOfFile(HANDLE file);
DWORD GetFileSize(HANDLE file, DWORD* high);
BOOL FlushFileBuffers(HANDLE file);
DWORD GetFileType(HANDLE file);
BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write);
BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access, const FILETIME* write);
DWORD GetFileAttributesW(const char16_t* name);
BOOL SetFileAttributesW(const char16_t* name, DWORD attributes);
HANDLE FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* data);
BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data);
BOOL FindClose(HANDLE search);
BOOL DeleteFileW(const char16_t* name);
BOOL CopyFileW(const char16_t* from, const char16_t* to, BOOL failIfExists);
BOOL MoveFileW(const char16_t* from, const char16_t* to);
/// A file that is replaced is replaced in one step: at every moment, also after a crash of the system, `to`
/// names the whole old or the whole new file. On POSIX, MOVEFILE_WRITE_THROUGH stores the folders; the
/// contents of the file must have been stored before (`FlushFileBuffers`). Knows the three flags of types.h.
BOOL MoveFileExW(const char16_t* from, const char16_t* to, DWORD flags);
/// Prepares `file`, which only its owner can read, to replace `model`: it gets the attributes, the owner, the
/// group, the mode and the access-control list of `model` and on POSIX its extended attributes, as far as the
/// system allows this user to give them. If there is no `model`, it gets what any new file in its folder
/// gets; on Windows it keeps the list of the folder that it was made in. Stands for several calls of Windows.
BOOL CopyFileSecurityW(const char16_t* model, const char16_t* file);
/// Writes the path of the file that a symbolic link leads to in the end. On POSIX that file may be missing.
/// Returns its length, or the size needed if `size` is too small. Returns 0 with the last error ERROR_SUCCESS
/// if `link` is no link, and with an error code if it is not known where the link leads, or if it must not be
/// followed: on POSIX, a link that somebody else has put into a folder where everybody may. Stands for
/// several calls of Windows.
DWORD GetLinkTargetW(const char16_t* link, DWORD size, char16_t* path);
/// Writes the name of a file in the bytes by which other programs know it: on POSIX those on the disk, on
/// Windows UTF-8. Returns their number, or the size needed if `size` is too small; 0, with the last error,
/// for a name that no file can have.
DWORD GetNativeName(const char16_t* name, DWORD size, char* bytes);
/// The reverse, with the same results.
DWORD GetNameOfNative(const char* bytes, DWORD size, char16_t* name);
/// Writes the path of the folder that the process is in; the results are those of the system's call.
DWORD GetCurrentDirectoryW(DWORD size, char16_t* path);
/// Whether two open files belong to the same user. Stands for several calls of Windows.
BOOL HaveSameOwner(HANDLE a, HANDLE b);
/// How the name of a copy begins that `CopyFileW` and `MoveFileExW` have not completed, on POSIX. Who is at
/// work on it denies its deletion to others.
inline constexpr char16_t kUnfinishedCopyPrefix[] = u".tarnkit-copy-";
BOOL CreateDirectoryW(const char16_t* name);
BOOL RemoveDirectoryW(const char16_t* name);
/// Removes a directory with everything in it, read-only files too; links are removed and never followed, even
/// if somebody exchanges a directory for a link meanwhile. Stops at the first failure and writes to `failed`,
/// which has room for `size` units, the path of what could not be removed, seen from the directory and cut if
/// it is too long; an empty one for the directory itself.
BOOL RemoveTreeW(const char16_t* name, char16_t* failed, DWORD size);
DWORD GetTempPathW(DWORD size, char16_t* buffer);
BOOL GetDiskFreeSpaceExW(const char16_t* directory, UInt64* available, UInt64* total, UInt64* free);
UINT GetSystemDirectoryW(char16_t* buffer, UINT size);
UINT GetWindowsDirectoryW(char16_t* buffer, UINT size);

// The shell's special folders.
HRESULT SHGetMalloc(IMalloc** allocator);
HRESULT SHGetSpecialFolderLocation(HWND owner, int folder, ITEMIDLIST** location);
BOOL SHGetPathFromIDListW(const ITEMIDLIST* location, char16_t* path);

// Registry. The results are the codes themselves; the last error is left alone.
LSTATUS RegOpenKeyExW(HKEY parent, const char16_t* name, DWORD options, REGSAM access, HKEY* key);
LSTATUS RegCreateKeyExW(HKEY parent, const char16_t* name, REGSAM access, HKEY* key, DWORD* disposition);
LSTATUS RegCloseKey(HKEY key);
LSTATUS RegQueryInfoKeyW(HKEY key, DWORD* subKeys, DWORD* longestSubKey, DWORD* longestClass, DWORD* values,
                         DWORD* longestValueName, DWORD* longestData);
LSTATUS RegQueryValueExW(HKEY key, const char16_t* name, DWORD* type, void* data, DWORD* size);
/// Reads a value of the key `path` below `parent`: what `RegOpenKeyExW` for reading and then
/// `RegQueryValueExW` give.
LSTATUS QueryRegistryValue(HKEY parent, const char16_t* path, const char16_t* name, DWORD* type, void* data,
                           DWORD* size);
LSTATUS RegSetValueExW(HKEY key, const char16_t* name, DWORD type, const void* data, DWORD size);
LSTATUS RegDeleteValueW(HKEY key, const char16_t* name);
LSTATUS RegDeleteKeyW(HKEY key, const char16_t* name);
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize);
LSTATUS RegEnumValueW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* type, void* data,
                      DWORD* size);
/// Returns when everything that was written to the registry before is on the disk.
LSTATUS RegFlushKey(HKEY key);
/// What a whole store of the registry holds: that of HKEY_CURRENT_USER or of HKEY_LOCAL_MACHINE.
struct RegistryStoreState {
    UInt64 keys, values;                ///< that can be read
    UInt64 unreadablePages;             ///< parts of the file
    UInt64 lostKeys;                    ///< keys whose parents cannot be read
    char16_t file[1024], oldFile[1024]; ///< empty if there is none, or the name is longer
};
/// Reads a store from one end to the other. ERROR_SUCCESS if it is sound, ERROR_FILE_NOT_FOUND if there is
/// none yet, ERROR_BADDB if something is damaged. Not implemented on Windows, where the system sees to that;
/// the same holds for the next call.
LSTATUS CheckRegistryStore(HKEY root, RegistryStoreState* state);
/// Replaces a damaged store by a new one with everything that can be read. What has lost its place is below
/// the key `Lost keys`. The old one keeps its contents under another name.
LSTATUS RepairRegistryStore(HKEY root, RegistryStoreState* state);
/// Releases what the POSIX port holds for the registry and folds its logs into its databases; does nothing on
/// Windows. Open keys stay open, and later calls work.
void ReleaseRegistry();

// Modules and resources.
/// Whether two files may have names that differ only in case.
bool AreFileNamesCaseSensitive();
HINSTANCE LoadLibraryW(const char16_t* name);
HINSTANCE LoadLibraryExW(const char16_t* name, DWORD flags);
BOOL FreeLibrary(HINSTANCE module);
/// Finds only what the module itself exports; exports of its dependencies are not found (127).
FARPROC GetProcAddressW(HINSTANCE module, const char16_t* name);
/// Null means the process's main module.
HINSTANCE GetModuleHandleW(const char16_t* name);
/// The module that contains `address`, without adding a reference; null if none does.
HINSTANCE GetModuleHandleFromAddress(const void* address);
DWORD GetModuleFileNameW(HINSTANCE module, char16_t* name, DWORD size);
/// Writes the full path of the file that `LoadLibraryW` would load for `name`: beside the executable, or else
/// where the system searches. Returns its length, 0 if there is no such file, or the size needed if `size` is
/// too small.
DWORD SearchLibraryPathW(const char16_t* name, DWORD size, char16_t* path);
HRSRC FindResourceW(HINSTANCE module, const char16_t* name, const char16_t* type);
/// Copies at most `size` units with the terminator. Returns the number copied, 0 if the module has no such
/// string.
int LoadStringW(HINSTANCE module, UINT id, char16_t* buffer, int size);
/// The strings of a module, if they are data that may be read without a call as long as the module is loaded;
/// null if it has none, or always where they are resources of the system.
const CResourceStrings* FindResourceStrings(HINSTANCE module);

// Text.
UINT GetACP();
UINT GetOEMCP();
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int size, char16_t* result,
                        int resultSize);
int WideCharToMultiByte(UINT codePage, DWORD flags, const char16_t* text, int size, char* result,
                        int resultSize, const char* defaultChar, BOOL* usedDefault);
/// Maps each of the `size` units to one unit, within the BMP only and independently of the locale.
void CharUpperBuffW(char16_t* text, DWORD size);
void CharLowerBuffW(char16_t* text, DWORD size);

// Calendar time.
/// Fails (87) for a file time that is negative as a signed number.
BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);
/// Ignores the day of the week. Fails (87) unless the date exists, the year is from 1601 to 30827 and the
/// time is before 24:00; there are no leap seconds.
BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime);

void GetSystemTimeAsFileTime(FILETIME* time);

// Local time. Every time, past or future, is converted with the bias that is in force now.
void GetLocalTime(SYSTEMTIME* localTime);
/// Both fail (87) for a time that is negative as a signed number. A negative result is returned unchanged.
BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localTime);
BOOL LocalFileTimeToFileTime(const FILETIME* localTime, FILETIME* fileTime);
/// On POSIX the transition dates are this year's and the names are abbreviations.
DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* information);

// The user's locale. The POSIX port has no other, and knows only its texts for dates and times.
int GetLocaleInfoW(LCID locale, LCTYPE type, char16_t* buffer, int size);
int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* date, const char16_t* picture,
                   char16_t* buffer, int size);
class CUserLocale;
/// The locale that `LOCALE_USER_DEFAULT` means now, if its texts are in memory, where they and the object
/// stay; otherwise null.
const CUserLocale* FindUserLocale();
/// The text of such a locale that `GetLocaleInfoW` copies; null if there is none.
const char16_t* FindLocaleText(const CUserLocale* locale, LCTYPE type);

// System texts, versions, language.
/// Writes the system's text for a code, with its line end, in fewer than `size` units; 0 if there is none.
DWORD FormatSystemMessageW(DWORD code, bool ignoreInserts, char16_t* buffer, DWORD size);
BOOL GetVersionExW(OSVERSIONINFOW* information);
BOOL SystemParametersInfoW(UINT action, UINT size, void* data);
LANGID GetSystemDefaultLangID();

// Strings of the COM error object.
BSTR SysAllocString(const char16_t* text);
void SysFreeString(BSTR text);

// Windows and message boxes.
int MessageBoxW(HWND owner, const char16_t* text, const char16_t* caption, UINT flags);
HWND GetDesktopWindow();
HWND GetWindow(HWND window, UINT command);
HWND GetParent(HWND window);
LONG GetWindowStyle(HWND window);
BOOL IsWindowVisible(HWND window);
BOOL IsWindowEnabled(HWND window);
BOOL EnableWindow(HWND window, BOOL enable);

// System colours: red in bits 0 to 7, green in 8 to 15, blue in 16 to 23. On POSIX they have fixed defaults,
// and changes last until the process ends.
DWORD GetSysColor(int index);
/// Ignores indices that do not exist.
BOOL SetSysColors(int count, const INT* indices, const DWORD* values);

} // namespace Tarn::Platform
