#include "memory/thread_state.h"

#include "platform/platform.h"

#include <new>

namespace Tarn {

namespace {

void dispose(CThreadState* state) {
    ReturnBodyBlocks(*state);
    FreeThreadSlots(*state);
    Platform::HeapFree(Platform::GetProcessHeap(), state);
}

void endThread(void* pointer) {
    Platform::SetThreadPointer(nullptr);
    dispose(static_cast<CThreadState*>(pointer));
}

} // namespace

CThreadState* MakeThreadState() {
    void* const memory = Platform::HeapAlloc(Platform::GetProcessHeap(), sizeof(CThreadState));
    if (memory == nullptr)
        return nullptr;
    auto* const state = ::new (memory) CThreadState;
    if (Platform::SetThreadPointer(state))
        return state;
    Platform::HeapFree(Platform::GetProcessHeap(), memory);
    return nullptr;
}

void AttachThreadStates() {
    if (!Platform::AttachThreadPointer(endThread))
        Platform::OutputDebugStringW(u"Not enough TLS indices\n");
}

void DetachThreadStates() {
    if (CThreadState* state = FindThreadState())
        endThread(state);
    Platform::DetachThreadPointer();
}

} // namespace Tarn
