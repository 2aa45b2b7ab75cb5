/// \file
/// The types and values of Windows that appear in the library's interfaces.
///
/// On Windows they come from <windows.h>, without the macros that would rename functions of the library. On
/// other systems this header defines types with the same names, sizes and fields, declares the few calls that
/// a client needs beside the library, and includes system_values.h for the constants. No other public header
/// asks which operating system it is compiled for.
///
/// \code
/// CRegistryKey key(true);
/// key.Open(HKEY_CURRENT_USER, u"Software\\Example");
/// const HKEY handle = key.Detach(); // now the caller's to close
/// RegCloseKey(handle);
/// \endcode
#pragma once

#include <tarnkit/data_model.h>

#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <oaidl.h>
#include <shlobj.h>

#undef GetMessage
#undef GetCurrentTime
#undef GetObject
#undef GetClassName
#undef LoadString
#undef FindResource
#undef MessageBox
#undef CreateFile
#undef DeleteFile
#undef CopyFile
#undef MoveFile
#undef GetFileAttributes
#undef SetFileAttributes
#undef GetModuleFileName
#undef LoadLibrary
#undef FormatMessage
#undef Yield
#undef min
#undef max

#else

#include <tarnkit/export.h>

#include <cstdint>

// Windows documents these types; the reference leaves them out.
/// \cond
using BYTE = unsigned char;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = unsigned int;
using INT = int;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = long long;
using BOOL = int;
using HRESULT = std::int32_t;
using LCID = std::uint32_t;
using LANGID = std::uint16_t;
using LCTYPE = std::uint32_t;
using REGSAM = std::uint32_t;
using LSTATUS = std::int32_t;
using COLORREF = std::uint32_t;
using HANDLE = void*;
using FARPROC = void (*)();
using OLECHAR = char16_t;
using BSTR = char16_t*;

using HINSTANCE = struct HINSTANCE__*;
using HMODULE = HINSTANCE;
using HRSRC = struct HRSRC__*;
using HWND = struct HWND__*;
using HKEY = struct HKEY__*;

#ifndef FALSE
#define FALSE 0
#define TRUE 1
#endif

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

struct TIME_ZONE_INFORMATION {
    LONG Bias;
    char16_t StandardName[32];
    SYSTEMTIME StandardDate;
    LONG StandardBias;
    char16_t DaylightName[32];
    SYSTEMTIME DaylightDate;
    LONG DaylightBias;
};

struct tagPOINT {
    LONG x;
    LONG y;
};
using POINT = tagPOINT;

struct tagSIZE {
    LONG cx;
    LONG cy;
};
using SIZE = tagSIZE;

struct tagRECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};
using RECT = tagRECT;

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
using IID = GUID;
using REFIID = const IID&;

inline bool operator==(const GUID& a, const GUID& b) {
    for (int i = 0; i < 8; i++)
        if (a.Data4[i] != b.Data4[i])
            return false;
    return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3;
}

inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IErrorInfo = {
    0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

#define STDMETHODCALLTYPE

struct IUnknown {
    virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

protected:
    ~IUnknown() = default;
};

struct IErrorInfo : IUnknown {
    virtual HRESULT GetGUID(GUID* guid) = 0;
    virtual HRESULT GetSource(BSTR* source) = 0;
    virtual HRESULT GetDescription(BSTR* description) = 0;
    virtual HRESULT GetHelpFile(BSTR* helpFile) = 0;
    virtual HRESULT GetHelpContext(DWORD* helpContext) = 0;

protected:
    ~IErrorInfo() = default;
};

/// Describes the failure of a late-bound COM call.
struct EXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    void* pvReserved;
    HRESULT (*pfnDeferredFillIn)(EXCEPINFO*);
    HRESULT scode;
};

struct CRITICAL_SECTION {
    void* reserved;
};

struct VS_FIXEDFILEINFO {
    DWORD dwSignature;
    DWORD dwStrucVersion;
    DWORD dwFileVersionMS;
    DWORD dwFileVersionLS;
    DWORD dwProductVersionMS;
    DWORD dwProductVersionLS;
    DWORD dwFileFlagsMask;
    DWORD dwFileFlags;
    DWORD dwFileOS;
    DWORD dwFileType;
    DWORD dwFileSubtype;
    DWORD dwFileDateMS;
    DWORD dwFileDateLS;
};

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    char16_t cFileName[260];
    char16_t cAlternateFileName[14];
};

struct MEMORY_BASIC_INFORMATION {
    void* BaseAddress;
    void* AllocationBase;
    DWORD AllocationProtect;
    std::uintptr_t RegionSize;
    DWORD State;
    DWORD Protect;
    DWORD Type;
};

struct SYSTEM_INFO {
    DWORD dwPageSize;
    DWORD dwAllocationGranularity;
    DWORD dwNumberOfProcessors;
};

struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    char16_t szCSDVersion[128];
};

struct ITEMIDLIST;

/// Frees what the shell's calls allocate.
struct IMalloc {
    virtual void Free(void* block) = 0;
    virtual ULONG Release() = 0;

protected:
    ~IMalloc() = default;
};
/// \endcond

///@{
/// The calling thread's last-error code, by which operations that do not throw say why they failed.
TARNKIT_API DWORD GetLastError();
TARNKIT_API void SetLastError(DWORD code);
///@}

/// Closes a handle that `CRegistryKey::Detach` returned. Returns ERROR_SUCCESS, or ERROR_INVALID_HANDLE for a
/// handle that is not open; closing a predefined key such as HKEY_CURRENT_USER does nothing. Does not change
/// the last-error code.
TARNKIT_API LSTATUS RegCloseKey(HKEY key);

/// Copies a zero-terminated text into a string that can cross the interface of a COM object; whoever receives
/// such a string frees it. Returns null for null and when there is no memory.
TARNKIT_API BSTR SysAllocString(const OLECHAR* text);
/// Accepts null.
TARNKIT_API void SysFreeString(BSTR text);

/// The system's colour for one of the COLOR_ indices, red in the lowest byte; 0 for any other index.
TARNKIT_API DWORD GetSysColor(int index);
/// Sets `count` colours, for this process only. Ignores indices that do not exist.
TARNKIT_API BOOL SetSysColors(int count, const INT* indices, const DWORD* values);

#include <tarnkit/system_values.h>

/// Values that not all headers of Windows have; two of them belong to Windows CE.
inline constexpr DWORD ERROR_DISK_QUOTA_EXCEEDED = 1295;
inline constexpr UINT SPI_GETPLATFORMTYPE = 257;
inline constexpr DWORD VER_PLATFORM_WIN32_CE = 3;

///@{
/// Whether a COM call that returned `result` succeeded, or failed.
constexpr bool SUCCEEDED(HRESULT result) { return result >= 0; }
constexpr bool FAILED(HRESULT result) { return result < 0; }
///@}
/// The result of a COM call that failed with a result code, which is less than 0x10000.
constexpr HRESULT HRESULT_FROM_WIN32(DWORD code) {
    return static_cast<HRESULT>(code == ERROR_SUCCESS ? 0 : 0x80070000 | (code & 0xFFFF));
}
/// A colour of components from 0 to 255.
constexpr COLORREF RGB(unsigned red, unsigned green, unsigned blue) { return red | green << 8 | blue << 16; }

///@{
/// Pointers with fixed values.
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(~std::uintptr_t{0}))
#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<LONG>(0x80000000))))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<LONG>(0x80000001))))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<LONG>(0x80000002))))
#define HKEY_USERS (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<LONG>(0x80000003))))
#define RT_STRING (reinterpret_cast<const char16_t*>(std::uintptr_t{6}))
#define RT_RCDATA (reinterpret_cast<const char16_t*>(std::uintptr_t{10}))
///@}

#endif

// The documented sizes, on every target.
static_assert(sizeof(FILETIME) == 8 && sizeof(SYSTEMTIME) == 16 && sizeof(GUID) == 16);
static_assert(sizeof(TIME_ZONE_INFORMATION) == 172);
static_assert(sizeof(POINT) == 8 && sizeof(SIZE) == 8 && sizeof(RECT) == 16);
static_assert(sizeof(WIN32_FIND_DATAW) == 592 && sizeof(VS_FIXEDFILEINFO) == 52);
static_assert(sizeof(OSVERSIONINFOW) == 276 && sizeof(HRESULT) == 4);
static_assert(sizeof(EXCEPINFO) == (Tarn::kPointerSize == 4 ? 32 : 64));
static_assert(sizeof(MEMORY_BASIC_INFORMATION) == (Tarn::kPointerSize == 4 ? 28 : 48));
