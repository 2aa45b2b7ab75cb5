// The platform's own types and values, passed through the library unchanged.
//
// On Windows they are those of <windows.h>, less its macros that would rename functions of the library.
// Elsewhere they are defined here with the same names, sizes and fields. This is the one public header that
// asks for the operating system.
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

/// What a late-bound call reports of its failure.
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

/// The shell's allocator.
struct IMalloc {
    virtual void Free(void* block) = 0;
    virtual ULONG Release() = 0;

protected:
    ~IMalloc() = default;
};

/// The calling thread's last-error code, where what does not throw reports why it failed.
TARNKIT_API DWORD GetLastError();
TARNKIT_API void SetLastError(DWORD code);

/// Text that crosses the interface of a COM object: the caller frees what a getter gave him. A copy of a
/// terminated text; null for null and when there is no memory.
TARNKIT_API BSTR SysAllocString(const OLECHAR* text);
/// Null does nothing.
TARNKIT_API void SysFreeString(BSTR text);

/// The system's colour for one of the COLOR_ indices; 0 for any other number.
TARNKIT_API DWORD GetSysColor(int index);
/// Changes colours for the length of this process.
TARNKIT_API BOOL SetSysColors(int count, const INT* indices, const DWORD* values);

// Result codes. The numbers are the platform's, documented with its calls.
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_INVALID_FUNCTION = 1;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_BAD_FORMAT = 11;
inline constexpr DWORD ERROR_OUTOFMEMORY = 14;
inline constexpr DWORD ERROR_CURRENT_DIRECTORY = 16;
inline constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_NOT_READY = 21;
inline constexpr DWORD ERROR_CRC = 23;
inline constexpr DWORD ERROR_BAD_LENGTH = 24;
inline constexpr DWORD ERROR_SEEK = 25;
inline constexpr DWORD ERROR_WRITE_FAULT = 29;
inline constexpr DWORD ERROR_READ_FAULT = 30;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_LOCK_VIOLATION = 33;
inline constexpr DWORD ERROR_HANDLE_EOF = 38;
inline constexpr DWORD ERROR_HANDLE_DISK_FULL = 39;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_BAD_NETPATH = 53;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_BROKEN_PIPE = 109;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_CALL_NOT_IMPLEMENTED = 120;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_NEGATIVE_SEEK = 131;
inline constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
inline constexpr DWORD ERROR_BAD_PATHNAME = 161;
inline constexpr DWORD ERROR_BUSY = 170;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_INVALID_ADDRESS = 487;
inline constexpr DWORD ERROR_INVALID_FLAGS = 1004;
inline constexpr DWORD ERROR_BADDB = 1009;
inline constexpr DWORD ERROR_KEY_DELETED = 1018;
inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr DWORD ERROR_IO_DEVICE = 1117;
inline constexpr DWORD ERROR_TOO_MANY_LINKS = 1142;
inline constexpr DWORD ERROR_DISK_QUOTA_EXCEEDED = 1295;
inline constexpr DWORD ERROR_INVALID_WINDOW_HANDLE = 1400;
inline constexpr DWORD ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr DWORD ERROR_RESOURCE_NAME_NOT_FOUND = 1814;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(~std::uintptr_t{0}))
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD TLS_OUT_OF_INDEXES = 0xFFFFFFFF;
inline constexpr int MAX_PATH = 260;

// Files.
inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD FILE_SHARE_DELETE = 4;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
inline constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x02;
inline constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x04;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_ATTRIBUTE_TEMPORARY = 0x100;
inline constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
inline constexpr DWORD FILE_FLAG_DELETE_ON_CLOSE = 0x04000000;
inline constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000;
inline constexpr DWORD FILE_FLAG_RANDOM_ACCESS = 0x10000000;
inline constexpr DWORD FILE_FLAG_WRITE_THROUGH = 0x80000000;

// Memory.
inline constexpr DWORD MEM_COMMIT = 0x1000;
inline constexpr DWORD MEM_RESERVE = 0x2000;
inline constexpr DWORD MEM_DECOMMIT = 0x4000;
inline constexpr DWORD MEM_RELEASE = 0x8000;
inline constexpr DWORD MEM_FREE = 0x10000;
inline constexpr DWORD PAGE_NOACCESS = 0x01;
inline constexpr DWORD PAGE_READWRITE = 0x04;

// Registry.
#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<LONG>(0x80000000))))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<LONG>(0x80000001))))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<LONG>(0x80000002))))
#define HKEY_USERS (reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<LONG>(0x80000003))))
inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_WRITE = 0x20006;
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

// Text.
inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_OEMCP = 1;
inline constexpr UINT CP_UTF8 = 65001;
inline constexpr DWORD MB_PRECOMPOSED = 0x01;
inline constexpr DWORD MB_COMPOSITE = 0x02;
inline constexpr DWORD MB_USEGLYPHCHARS = 0x04;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 0x08;
inline constexpr DWORD WC_DISCARDNS = 0x10;
inline constexpr DWORD WC_SEPCHARS = 0x20;
inline constexpr DWORD WC_DEFAULTCHAR = 0x40;
inline constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;
inline constexpr DWORD WC_COMPOSITECHECK = 0x200;
inline constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;

// Time zone and locale.
inline constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0;
inline constexpr DWORD TIME_ZONE_ID_STANDARD = 1;
inline constexpr DWORD TIME_ZONE_ID_DAYLIGHT = 2;
inline constexpr DWORD TIME_ZONE_ID_INVALID = 0xFFFFFFFF;
inline constexpr LCID LOCALE_NEUTRAL = 0x0000;
inline constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
inline constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
inline constexpr LCTYPE LOCALE_NOUSEROVERRIDE = 0x80000000;
inline constexpr LCTYPE LOCALE_SSHORTDATE = 0x1F;
inline constexpr LCTYPE LOCALE_SLONGDATE = 0x20;
inline constexpr LCTYPE LOCALE_S1159 = 0x28;
inline constexpr LCTYPE LOCALE_S2359 = 0x29;
// The names from Monday and from January on follow one another.
inline constexpr LCTYPE LOCALE_SDAYNAME1 = 0x2A;
inline constexpr LCTYPE LOCALE_SABBREVDAYNAME1 = 0x31;
inline constexpr LCTYPE LOCALE_SMONTHNAME1 = 0x38;
inline constexpr LCTYPE LOCALE_SABBREVMONTHNAME1 = 0x44;
inline constexpr LCTYPE LOCALE_STIMEFORMAT = 0x1003;
inline constexpr DWORD DATE_SHORTDATE = 1;
inline constexpr DWORD DATE_LONGDATE = 2;
inline constexpr DWORD DATE_USE_ALT_CALENDAR = 4;

// Modules, resources, system texts.
inline constexpr DWORD DONT_RESOLVE_DLL_REFERENCES = 1;
inline constexpr DWORD LOAD_LIBRARY_AS_DATAFILE = 2;
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT = 2;
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 4;
inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
#define RT_STRING (reinterpret_cast<const char16_t*>(std::uintptr_t{6}))
#define RT_RCDATA (reinterpret_cast<const char16_t*>(std::uintptr_t{10}))

// Windows and message boxes.
inline constexpr UINT MB_OK = 0x0;
inline constexpr UINT MB_OKCANCEL = 0x1;
inline constexpr UINT MB_ABORTRETRYIGNORE = 0x2;
inline constexpr UINT MB_YESNOCANCEL = 0x3;
inline constexpr UINT MB_YESNO = 0x4;
inline constexpr UINT MB_RETRYCANCEL = 0x5;
inline constexpr UINT MB_ICONHAND = 0x10;
inline constexpr UINT MB_ICONQUESTION = 0x20;
inline constexpr UINT MB_ICONEXCLAMATION = 0x30;
inline constexpr UINT MB_ICONASTERISK = 0x40;
inline constexpr UINT MB_DEFBUTTON1 = 0x000;
inline constexpr UINT MB_DEFBUTTON2 = 0x100;
inline constexpr UINT MB_DEFBUTTON3 = 0x200;
inline constexpr UINT MB_SETFOREGROUND = 0x10000;
inline constexpr UINT MB_TOPMOST = 0x40000;
inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;
inline constexpr int IDABORT = 3;
inline constexpr int IDRETRY = 4;
inline constexpr int IDIGNORE = 5;
inline constexpr int IDYES = 6;
inline constexpr int IDNO = 7;
inline constexpr UINT GW_HWNDNEXT = 2;
inline constexpr UINT GW_OWNER = 4;
inline constexpr UINT GW_CHILD = 5;
inline constexpr int GWL_STYLE = -16;
inline constexpr LONG WS_CHILD = 0x40000000;
inline constexpr UINT SPI_GETPLATFORMTYPE = 257;
inline constexpr DWORD VER_PLATFORM_WIN32_WINDOWS = 1;
inline constexpr DWORD VER_PLATFORM_WIN32_NT = 2;
inline constexpr DWORD VER_PLATFORM_WIN32_CE = 3;

// System colours. Several have more than one name.
inline constexpr int COLOR_SCROLLBAR = 0;
inline constexpr int COLOR_BACKGROUND = 1;
inline constexpr int COLOR_DESKTOP = COLOR_BACKGROUND;
inline constexpr int COLOR_ACTIVECAPTION = 2;
inline constexpr int COLOR_INACTIVECAPTION = 3;
inline constexpr int COLOR_MENU = 4;
inline constexpr int COLOR_WINDOW = 5;
inline constexpr int COLOR_WINDOWFRAME = 6;
inline constexpr int COLOR_MENUTEXT = 7;
inline constexpr int COLOR_WINDOWTEXT = 8;
inline constexpr int COLOR_CAPTIONTEXT = 9;
inline constexpr int COLOR_ACTIVEBORDER = 10;
inline constexpr int COLOR_INACTIVEBORDER = 11;
inline constexpr int COLOR_APPWORKSPACE = 12;
inline constexpr int COLOR_HIGHLIGHT = 13;
inline constexpr int COLOR_HIGHLIGHTTEXT = 14;
inline constexpr int COLOR_BTNFACE = 15;
inline constexpr int COLOR_3DFACE = COLOR_BTNFACE;
inline constexpr int COLOR_BTNSHADOW = 16;
inline constexpr int COLOR_3DSHADOW = COLOR_BTNSHADOW;
inline constexpr int COLOR_GRAYTEXT = 17;
inline constexpr int COLOR_BTNTEXT = 18;
inline constexpr int COLOR_INACTIVECAPTIONTEXT = 19;
inline constexpr int COLOR_BTNHIGHLIGHT = 20;
inline constexpr int COLOR_3DHILIGHT = COLOR_BTNHIGHLIGHT;
inline constexpr int COLOR_3DHIGHLIGHT = COLOR_BTNHIGHLIGHT;
inline constexpr int COLOR_3DDKSHADOW = 21;
inline constexpr int COLOR_3DLIGHT = 22;
inline constexpr int COLOR_INFOTEXT = 23;
inline constexpr int COLOR_INFOBK = 24;

#endif

// The sizes that the platform documents, on every target.
static_assert(sizeof(FILETIME) == 8 && sizeof(SYSTEMTIME) == 16 && sizeof(GUID) == 16);
static_assert(sizeof(TIME_ZONE_INFORMATION) == 172);
static_assert(sizeof(POINT) == 8 && sizeof(SIZE) == 8 && sizeof(RECT) == 16);
static_assert(sizeof(WIN32_FIND_DATAW) == 592 && sizeof(VS_FIXEDFILEINFO) == 52);
static_assert(sizeof(OSVERSIONINFOW) == 276 && sizeof(HRESULT) == 4);
static_assert(sizeof(EXCEPINFO) == (Tarn::kPointerSize == 4 ? 32 : 64));
static_assert(sizeof(MEMORY_BASIC_INFORMATION) == (Tarn::kPointerSize == 4 ? 28 : 48));
