#include "platform/posix/files/handles.h"

#include <cstdint>
#include <cstdlib>
#include <mutex>

namespace Tarn::Platform::Posix {

namespace {

// A handle: how often its place was used, above 16 bits of the place's number counted from 1. Place 0xFFFF
// stays free, so no handle is null or the invalid one.
constexpr unsigned kPlaceBits = 16;
constexpr std::size_t kMostPlaces = 0xFFFD;
constexpr std::size_t kFirstPlaces = 64;
constexpr std::size_t kNoPlace = static_cast<std::size_t>(-1);

struct Place {
    HandleObject* object;
    std::uintptr_t uses;
    std::size_t nextFree;
};

// The table is never given back: a static object of a client may close its files after everything else.
constinit std::mutex tableMutex;
constinit Place* places = nullptr;
constinit std::size_t placeCount = 0;
constinit std::size_t firstFree = kNoPlace;

bool growTable() {
    const std::size_t count = placeCount == 0 ? kFirstPlaces : placeCount * 2;
    const std::size_t limited = count < kMostPlaces ? count : kMostPlaces;
    if (limited == placeCount)
        return false;
    void* memory = std::realloc(places, limited * sizeof(Place));
    if (memory == nullptr)
        return false;
    places = static_cast<Place*>(memory);
    for (std::size_t i = placeCount; i < limited; i++)
        places[i] = {nullptr, 0, i + 1 < limited ? i + 1 : kNoPlace};
    firstFree = placeCount;
    placeCount = limited;
    return true;
}

std::uintptr_t valueOf(std::size_t index) { return places[index].uses << kPlaceBits | (index + 1); }

/// The place of a live handle of that kind, or null.
Place* find(HANDLE handle, HandleObject::Kind kind) {
    const std::uintptr_t value = reinterpret_cast<std::uintptr_t>(handle);
    const std::size_t index = (value & ((1U << kPlaceBits) - 1)) - 1;
    if (index >= placeCount || valueOf(index) != value)
        return nullptr;
    Place& place = places[index];
    return place.object != nullptr && place.object->kind == kind ? &place : nullptr;
}

} // namespace

HANDLE NewHandle(HandleObject* object) {
    const std::lock_guard lock(tableMutex);
    if (firstFree == kNoPlace && !growTable())
        return nullptr;
    const std::size_t index = firstFree;
    firstFree = places[index].nextFree;
    places[index].object = object;
    places[index].uses++;
    return reinterpret_cast<HANDLE>(valueOf(index));
}

HandleObject* HoldObject(HANDLE handle, HandleObject::Kind kind) {
    const std::lock_guard lock(tableMutex);
    Place* place = find(handle, kind);
    if (place == nullptr)
        return nullptr;
    place->object->holders++;
    return place->object;
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
    Place* place = find(handle, kind);
    if (place == nullptr)
        return nullptr;
    HandleObject* object = place->object;
    place->object = nullptr;
    place->nextFree = firstFree;
    firstFree = static_cast<std::size_t>(place - places);
    return object;
}

} // namespace Tarn::Platform::Posix
