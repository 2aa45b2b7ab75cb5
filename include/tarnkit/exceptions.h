/// \file
/// The one way in which the library and its clients report failures.
///
/// A failure is an object of the `CException` family, created with `new`, thrown by pointer and owned by
/// whoever catches it, who shows it with `Warning(e)` and disposes of it with `e->Delete()`, or leaves that
/// to a `std::unique_ptr<CException>`. Misuse is reported by `GenAssert`, bad data and failed system calls by
/// the checks and the `Throw...` functions. Where throwing is switched off (static parts) assertions and
/// checks show their text, set the thread's error flag and return; the `Throw...` functions always throw. For
/// any thread; the state of reporting is kept per thread.
///
/// \code
/// try {
///     CFile file(u"letter.txt", CFile::ForReading | CFile::DenyWrite);
///     if (file.GetLength() == 0)
///         GenCheck(ERR_EMPTY_LETTER, file.GetFileName());
/// } catch (CException* e) {
///     Warning(e);
///     e->Delete();
/// }
/// \endcode
#pragma once

#include <tarnkit/failures.h>
#include <tarnkit/layout.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

#include <cstddef>
#include <new>

namespace Tarn {

class CError;

/// The base of everything that is thrown. Objects live under the default memory manager, never in a private
/// heap that could be gone before they are caught.
class TARNKIT_API CException {
public:
    constexpr CException() = default;
    virtual ~CException() noexcept(false);

    CException(const CException&) = delete;
    CException& operator=(const CException&) = delete;

    /// What went wrong, for the user and in the interface language.
    virtual CUnicodeString MessageText() const = 0;
    /// Shows the exception in a box. Called by message handlers; catchers call `Tarn::Warning`.
    virtual void Warning() const;

    /// Destroys the object; called through a null pointer it does nothing.
    void Delete() {
        CException* object = this;
        // Compilers take `this` for never null and would drop the test; the pointer is hidden from them.
        asm("" : "+r"(object));
        if (object != nullptr)
            delete object;
    }

    ///@{
    /// Allocates and frees with the default memory manager.
    static void* operator new(std::size_t size);
    static void operator delete(void* object);
    ///@}
};
TARNKIT_LAYOUT(CException, 4);

/// `e->Delete()` as a free function.
inline void Delete(CException* e) {
    if (e != nullptr)
        e->Delete();
}

/// A broken invariant or a misuse, at a line of a source. docs/errors.md lists the numbered ones.
class TARNKIT_API CInternalError : public CException {
public:
    /// `file` is not copied and must never be destroyed.
    CInternalError(const char16_t* file, long line);
    ~CInternalError() override;

    CUnicodeString MessageText() const override;
    /// Offers to end the process (exit code 3) with the Cancel button.
    void Warning() const override;

    ///@{
    /// Where the assertion is, as it was given to the constructor.
    const char16_t* SourceFile() const { return sourceFile; }
    long Line() const { return sourceLine; }
    ///@}

private:
    const char16_t* sourceFile;
    int sourceLine;

    friend struct CLayout<CInternalError>;
};
TARNKIT_LAYOUT(CInternalError, 12, sourceFile, sourceLine);

/// A failed check: a named error with up to three parameters.
class TARNKIT_API CCheckException : public CException {
public:
    /// `error` is not copied; errors are static objects.
    explicit CCheckException(CError& error, const CUnicodeString& p0 = CUnicodeString(),
                             const CUnicodeString& p1 = CUnicodeString(),
                             const CUnicodeString& p2 = CUnicodeString());
    ~CCheckException() override;

    CUnicodeString MessageText() const override;

    /// The reason of the check.
    CError& Error() const { return *checkError; }

private:
    CError* checkError;
    CUnicodeString parameter0;
    CUnicodeString parameter1;
    CUnicodeString parameter2;

    friend struct CLayout<CCheckException>;
};
TARNKIT_LAYOUT(CCheckException, 20, checkError, parameter0, parameter1, parameter2);

/// A failed COM call. Holds a reference on the error information, when there is one.
class TARNKIT_API CCOMException : public CException {
public:
    /// Adds a reference to `information`, which may be null.
    explicit CCOMException(HRESULT result, IErrorInfo* information = nullptr);
    ~CCOMException() override;

    /// The description in the error information, else the system's text for the code, else a text that gives
    /// the code in hexadecimal.
    CUnicodeString MessageText() const override;

    /// The code that the call returned.
    HRESULT GetHRESULT() const { return resultCode; }
    /// Null when there is none. No reference is added for the caller.
    IErrorInfo* GetErrorInfo() const { return errorInfo; }

private:
    HRESULT resultCode;
    IErrorInfo* errorInfo;

    friend struct CLayout<CCOMException>;
};
TARNKIT_LAYOUT(CCOMException, 12, resultCode, errorInfo);

/// Unwinds an operation that was cancelled or has already told the user why it stopped. Shows nothing.
class TARNKIT_API CUserException : public CException {
public:
    CUserException() = default;
    ~CUserException() override;

    CUnicodeString MessageText() const override;
    void Warning() const override;
};
TARNKIT_LAYOUT(CUserException, 4);

/// Out of memory. Always the same static object, so that neither it nor its text needs memory.
class TARNKIT_API CMemoryException final : public CException {
public:
    constexpr CMemoryException() = default;
    ~CMemoryException() override;

    CUnicodeString MessageText() const override;

    /// The memory of the static object; asserts when `size` is not the size of the class.
    static void* operator new(std::size_t size);
    /// Leaves the static object as it is, since it may have been thrown elsewhere, too; asserts on any other.
    static void operator delete(CMemoryException* object, std::destroying_delete_t) noexcept(false);
    static void operator delete(void* object) noexcept(false);
};
TARNKIT_LAYOUT(CMemoryException, 4);

/// A failed system call.
class TARNKIT_API CLastErrorException : public CException {
public:
    /// `code` is one that `GetLastError` returns.
    explicit CLastErrorException(unsigned long code);
    ~CLastErrorException() override;

    CUnicodeString MessageText() const override;

    /// The system's code.
    DWORD GetLastErrorCode() const { return errorCode; }

    /// The system's text for `code`, unchanged, with the line end that it has there.
    static CUnicodeString GetErrorText(unsigned long code);

private:
    DWORD errorCode;

    friend struct CLayout<CLastErrorException>;
};
TARNKIT_LAYOUT(CLastErrorException, 8, errorCode);

/// A failed operation on a file, classified into a few kinds that a user understands.
class TARNKIT_API CFileException : public CException {
public:
    /// What went wrong, as far as it matters to a user.
    enum TType {
        none, ///< never valid
        generic,
        fileNotFound,
        badPath,
        tooManyOpenFiles,
        accessDenied,
        invalidFile,
        removeCurrentDir,
        directoryFull,
        badSeek,
        hardIO,
        sharingViolation,
        lockViolation,
        diskFull,
        endOfFile
    };

    /// The kind follows from the system's code; code 0 asserts.
    CFileException(unsigned long code, const CUnicodeString& name);
    /// A failure of the given kind that no system call reported; the code is 0.
    CFileException(TType type, const CUnicodeString& name);
    ~CFileException() override;

    CUnicodeString MessageText() const override;

    /// The system's code; 0 if no call of the system failed.
    DWORD ErrorCode() const { return errorCode; }
    /// The kind.
    TType ErrorType() const { return errorType; }
    /// The name that the constructor was given.
    const CUnicodeString& FileName() const { return fileName; }

    /// The text for a kind and the name of a file; the kind `none` asserts.
    static CUnicodeString GetErrorText(TType type, const CUnicodeString& name);

private:
    DWORD errorCode;
    TType errorType;
    CUnicodeString fileName;

    friend struct CLayout<CFileException>;
};
TARNKIT_LAYOUT(CFileException, 16, errorCode, errorType, fileName);

/// COM error information for errors that arise in this library. Created with `new`, it has no reference at
/// first and deletes itself when the last one is released.
class TARNKIT_API CErrorInfoImpl final : public IErrorInfo {
public:
    /// The source is the application's title.
    CErrorInfoImpl(const CUnicodeString& text, unsigned long context, const CUnicodeString& file);
    /// What a late-bound call reported; where it names no source, the source is the application's title.
    explicit CErrorInfoImpl(const EXCEPINFO& information);
    /// A separate object without references.
    CErrorInfoImpl(const CErrorInfoImpl& other);
    CErrorInfoImpl& operator=(const CErrorInfoImpl&) = delete;

    ///@{
    /// Reference counting as every COM object has it; the interfaces are `IErrorInfo` and `IUnknown`. Not
    /// safe for several threads at a time.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    ///@}
    ///@{
    /// The texts are copies that belong to the caller, the GUID is all zeros. A null argument returns
    /// E_INVALIDARG.
    HRESULT STDMETHODCALLTYPE GetGUID(GUID* guid) override;
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* context) override;
    ///@}

private:
    int references = 0;
    CUnicodeString source;
    CUnicodeString description;
    CUnicodeString helpFile;
    DWORD helpContext;

    friend struct CLayout<CErrorInfoImpl>;

    ~CErrorInfoImpl() = default;
};
TARNKIT_LAYOUT(CErrorInfoImpl, 24, references, source, description, helpFile, helpContext);

/// Reports bad data: throws a `CCheckException*` or, where throwing is off, shows the text and returns. A
/// null parameter is an empty text.
TARNKIT_API void GenCheck(CError& error, const char16_t* p0 = nullptr, const char16_t* p1 = nullptr,
                          const char16_t* p2 = nullptr);

/// Reports a failed system call by its last-error code: throws a `CLastErrorException*` or shows its text.
TARNKIT_API void GenCheckLastError(unsigned long code);

///@{
/// These throw in static parts, too.
[[noreturn]] TARNKIT_API void ThrowUserException();
[[noreturn]] TARNKIT_API void ThrowCOMException(HRESULT result, IErrorInfo* information = nullptr);
[[noreturn]] TARNKIT_API void ThrowCOMException(HRESULT result, const CUnicodeString& description,
                                                const CUnicodeString& helpFile, int helpContext);
[[noreturn]] TARNKIT_API void ThrowFileException(unsigned long code, const CUnicodeString& name);
[[noreturn]] TARNKIT_API void ThrowFileException(CFileException::TType type, const CUnicodeString& name);
///@}

/// Shows an exception to the user through the current message handler; the exception stays the caller's.
/// Never throws a `CException*`: an exception while the message is shown is dropped with the message.
TARNKIT_API void Warning(CException* e);

/// Whether the calling thread is showing a warning now.
TARNKIT_API bool IsInsideWarning();

/// Whether assertions, or checks, may stop in the debugger. The user's switches "AssertStopMode" and
/// "ErrorStopMode" decide (see lifecycle.h): ALWAYS, DEBUG (with a debugger) or NEVER.
TARNKIT_API bool DebugStopOnAssert();
/// The same for checks.
TARNKIT_API bool DebugStopOnCheck();

/// Always false: a debugger cannot be detected.
TARNKIT_API bool IsDebuggerPresent();

/// A software breakpoint; ends the process when no debugger takes it.
TARNKIT_API void TarnBreakPoint();

} // namespace Tarn
