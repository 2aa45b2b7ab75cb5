// The one door to the operating system.
//
// Every system call that the library makes is declared here once, under the name of the Win32 call whose
// meaning it has: arguments, results and last-error codes are as documented for that call, and text is
// 16-bit. On Windows each function is its one real call; the POSIX port implements it. Above this
// door no code asks which system it runs on.
//
// A comment stands here only where a function is narrower than the call it is named after. No function
// throws. No function allocates through the current memory manager.
#pragma once

#include <tarnkit/types.h>

#include <cstddef>

namespace Tarn::Platform {

// Last error, debugger output, process.
DWORD GetLastError();
void SetLastError(DWORD code);
/// Text for a developer's eyes. The POSIX port writes it, as UTF-8, to what TARNKIT_TRACE names: "stderr" or
/// a file to append to. Without the variable, or when standard error was closed at the start, it goes
/// nowhere.
void OutputDebugStringW(const char16_t* text);
/// A software breakpoint. Ends the process when no debugger takes it.
void DebugBreak();
/// Ends this process at once, running no destructors.
[[noreturn]] void TerminateThisProcess(UINT exitCode);
DWORD GetCurrentProcessId();

// Memory.
HANDLE GetProcessHeap();
/// A heap without options, which grows as needed.
HANDLE HeapCreate(std::size_t initialSize);
/// Frees all blocks at once. Fails (6) for the process heap and for what is no heap.
BOOL HeapDestroy(HANDLE heap);
void* HeapAlloc(HANDLE heap, std::size_t size);
BOOL HeapFree(HANDLE heap, void* block);
void* VirtualAlloc(void* address, std::size_t size, DWORD type, DWORD protection);
BOOL VirtualFree(void* address, std::size_t size, DWORD type);
std::size_t VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information, std::size_t size);
DWORD GetPageSize();

// Thread-local storage.
DWORD TlsAlloc();
BOOL TlsFree(DWORD index);
void* TlsGetValue(DWORD index);
BOOL TlsSetValue(DWORD index, void* value);

// Files.
HANDLE CreateFileW(const char16_t* name, DWORD access, DWORD share, DWORD disposition, DWORD attributes);
/// The handheld's call for a file that is going to be mapped; elsewhere the same as `CreateFileW`.
HANDLE CreateFileForMappingW(const char16_t* name, DWORD access, DWORD share, DWORD disposition,
                             DWORD attributes);
BOOL CloseHandle(HANDLE file);
BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written);
DWORD SetFilePointer(HANDLE file, LONG low, LONG* high, DWORD from);
BOOL SetEndOfFile(HANDLE file);
DWORD GetFileSize(HANDLE file, DWORD* high);
BOOL FlushFileBuffers(HANDLE file);
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
BOOL CreateDirectoryW(const char16_t* name);
BOOL RemoveDirectoryW(const char16_t* name);
DWORD GetTempPathW(DWORD size, char16_t* buffer);
UINT GetTempFileNameW(const char16_t* directory, const char16_t* prefix, UINT unique, char16_t* name);
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
LSTATUS RegSetValueExW(HKEY key, const char16_t* name, DWORD type, const void* data, DWORD size);
LSTATUS RegDeleteValueW(HKEY key, const char16_t* name);
LSTATUS RegDeleteKeyW(HKEY key, const char16_t* name);
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize);
LSTATUS RegEnumValueW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* type, void* data,
                      DWORD* size);
/// Gives back what the port holds for the registry; nothing on Windows. Open keys stay open, later calls
/// work.
void ReleaseRegistry();

// Modules and resources.
/// Whether two files may have names that differ in case alone.
bool AreFileNamesCaseSensitive();
HINSTANCE LoadLibraryW(const char16_t* name);
HINSTANCE LoadLibraryExW(const char16_t* name, DWORD flags);
BOOL FreeLibrary(HINSTANCE module);
/// The export that the module itself defines; one that only its dependencies define is not found (127).
FARPROC GetProcAddressW(HINSTANCE module, const char16_t* name);
/// Null means the process's main module.
HINSTANCE GetModuleHandleW(const char16_t* name);
/// The module that holds `address`, without a reference of its own; null when none does.
HINSTANCE GetModuleHandleFromAddress(const void* address);
DWORD GetModuleFileNameW(HINSTANCE module, char16_t* name, DWORD size);
/// The full path of the file that `LoadLibraryW` would load for `name`, looked for beside the executable and
/// then where the platform searches; 0 when there is none, the size needed when `size` is too small.
DWORD SearchLibraryPathW(const char16_t* name, DWORD size, char16_t* path);
HRSRC FindResourceW(HINSTANCE module, const char16_t* name, const char16_t* type);
/// At most `size` units with the terminator; the units copied, 0 when the module has no such string.
int LoadStringW(HINSTANCE module, UINT id, char16_t* buffer, int size);

// Text.
UINT GetACP();
UINT GetOEMCP();
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int size, char16_t* result,
                        int resultSize);
int WideCharToMultiByte(UINT codePage, DWORD flags, const char16_t* text, int size, char* result,
                        int resultSize, const char* defaultChar, BOOL* usedDefault);
/// Simple one-to-one case mapping of `size` units within the BMP, independent of the locale.
void CharUpperBuffW(char16_t* text, DWORD size);
void CharLowerBuffW(char16_t* text, DWORD size);

// Calendar time.
/// Fails (87) for a file time that is negative as a signed number.
BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);
/// The day of the week is not read. Fails (87) unless the date exists between 1601 and 30827 and the time of
/// day is below 24:00, leap seconds not counted.
BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime);

// Local time. These convert with the bias that is in force now, whatever time they convert.
void GetLocalTime(SYSTEMTIME* localTime);
/// Both fail (87) for a time that is negative as a signed number. A result that would be is given out.
BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localTime);
BOOL LocalFileTimeToFileTime(const FILETIME* localTime, FILETIME* fileTime);
/// The POSIX port gives the dates of this year's changes and, as names, abbreviations.
DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* information);

// The user's locale, the only one that the POSIX port has. Of its texts it knows those of dates and times.
int GetLocaleInfoW(LCID locale, LCTYPE type, char16_t* buffer, int size);
int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* date, const char16_t* picture,
                   char16_t* buffer, int size);

// System texts, versions, language.
/// The system's text for a code, less than `size` units, with its line end; 0 when there is none.
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

// System colours: red in bits 0 to 7, green in 8 to 15, blue in 16 to 23. The POSIX port has fixed ones, for
// the length of the process those that were set.
DWORD GetSysColor(int index);
/// Passes over indices that there are not.
BOOL SetSysColors(int count, const INT* indices, const DWORD* values);

} // namespace Tarn::Platform
