// Runs the static constructors of a client module where an exception from them can be caught.
//
// Linked into every client module. The module's start-up code calls the functions in a table built by the
// compiler (.ctors) one after the other, the last one first. That is the one defined here: while `LoadDLL`
// loads the module, it calls the others itself and leaves nothing else to do.
#include "runtime/static_constructors.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>

extern "C" {
using TConstructor = void (*)();
// The table: an entry that is not a function, the constructors, and null. Defined by the linker.
extern TConstructor __CTOR_LIST__[];
}

namespace Tarn {
namespace {

void runConstructors();
// 65535 comes after every priority that a program can give to an object: the table counts them backwards.
[[gnu::used, gnu::section(".ctors.65535")]] TConstructor lastConstructor = runConstructors;

void doNothing() {}

void runConstructors() {
    if (!IsLoadingModule())
        return; // the start-up code goes on with the others
    TConstructor* const first = __CTOR_LIST__ + 1;
    TConstructor* end = first;
    while (*end != nullptr)
        end++;
    const auto size = static_cast<std::size_t>(end - first) * sizeof(TConstructor);
    // Some linkers put the table next to the code, which must stay executable meanwhile.
    DWORD protection;
    if (!VirtualProtect(first, size, PAGE_EXECUTE_READWRITE, &protection))
        return;
    for (TConstructor* entry = std::find(first, end, &runConstructors); entry-- > first;) {
        const TConstructor constructor = *entry;
        *entry = doNothing;
        RunStaticConstructor(constructor);
    }
    VirtualProtect(first, size, protection, &protection);
}

} // namespace

void LinkStaticConstructors() {}

} // namespace Tarn
