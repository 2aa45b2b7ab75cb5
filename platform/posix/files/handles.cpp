#include "platform/posix/files/handles.h"

#include "platform/posix/support/handle_table.h"

namespace Tarn::Platform::Posix {

namespace {

constinit std::mutex tableMutex;
constinit HandleTable<HandleObject*> table;

/// The object of an open handle of that kind, or null.
HandleObject* find(HANDLE handle, HandleObject::Kind kind) {
    HandleObject** object = table.Find(handle);
    return object != nullptr && (*object)->kind == kind ? *object : nullptr;
}

} // namespace

constinit const ForkHandlers kHandlesAtFork = {
    [] { tableMutex.lock(); },
    [] { tableMutex.unlock(); },
    [] {
        table.ForEach([](HandleObject* object) { object->Inherit(); });
        tableMutex.unlock();
    },
};

HANDLE NewHandle(HandleObject* object) {
    const std::lock_guard lock(tableMutex);
    return table.Open(object);
}

HandleObject* HoldObject(HANDLE handle, HandleObject::Kind kind) {
    const std::lock_guard lock(tableMutex);
    HandleObject* object = find(handle, kind);
    if (object != nullptr)
        object->holders++;
    return object;
}

DWORD LetGo(HandleObject* object) {
    if (--object->holders != 0)
        return ERROR_SUCCESS;
    const DWORD code = object->Shut();
    Delete(object);
    return code;
}

HandleObject* RemoveHandle(HANDLE handle, HandleObject::Kind kind) {
    const std::lock_guard lock(tableMutex);
    HandleObject* object = find(handle, kind);
    if (object != nullptr)
        table.Close(handle);
    return object;
}

} // namespace Tarn::Platform::Posix
