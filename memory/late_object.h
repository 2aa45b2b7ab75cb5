// A library-wide object that needs construction, in storage that needs none.
//
// The object is built at its first use, under the default memory manager because it outlives the caller, and
// stays until `Release`; a use after that builds it anew. So it may be used before the library's own static
// objects are built and after they are gone. Main thread.
#pragma once

#include <tarnkit/memory_manager.h>

#include <new>

namespace Tarn {

template<class T>
class CLateObject {
public:
    constexpr CLateObject() : storage{} {}

    bool Exists() const { return isBuilt; }

    T& Get() {
        if (!isBuilt) {
            CMemoryManagerSwitcher switcher(nullptr);
            ::new (static_cast<void*>(storage)) T();
            isBuilt = true;
        }
        return *object();
    }
    T* operator->() { return &Get(); }

    void Release() {
        if (!isBuilt)
            return;
        // Still the object for whoever is called while it is taken down.
        object()->~T();
        isBuilt = false;
    }

private:
    alignas(T) unsigned char storage[sizeof(T)];
    bool isBuilt = false;

    T* object() { return std::launder(reinterpret_cast<T*>(storage)); }
};

} // namespace Tarn
