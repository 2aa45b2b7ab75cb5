// The table behind the handles of files and searches.
//
// A handle is a place in the table and the number of times that the place was given out, so a closed handle
// is recognised even when its place is in use again. A call holds the object while it works on it: closing
// the handle meanwhile is safe, the object goes when the last call leaves it. Any thread may use the table.
#pragma once

#include <tarnkit/types.h>

#include "platform/posix/memory/allocator.h"

#include <atomic>
#include <memory>

namespace Tarn::Platform::Posix {

class HandleObject {
public:
    enum class Kind { File, Search };

    explicit HandleObject(Kind objectKind) : kind(objectKind) {}
    virtual ~HandleObject() = default;

    /// Lets go of what the object holds, once; returns a code.
    virtual DWORD Shut() = 0;

    const Kind kind;
    std::atomic<int> holders = 1;
};

struct Deleter {
    template<class T>
    void operator()(T* object) const {
        Delete(object);
    }
};
template<class T>
using Owned = std::unique_ptr<T, Deleter>;

/// Gives `object` a handle and takes it over; null when there are too many handles or no memory.
HANDLE NewHandle(HandleObject* object);

/// The object of a live handle of that kind, held for the caller; otherwise null.
HandleObject* HoldObject(HANDLE handle, HandleObject::Kind kind);

/// Ends a hold. The last one shuts the object; its code is returned, 0 from every other.
DWORD LetGo(HandleObject* object);

/// Takes the handle out of use and the object with its hold out of the table; null when there is none.
HandleObject* RemoveHandle(HANDLE handle, HandleObject::Kind kind);

/// An object held for the length of a call.
template<class T>
class Held {
public:
    explicit Held(HANDLE handle) : object(static_cast<T*>(HoldObject(handle, T::kKind))) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() {
        if (object != nullptr)
            LetGo(object);
    }

    explicit operator bool() const { return object != nullptr; }
    T* operator->() const { return object; }
    T& operator*() const { return *object; }

private:
    T* object;
};

} // namespace Tarn::Platform::Posix
