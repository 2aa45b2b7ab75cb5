// A library-wide object that is constructed at its first use, in storage that needs no construction.
//
// The object is constructed under the default memory manager, because it outlives the caller, and lives until
// `Release`; a later use constructs it anew. So it may be used before the library's static objects are
// constructed and after they are destroyed. Main thread only.
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
        // Code that the destructor calls can still use the object.
        object()->~T();
        isBuilt = false;
    }

private:
    alignas(T) unsigned char storage[sizeof(T)];
    bool isBuilt = false;

    T* object() { return std::launder(reinterpret_cast<T*>(storage)); }
};

} // namespace Tarn
