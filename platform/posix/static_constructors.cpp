// Runs the static constructors of a client module where an exception from them can be caught.
//
// Linked into every client module. The loader calls the functions in a table of the module (.init_array) one
// after the other. The first is the one defined here: while `LoadDLL` loads the module, it calls the others
// itself and leaves nothing for the loader to do.
#include "runtime/static_constructors.h"

#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <span>

extern "C" {
// The beginning of this module in memory. Defined by the linker.
[[gnu::visibility("hidden")]] extern const ElfW(Ehdr) __ehdr_start;
}

namespace Tarn {
namespace {

using TConstructor = void (*)(int argc, char** argv, char** environment);

void runConstructors(int argc, char** argv, char** environment);
// 00000 comes before every priority that a program can give to an object.
[[gnu::used, gnu::section(".init_array.00000")]] TConstructor firstConstructor = runConstructors;

void doNothing(int, char**, char**) {}

// An address in the file, converted to the address in this process.
std::uintptr_t addressOf(std::uintptr_t inFile) {
    return reinterpret_cast<std::uintptr_t>(&__ehdr_start) + inFile;
}

const ElfW(Phdr) * findSegment(unsigned type) {
    const auto* const first = reinterpret_cast<const ElfW(Phdr)*>(addressOf(__ehdr_start.e_phoff));
    for (const ElfW(Phdr) & segment : std::span(first, __ehdr_start.e_phnum))
        if (segment.p_type == type)
            return &segment;
    return nullptr;
}

std::span<TConstructor> findConstructors() {
    TConstructor* table = nullptr;
    std::size_t size = 0;
    if (const ElfW(Phdr)* segment = findSegment(PT_DYNAMIC)) {
        const auto* entry = reinterpret_cast<const ElfW(Dyn)*>(addressOf(segment->p_vaddr));
        for (; entry->d_tag != DT_NULL; entry++) {
            if (entry->d_tag == DT_INIT_ARRAY)
                table = reinterpret_cast<TConstructor*>(addressOf(entry->d_un.d_ptr));
            if (entry->d_tag == DT_INIT_ARRAYSZ)
                size = entry->d_un.d_val / sizeof(TConstructor);
        }
    }
    return {table, table != nullptr ? size : 0};
}

// Makes the pages that the loader has made read-only, among them the table, writable for a scope.
class CWritableTables {
public:
    CWritableTables() {
        if (const ElfW(Phdr)* segment = findSegment(PT_GNU_RELRO)) {
            const auto pageMask = ~(static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE)) - 1);
            begin = addressOf(segment->p_vaddr) & pageMask;
            size = (addressOf(segment->p_vaddr + segment->p_memsz) & pageMask) - begin;
        }
        isWritable = protect(PROT_READ | PROT_WRITE);
    }
    ~CWritableTables() { protect(PROT_READ); }

    CWritableTables(const CWritableTables&) = delete;
    CWritableTables& operator=(const CWritableTables&) = delete;

    bool IsWritable() const { return isWritable; }

private:
    std::uintptr_t begin = 0;
    std::size_t size = 0;
    bool isWritable;

    bool protect(int protection) const {
        return size == 0 || mprotect(reinterpret_cast<void*>(begin), size, protection) == 0;
    }
};

// The caller's registers. A module runs its constructors only once, so one buffer is enough.
std::jmp_buf registers;

// Compilers assume that no exception leaves a static constructor, so one that always throws may not preserve
// its caller's registers (GCC on ARM). They are saved before each constructor and restored after a failure.
[[gnu::noinline]] void runGuarded(TConstructor constructor, int argc, char** argv, char** environment) {
    if (setjmp(registers) != 0)
        return;
    RunStaticConstructor([=] { constructor(argc, argv, environment); });
    if (HasModuleLoadFailed())
        std::longjmp(registers, 1);
}

void runConstructors(int argc, char** argv, char** environment) {
    if (!IsLoadingModule())
        return; // the loader goes on with the others
    const std::span<TConstructor> table = findConstructors();
    const CWritableTables writable;
    if (!writable.IsWritable())
        return;
    for (auto entry = std::find(table.begin(), table.end(), &runConstructors); entry != table.end();
         ++entry) {
        const TConstructor constructor = *entry;
        *entry = doNothing;
        if (constructor != runConstructors)
            runGuarded(constructor, argc, argv, environment);
    }
}

} // namespace

void LinkStaticConstructors() {}

} // namespace Tarn
