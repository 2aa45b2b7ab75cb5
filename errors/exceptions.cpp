#include <tarnkit/exceptions.h>

#include <tarnkit/file_system.h>
#include <tarnkit/immortal.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/text_of_values.h>

#include "errors/reporting.h"
#include "memory/in_destructor.h"
#include "platform/platform.h"
#include "strings/constant_text.h"

#include <iterator>

namespace Tarn {

namespace {

constexpr int kHexadecimal = 16;

// Gets the system's text for a code; false if it has none.
bool getSystemText(DWORD code, bool ignoreInserts, CUnicodeString& text) {
    constexpr DWORD kLongestText = 0x10000;
    for (DWORD size = 256; size <= kLongestText; size *= 2) {
        const DWORD length =
            Platform::FormatSystemMessageW(code, ignoreInserts, text.GetBuffer(static_cast<int>(size)), size);
        text.ReleaseBuffer(static_cast<int>(length));
        if (length > 0)
            return true;
        if (Platform::GetLastError() != ERROR_INSUFFICIENT_BUFFER)
            return false;
    }
    return false;
}

void removeLast(CUnicodeString& text, char16_t unit) {
    const int last = text.GetLength() - 1;
    if (last >= 0 && text[last] == unit)
        text.StrDel(last);
}

// The description that a COM object left; empty if there is none.
CUnicodeString descriptionOf(IErrorInfo* information) {
    CUnicodeString result;
    BSTR description = nullptr;
    if (information != nullptr && information->GetDescription(&description) >= 0 && description != nullptr) {
        try {
            result = reinterpret_cast<const char16_t*>(description);
        } catch (...) {
            Platform::SysFreeString(description);
            throw;
        }
        Platform::SysFreeString(description);
    }
    return result;
}

// The system code of an HRESULT.
DWORD systemCodeOf(HRESULT result) {
    constexpr DWORD kFacilityWin32 = 7;
    const auto bits = static_cast<DWORD>(result);
    return ((bits >> 16) & 0x1FFF) == kFacilityWin32 ? bits & 0xFFFF : bits;
}

// The system codes of each kind of file failure; the rows are filled up with 0.
struct CFileCodes {
    CFileException::TType type;
    unsigned short codes[20];
};

constexpr CFileCodes kFileCodes[] = {
    {CFileException::fileNotFound, {2, 6, 18, 107}},
    {CFileException::badPath,
     {3, 15, 17, 34, 52, 53, 55, 67, 70, 85, 111, 123, 124, 125, 144, 154, 161, 206, 208, 267}},
    {CFileException::tooManyOpenFiles, {4, 36, 68, 113}},
    {CFileException::accessDenied, {5, 12, 19, 29, 54, 58, 64, 65, 71, 80, 82, 86, 170, 183, 999}},
    {CFileException::invalidFile, {11, 26, 60, 66, 114, 182, 191, 193}},
    {CFileException::removeCurrentDir, {16, 145}},
    {CFileException::directoryFull, {62}},
    {CFileException::badSeek, {24, 25, 27, 30, 131, 132}},
    {CFileException::hardIO, {20, 21, 22, 23, 57, 59, 88, 117, 995, 996, 997}},
    {CFileException::sharingViolation, {32}},
    {CFileException::lockViolation, {33, 108, 167}},
    {CFileException::diskFull, {39, 112}},
    {CFileException::endOfFile, {38}},
};

CFileException::TType typeOfCode(unsigned long code) {
    if (code == 0)
        return CFileException::none;
    for (const CFileCodes& row : kFileCodes)
        for (unsigned short listed : row.codes)
            if (listed == code)
                return row.type;
    return CFileException::generic;
}

// The message of a kind; null for `none`.
const CMessage* messageOfType(CFileException::TType type) {
    static const CMessage* const kMessages[] = {
        nullptr,
        &ERR_FILE_GENERIC,
        &ERR_FILE_NOT_FOUND,
        &ERR_FILE_BAD_PATH,
        &ERR_FILE_TOO_MANY_OPEN_FILES,
        &ERR_FILE_ACCESS_DENIED,
        &ERR_FILE_INVALID_FILE,
        &ERR_FILE_REMOVE_CURRENT_DIR,
        &ERR_FILE_DIRECTORY_FULL,
        &ERR_FILE_BAD_SEEK,
        &ERR_FILE_HARD_IO,
        &ERR_FILE_SHARING_VIOLATION,
        &ERR_FILE_LOCK_VIOLATION,
        &ERR_FILE_DISK_FULL,
        &ERR_FILE_END_OF_FILE,
    };
    static_assert(std::size(kMessages) == CFileException::endOfFile + 1);
    const auto index = static_cast<unsigned>(type);
    return index < std::size(kMessages) ? kMessages[index] : nullptr;
}

// The only memory exception of the process. Never destroyed, so it may be in flight more than once.
constinit Immortal<CMemoryException> memoryException;

constinit CConstantText memoryText(u"Not enough memory!");

} // namespace

// CException. -------------------------------------------------------------------------------------------

CException::~CException() noexcept(false) {}

void CException::Warning() const { MessageBoxW(MessageText(), MB_ICONEXCLAMATION); }

void* CException::operator new(std::size_t size) {
    CMemoryManagerSwitcher toDefault(nullptr);
    return alloc_new(static_cast<unsigned>(size));
}

void CException::operator delete(void* object) {
    CMemoryManagerSwitcher toDefault(nullptr);
    alloc_delete(object);
}

// CInternalError. ---------------------------------------------------------------------------------------

CInternalError::CInternalError(const char16_t* file, long line)
    : sourceFile(file), sourceLine(static_cast<int>(line)) {}

CInternalError::~CInternalError() = default;

CUnicodeString CInternalError::MessageText() const {
    const CUnicodeString file = sourceFile != nullptr ? sourceFile : u"", line = UnicodeStr(sourceLine);
    if (IsTarnkitInitialized() && MSG_INTERNAL_ERROR.IsDefined())
        return MSG_INTERNAL_ERROR.SubstParam(file, line);
    return CUnicodeString(u"Internal Program Error:\n%0, %1.").SubstParam(file, line);
}

void CInternalError::Warning() const {
    if (ShowErrorBox(MessageText(), MB_OKCANCEL) == IDCANCEL)
        Platform::TerminateThisProcess(kInternalErrorExitCode);
}

// CCheckException. --------------------------------------------------------------------------------------

CCheckException::CCheckException(CError& error, const CUnicodeString& p0, const CUnicodeString& p1,
                                 const CUnicodeString& p2)
    : checkError(&error), parameter0(p0), parameter1(p1), parameter2(p2) {}

CCheckException::~CCheckException() = default;

CUnicodeString CCheckException::MessageText() const {
    return checkError->SubstParam(parameter0, parameter1, parameter2);
}

// CCOMException. ----------------------------------------------------------------------------------------

CCOMException::CCOMException(HRESULT result, IErrorInfo* information)
    : resultCode(result), errorInfo(information) {
    if (errorInfo != nullptr)
        errorInfo->AddRef();
}

CCOMException::~CCOMException() {
    if (errorInfo != nullptr)
        errorInfo->Release();
}

CUnicodeString CCOMException::MessageText() const {
    CUnicodeString text = descriptionOf(errorInfo);
    if (!text.IsEmpty())
        return text;
    if (getSystemText(systemCodeOf(resultCode), false, text)) {
        removeLast(text, u'\n');
        removeLast(text, u'\r');
        return text;
    }
    return ERR_UNKNOWN_COM_ERROR.SubstParam(UnicodeStr(static_cast<DWORD>(resultCode), kHexadecimal));
}

// CUserException. ---------------------------------------------------------------------------------------

CUserException::~CUserException() = default;

CUnicodeString CUserException::MessageText() const { return CUnicodeString(); }

void CUserException::Warning() const {}

// CMemoryException. -------------------------------------------------------------------------------------

CMemoryException::~CMemoryException() = default;

CUnicodeString CMemoryException::MessageText() const { return memoryText.Text(); }

void* CMemoryException::operator new(std::size_t size) {
    if (size != sizeof(CMemoryException))
        GenAssert(u"ERRORS", 317);
    return &memoryException.object;
}

void CMemoryException::operator delete(CMemoryException* object, std::destroying_delete_t) noexcept(false) {
    operator delete(static_cast<void*>(object));
}

void CMemoryException::operator delete(void* object) noexcept(false) {
    if (object != &memoryException.object)
        GenAssert(u"ERRORS", 323);
}

// CLastErrorException. ----------------------------------------------------------------------------------

CLastErrorException::CLastErrorException(unsigned long code) : errorCode(static_cast<DWORD>(code)) {}

CLastErrorException::~CLastErrorException() = default;

CUnicodeString CLastErrorException::MessageText() const { return GetErrorText(errorCode); }

CUnicodeString CLastErrorException::GetErrorText(unsigned long code) {
    CUnicodeString text;
    if (getSystemText(static_cast<DWORD>(code), true, text))
        return text;
    return ERR_UNKNOWN_LAST_ERROR_TEXT.SubstParam(UnicodeStr(static_cast<DWORD>(code), kHexadecimal));
}

// CFileException. ---------------------------------------------------------------------------------------

CFileException::CFileException(unsigned long code, const CUnicodeString& name)
    : errorCode(static_cast<DWORD>(code)), errorType(typeOfCode(code)), fileName(name) {
    if (code == ERROR_SUCCESS)
        GenAssert(u"ERRORS", 723);
}

CFileException::CFileException(TType type, const CUnicodeString& name)
    : errorCode(ERROR_SUCCESS), errorType(type), fileName(name) {}

CFileException::~CFileException() = default;

CUnicodeString CFileException::MessageText() const {
    return GetErrorText(errorType, FileSystem::ForDisplay(fileName));
}

CUnicodeString CFileException::GetErrorText(TType type, const CUnicodeString& name) {
    const CMessage* message = messageOfType(type);
    if (message == nullptr) {
        GenAssert(u"ERRORS", 772);
        return CUnicodeString();
    }
    return message->SubstParam(name);
}

void DeleteCurrentException() {
    try {
        throw;
    } catch (CException* e) {
        e->Delete();
    } catch (...) {
        // Any other exception is destroyed by the runtime.
    }
}

// Throwing. ---------------------------------------------------------------------------------------------

void ThrowMemoryException() {
    if (ShouldBreakOnMemoryException())
        TarnBreakPoint();
    throw &memoryException.object;
}

void ThrowUserException() {
    throw MakeReport(CReportingGuard::plain, [] { return new CUserException; });
}

void ThrowCOMException(HRESULT result, IErrorInfo* information) {
    throw MakeReport(CReportingGuard::plain, [&] { return new CCOMException(result, information); });
}

void ThrowCOMException(HRESULT result, const CUnicodeString& description, const CUnicodeString& helpFile,
                       int helpContext) {
    CReportingGuard guard(CReportingGuard::plain);
    IErrorInfo* information =
        new CErrorInfoImpl(description, static_cast<unsigned long>(helpContext), helpFile);
    information->AddRef(); // our reference, until the exception has its own
    CCOMException* e;
    try {
        e = new CCOMException(result, information);
    } catch (...) {
        information->Release();
        throw;
    }
    information->Release();
    throw e;
}

void ThrowFileException(unsigned long code, const CUnicodeString& name) {
    throw MakeReport(CReportingGuard::plain, [&] { return new CFileException(code, name); });
}

void ThrowFileException(CFileException::TType type, const CUnicodeString& name) {
    throw MakeReport(CReportingGuard::plain, [&] { return new CFileException(type, name); });
}

} // namespace Tarn
