// The handles of open files and searches.
//
// A call holds the object of a handle while it works on it, so another thread may close the handle
// meanwhile: the object is shut when the last call releases it. Any thread may call these functions.
//
// A forked child inherits the handles that are open. What the parent's other threads were doing with them
// ends in the child.
#pragma once

#include <tarnkit/types.h>

#include "platform/posix/memory/allocator.h"
#include "platform/posix/support/fork_handlers.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace Tarn::Platform::Posix {

class HandleObject {
public:
    enum class Kind { File, Search };

    explicit HandleObject(Kind objectKind) : kind(objectKind) {}
    virtual ~HandleObject() = default;

    /// Releases what the object holds. Called once; returns a code.
    virtual DWORD Shut() = 0;

    /// Called in a forked child: no thread is using the object, whatever it says.
    void Inherit() {
        isInherited = true;
        holders = 1;
        FreeInChild(use);
    }

    const Kind kind;
    std::atomic<int> holders = 1;
    /// Serialises the calls on the handle.
    std::mutex use;
    /// Whether the parent of this process opened it.
    bool isInherited = false;
};

struct Deleter {
    template<class T>
    void operator()(T* object) const {
        Delete(object);
    }
};
template<class T>
using Owned = std::unique_ptr<T, Deleter>;

/// Returns a handle that owns `object`; null when there are too many handles or no memory, and then the
/// caller keeps the object.
HANDLE NewHandle(HandleObject* object);

/// The object of an open handle of that kind, held for the caller; null for any other handle.
HandleObject* HoldObject(HANDLE handle, HandleObject::Kind kind);

/// Ends a hold. If it was the last one, shuts and deletes the object and returns the code of shutting it;
/// otherwise returns 0.
DWORD LetGo(HandleObject* object);

/// Closes a handle and passes its hold on the object to the caller; null when no handle of that kind is open.
HandleObject* RemoveHandle(HANDLE handle, HandleObject::Kind kind);

/// Holds an object during a call.
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
