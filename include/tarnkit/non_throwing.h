/// \file
/// CNonThrowing: a value in a class whose destructor must not throw, of a type whose own destructor may.
///
/// Files, archives, memory pools and heaps throw when their destruction fails. A destructor that must not
/// throw, such as that of a list node (list.h), cannot let that exception out; a CNonThrowing around the
/// member shows the failure to the user as a warning instead. Threads as for `T`.
///
/// \code
/// class CDocument : public CListNodeBase {
///     CNonThrowing<CFile> file;
/// public:
///     explicit CDocument(const char16_t* name) : file(name, CFile::ForReading) {}
///     int Length() { return file->GetLength(); }
/// };
/// \endcode
#pragma once

#include <tarnkit/exceptions.h>

#include <memory>
#include <utility>

namespace Tarn {

template<class T>
/// A value whose destruction does not throw; see the top of this header.
class CNonThrowing {
public:
    template<class... Arguments>
    /// Makes the value of these arguments.
    explicit CNonThrowing(Arguments&&... arguments) : value(std::forward<Arguments>(arguments)...) {}
    /// Destroys the value. A `CException*` thrown by this is shown by `Warning` and disposed of.
    ~CNonThrowing() noexcept {
        try {
            std::destroy_at(std::addressof(value));
        } catch (CException* e) {
            Warning(e);
            e->Delete();
        }
    }

    CNonThrowing(const CNonThrowing&) = delete;
    CNonThrowing& operator=(const CNonThrowing&) = delete;

    T& operator*() { return value; }
    const T& operator*() const { return value; }
    T* operator->() { return std::addressof(value); }
    const T* operator->() const { return std::addressof(value); }

private:
    union {
        T value;
    };
};

} // namespace Tarn
