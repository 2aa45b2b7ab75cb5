/// \file
/// Between the exceptions of this library, thrown by pointer and owned by who catches them, and those of the
/// standard library.
///
/// Code that knows only `std::exception` (a scheduler, a test framework, another library's callback) calls
/// into this library through `ThrowingStandardExceptions`; code of the standard library is called through
/// `ThrowingLibraryExceptions`, and what it throws reaches the handlers for `CException*`. Both ways and back
/// an exception is still the same object. Any thread.
///
/// \code
/// std::future<void> saved = std::async([&] { ThrowingStandardExceptions([&] { document.Save(); }); });
/// try {
///     saved.get();
/// } catch (const std::exception& e) {
///     Warning(e); // as the `CException*` itself would be shown
/// }
///
/// ThrowingLibraryExceptions([&] { std::filesystem::rename(from, to); }); // a CException*, if it fails
/// \endcode
#pragma once

#include <tarnkit/exceptions.h>
#include <tarnkit/export.h>
#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include <exception>
#include <memory>
#include <utility>

namespace Tarn {

/// An exception of this library as one of the standard library. Copies share it.
class TARNKIT_API CCarriedException : public std::exception {
public:
    /// Takes over `e`, which must not be null. There is an object even when memory is short; only its text
    /// may be missing then.
    explicit CCarriedException(CException* e);
    CCarriedException(const CCarriedException& other) noexcept;
    CCarriedException& operator=(const CCarriedException&) = delete;
    ~CCarriedException() override;

    /// The message text in UTF-8, as it was when the object was made.
    const char* what() const noexcept override;
    /// Null once it has been released, through any of the copies.
    CException* Get() const noexcept;
    /// The exception, which belongs to the caller from now on.
    CException* Release() noexcept;

private:
    struct CShared;

    CShared* shared;
};

/// An exception of the standard library as one of this library: its text is what it says.
class TARNKIT_API CStandardException : public CException {
public:
    /// Takes the text of `e.what()`.
    explicit CStandardException(const std::exception& e);
    ~CStandardException() override;

    CUnicodeString MessageText() const override;

private:
    CUnicodeString text;
};

/// The exception that an exception of the standard library carries, or a new one: a `CMemoryException` for
/// `std::bad_alloc`, a `CStandardException` for any other. It belongs to the caller.
TARNKIT_API CException* MakeException(std::exception& e);

/// Shows an exception to the user through the current message handler, as `Warning(CException*)` does. Bytes
/// of `what()` that are not UTF-8 are read in the system's code page.
TARNKIT_API void Warning(const std::exception& e);

/// Calls `function`; a `CException*` that leaves it is thrown as a `CCarriedException`.
template<class Function>
decltype(auto) ThrowingStandardExceptions(Function&& function) {
    try {
        return std::forward<Function>(function)();
    } catch (CException* e) {
        throw CCarriedException(e);
    }
}

/// Calls `function`; a `std::exception` that leaves it is thrown as a `CException*`.
template<class Function>
decltype(auto) ThrowingLibraryExceptions(Function&& function) {
    try {
        return std::forward<Function>(function)();
    } catch (std::exception& e) {
        throw MakeException(e);
    }
}

} // namespace Tarn
