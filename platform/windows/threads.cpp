// The pointer of each thread, and thread-local indexes.
#include "platform/platform.h"
#include "platform/thread_pointer.h"

namespace Tarn::Platform {

constinit DWORD threadPointerIndex = TLS_OUT_OF_INDEXES;

namespace {

// An index of the other kind holds the pointer too, for the call at the end of the thread.
constinit DWORD callIndex = FLS_OUT_OF_INDEXES;
using EndOfThread = void (*)(void*);
constinit EndOfThread endOfThread = nullptr;

void CALLBACK callAtThreadEnd(void* pointer) {
    if (endOfThread != nullptr)
        endOfThread(pointer);
}

} // namespace

bool AttachThreadPointer(void (*atThreadEnd)(void*)) {
    threadPointerIndex = ::TlsAlloc();
    callIndex = ::FlsAlloc(callAtThreadEnd);
    if (threadPointerIndex == TLS_OUT_OF_INDEXES || callIndex == FLS_OUT_OF_INDEXES) {
        DetachThreadPointer();
        return false;
    }
    endOfThread = atThreadEnd;
    return true;
}

void DetachThreadPointer() {
    endOfThread = nullptr; // giving the index back calls for every thread
    if (callIndex != FLS_OUT_OF_INDEXES)
        ::FlsFree(callIndex);
    if (threadPointerIndex != TLS_OUT_OF_INDEXES)
        ::TlsFree(threadPointerIndex);
    callIndex = FLS_OUT_OF_INDEXES;
    threadPointerIndex = TLS_OUT_OF_INDEXES;
}

bool SetThreadPointer(void* pointer) {
    return threadPointerIndex != TLS_OUT_OF_INDEXES && ::FlsSetValue(callIndex, pointer) &&
           ::TlsSetValue(threadPointerIndex, pointer);
}

void* GetDistantThreadPointer() {
    if (threadPointerIndex == TLS_OUT_OF_INDEXES)
        return nullptr;
    const DWORD lastError = ::GetLastError();
    void* const pointer = ::TlsGetValue(threadPointerIndex);
    ::SetLastError(lastError);
    return pointer;
}

DWORD TlsAlloc() { return ::TlsAlloc(); }

BOOL TlsFree(DWORD index) { return ::TlsFree(index); }

void* TlsGetValue(DWORD index) { return ::TlsGetValue(index); }

BOOL TlsSetValue(DWORD index, void* value) { return ::TlsSetValue(index, value); }

} // namespace Tarn::Platform
