// System texts, versions, the user's language and the strings of the COM error object.
#include "platform/platform.h"
#include "platform/posix/text/language.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

namespace Tarn::Platform {
namespace {

struct SystemText {
    DWORD code;
    std::u16string_view text;
};

// The codes that calls of this port can report, in ascending order.
constexpr SystemText kSystemTexts[] = {
    {ERROR_SUCCESS, u"The operation succeeded."},
    {ERROR_INVALID_FUNCTION, u"The function is not valid."},
    {ERROR_FILE_NOT_FOUND, u"The file was not found."},
    {ERROR_PATH_NOT_FOUND, u"The folder was not found."},
    {ERROR_TOO_MANY_OPEN_FILES, u"Too many files are open."},
    {ERROR_ACCESS_DENIED, u"Access was refused."},
    {ERROR_INVALID_HANDLE, u"The handle is not valid."},
    {ERROR_NOT_ENOUGH_MEMORY, u"There is not enough memory."},
    {ERROR_BAD_FORMAT, u"The format is not valid."},
    {ERROR_OUTOFMEMORY, u"There is not enough memory for the operation."},
    {ERROR_CURRENT_DIRECTORY, u"The folder is in use as the current folder."},
    {ERROR_NOT_SAME_DEVICE, u"The file cannot be moved to another drive."},
    {ERROR_NO_MORE_FILES, u"There are no more files."},
    {ERROR_WRITE_PROTECT, u"The medium is write-protected."},
    {ERROR_NOT_READY, u"The device is not ready."},
    {ERROR_CRC, u"The data on the device is damaged."},
    {ERROR_SEEK, u"The device cannot seek to the position."},
    {ERROR_WRITE_FAULT, u"The device cannot be written to."},
    {ERROR_READ_FAULT, u"The device cannot be read."},
    {ERROR_GEN_FAILURE, u"The device does not work properly."},
    {ERROR_SHARING_VIOLATION, u"The file is in use elsewhere."},
    {ERROR_LOCK_VIOLATION, u"A part of the file is locked elsewhere."},
    {ERROR_HANDLE_EOF, u"The end of the file was reached."},
    {ERROR_HANDLE_DISK_FULL, u"The disk is full."},
    {ERROR_NOT_SUPPORTED, u"The request is not supported."},
    {ERROR_BAD_NETPATH, u"The server was not found."},
    {ERROR_FILE_EXISTS, u"The file already exists."},
    {ERROR_INVALID_PARAMETER, u"An argument is not valid."},
    {ERROR_BROKEN_PIPE, u"The other end of the pipe was closed."},
    {ERROR_BUFFER_OVERFLOW, u"The name is too long."},
    {ERROR_DISK_FULL, u"There is no space left on the disk."},
    {ERROR_CALL_NOT_IMPLEMENTED, u"This system does not offer the function."},
    {ERROR_INSUFFICIENT_BUFFER, u"The buffer is too small for the data."},
    {ERROR_INVALID_NAME, u"The name of the file or folder is not valid."},
    {ERROR_MOD_NOT_FOUND, u"The module, or one that it needs, was not found."},
    {ERROR_PROC_NOT_FOUND, u"The function was not found in the module."},
    {ERROR_NEGATIVE_SEEK, u"The position is before the start of the file."},
    {ERROR_DIR_NOT_EMPTY, u"The folder is not empty."},
    {ERROR_BAD_PATHNAME, u"The path is not valid."},
    {ERROR_BUSY, u"The resource is in use."},
    {ERROR_ALREADY_EXISTS, u"A file or folder of this name already exists."},
    {ERROR_BAD_EXE_FORMAT, u"The file is not a module for this system."},
    {ERROR_FILENAME_EXCED_RANGE, u"The file name is too long."},
    {ERROR_MORE_DATA, u"There is more data than the buffer can hold."},
    {ERROR_NO_MORE_ITEMS, u"There are no more items."},
    {ERROR_DIRECTORY, u"The name is not the name of a folder."},
    {ERROR_MR_MID_NOT_FOUND, u"The system has no text for the code."},
    {ERROR_INVALID_ADDRESS, u"The address is not valid."},
    {ERROR_NOACCESS, u"The memory cannot be accessed."},
    {ERROR_INVALID_FLAGS, u"The flags are not valid."},
    {ERROR_BADDB, u"The registry is damaged."},
    {ERROR_KEY_DELETED, u"The registry key was deleted."},
    {ERROR_NO_UNICODE_TRANSLATION, u"The text contains characters that cannot be converted."},
    {ERROR_DLL_INIT_FAILED, u"The module could not be initialised."},
    {ERROR_IO_DEVICE, u"The device reported an error."},
    {ERROR_TOO_MANY_LINKS, u"The file has too many links."},
    {ERROR_DISK_QUOTA_EXCEEDED, u"The user's disk quota is used up."},
    {ERROR_INVALID_WINDOW_HANDLE, u"The window does not exist."},
    {ERROR_RESOURCE_DATA_NOT_FOUND, u"The module contains no resources."},
    {ERROR_RESOURCE_TYPE_NOT_FOUND, u"The module contains no resources of this type."},
    {ERROR_RESOURCE_NAME_NOT_FOUND, u"The resource was not found in the module."},
    {ERROR_CANT_RESOLVE_FILENAME, u"The name involves too many symbolic links."},
    {static_cast<DWORD>(E_NOINTERFACE), u"The object does not offer the interface."},
    {static_cast<DWORD>(E_FAIL), u"The operation failed."},
    {static_cast<DWORD>(E_OUTOFMEMORY), u"There is not enough memory for the operation."},
    {static_cast<DWORD>(E_INVALIDARG), u"An argument of the operation is not valid."},
};

constexpr bool isOrdered() {
    for (std::size_t i = 1; i < std::size(kSystemTexts); i++)
        if (kSystemTexts[i - 1].code >= kSystemTexts[i].code)
            return false;
    return true;
}
static_assert(isOrdered());

constexpr std::u16string_view kLineEnd = u"\r\n";

// The release of Windows CE that this port reports.
constexpr DWORD kMajorVersion = 4;
constexpr DWORD kMinorVersion = 20;
constexpr DWORD kBuildNumber = 14053;

constexpr std::u16string_view kPlatformType{u"PocketPC\0", 9};

/// The length of a COM string in bytes, which is stored directly before its first unit.
using StringPrefix = std::uint32_t;

} // namespace

DWORD FormatSystemMessageW(DWORD code, bool, char16_t* buffer, DWORD size) {
    auto found = std::lower_bound(std::begin(kSystemTexts), std::end(kSystemTexts), code,
                                  [](const SystemText& text, DWORD wanted) { return text.code < wanted; });
    bool known = found != std::end(kSystemTexts) && found->code == code;
    std::size_t length = known ? found->text.size() + kLineEnd.size() : 0;
    if (!known || length >= size) {
        SetLastError(known ? ERROR_INSUFFICIENT_BUFFER : ERROR_MR_MID_NOT_FOUND);
        return 0;
    }
    char16_t* end = std::copy(found->text.begin(), found->text.end(), buffer);
    end = std::copy(kLineEnd.begin(), kLineEnd.end(), end);
    *end = 0;
    return static_cast<DWORD>(length);
}

BOOL GetVersionExW(OSVERSIONINFOW* information) {
    if (information == nullptr || information->dwOSVersionInfoSize != sizeof(OSVERSIONINFOW)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    *information = {sizeof(OSVERSIONINFOW), kMajorVersion,         kMinorVersion,
                    kBuildNumber,           VER_PLATFORM_WIN32_CE, {}};
    return TRUE;
}

BOOL SystemParametersInfoW(UINT action, UINT size, void* data) {
    constexpr std::size_t kBytes = kPlatformType.size() * sizeof(char16_t);
    DWORD code = action != SPI_GETPLATFORMTYPE || data == nullptr ? ERROR_INVALID_PARAMETER
                 : size < kBytes                                  ? ERROR_INSUFFICIENT_BUFFER
                                                                  : ERROR_SUCCESS;
    if (code != ERROR_SUCCESS) {
        SetLastError(code);
        return FALSE;
    }
    std::memcpy(data, kPlatformType.data(), kBytes);
    return TRUE;
}

LANGID GetSystemDefaultLangID() { return Posix::UserLanguage().id; }

BSTR SysAllocString(const char16_t* text) {
    if (text == nullptr)
        return nullptr;
    std::size_t bytes = std::char_traits<char16_t>::length(text) * sizeof(char16_t);
    void* block = bytes > UINT32_MAX ? nullptr : std::malloc(sizeof(StringPrefix) + bytes + sizeof(char16_t));
    if (block == nullptr)
        return nullptr;
    auto prefix = static_cast<StringPrefix*>(block);
    *prefix = static_cast<StringPrefix>(bytes);
    auto string = reinterpret_cast<BSTR>(prefix + 1);
    std::memcpy(string, text, bytes + sizeof(char16_t));
    return string;
}

void SysFreeString(BSTR text) {
    if (text != nullptr)
        std::free(reinterpret_cast<StringPrefix*>(text) - 1);
}

} // namespace Tarn::Platform

// The calls that types.h declares for clients.
BSTR SysAllocString(const OLECHAR* text) { return Tarn::Platform::SysAllocString(text); }

void SysFreeString(BSTR text) { Tarn::Platform::SysFreeString(text); }
