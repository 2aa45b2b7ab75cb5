// The pointer of each thread, and thread-local indexes, which are keys of the system's threads.
#include "platform/platform.h"
#include "platform/thread_pointer.h"

#include <cerrno>
#include <climits>
#include <pthread.h>

namespace Tarn::Platform {

constinit thread_local void* threadPointer = nullptr;

namespace {

// A key holds the pointer too, for the call at the end of the thread.
constinit bool hasKey = false;
constinit pthread_key_t key;

} // namespace

bool AttachThreadPointer(void (*atThreadEnd)(void*)) {
    hasKey = pthread_key_create(&key, atThreadEnd) == 0;
    return hasKey;
}

void DetachThreadPointer() {
    if (hasKey)
        pthread_key_delete(key);
    hasKey = false;
}

bool SetThreadPointer(void* pointer) {
    if (!hasKey || pthread_setspecific(key, pointer) != 0)
        return false;
    threadPointer = pointer;
    return true;
}

DWORD TlsAlloc() {
    pthread_key_t index;
    if (pthread_key_create(&index, nullptr) == 0)
        return index;
    SetLastError(ERROR_NO_MORE_ITEMS);
    return TLS_OUT_OF_INDEXES;
}

BOOL TlsFree(DWORD index) {
    if (pthread_key_delete(index) == 0)
        return TRUE;
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

void* TlsGetValue(DWORD index) {
    SetLastError(index < PTHREAD_KEYS_MAX ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER);
    return pthread_getspecific(index);
}

BOOL TlsSetValue(DWORD index, void* value) {
    const int failure = pthread_setspecific(index, value);
    if (failure == 0)
        return TRUE;
    SetLastError(failure == ENOMEM ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER);
    return FALSE;
}

} // namespace Tarn::Platform
