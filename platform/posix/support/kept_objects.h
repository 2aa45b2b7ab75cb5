/// \file
/// Objects that are made at their first use, never change and are kept until the process ends, so that any
/// thread may read them without a lock.
#pragma once

#include "platform/posix/memory/allocator.h"
#include "platform/posix/support/c_library.h"

#include <atomic>
#include <new>
#include <utility>

namespace Tarn::Platform::Posix {

template<class T>
class KeptObjects {
public:
    /// The object of the last call; null before the first.
    const T* Latest() const {
        const Node* node = latest.load(std::memory_order_acquire);
        return node == nullptr ? nullptr : &node->object;
    }

    /// The object that `fits` accepts; if there is none, the one that `make` returns, under the C library's
    /// lock.
    template<class Fits, class Make>
    const T& Get(Fits fits, Make make) {
        const T* object = Latest();
        return object != nullptr && fits(*object) ? *object : search(fits, make);
    }

private:
    struct Node {
        T object;
        const Node* next;
    };

    std::atomic<const Node*> latest = nullptr;
    const Node* all = nullptr;

    template<class Fits, class Make>
    const T& search(Fits fits, Make make) {
        const CLibraryGuard guard(cLibraryLock);
        const Node* node = all;
        while (node != nullptr && !fits(node->object))
            node = node->next;
        if (node == nullptr) {
            node = New<Node>(Node{make(), all});
            if (node == nullptr)
                throw std::bad_alloc();
            all = node;
        }
        latest.store(node, std::memory_order_release);
        return node->object;
    }
};

} // namespace Tarn::Platform::Posix
