// Modules, implemented with the dynamic loader.
//
// A module handle is the loader's own: what `dlopen` returns and the loader's list of modules contains.
// Handles are checked against that list before they are passed to the loader, which trusts its callers.
#include "platform/platform.h"
#include "platform/posix/files/library_files.h"
#include "platform/posix/files/paths.h"

#include <tarnkit/resource_strings.h>

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

namespace Tarn::Platform {
namespace {

using Posix::String;
using Posix::U16String;

constexpr const char* kStringTable = "___TarnkitStrings";
constexpr std::uintptr_t kLastOrdinal = 0xFFFF;
constexpr int kStringsInBlock = 16; // a string resource of Windows has this many consecutive ids

HINSTANCE fail(DWORD code) {
    SetLastError(code);
    return nullptr;
}

HINSTANCE handleOf(const void* module) { return static_cast<HINSTANCE>(const_cast<void*>(module)); }

constinit std::atomic<link_map*> mainModule = nullptr;

/// The program itself, the first in the loader's list. One reference to it is taken and kept.
link_map* mainMap() {
    link_map* map = mainModule.load(std::memory_order_acquire);
    if (map == nullptr) {
        map = static_cast<link_map*>(dlopen(nullptr, RTLD_NOW));
        mainModule.store(map, std::memory_order_release);
    }
    return map;
}

/// Calls `visit` with one module after the other until it returns true. The loader's list does not change
/// meanwhile; `visit` must not load modules.
template<class Visitor>
void visitModules(Visitor visit) {
    auto underLock = [](dl_phdr_info*, std::size_t, void* data) {
        auto wanted = static_cast<Visitor*>(data);
        for (link_map* map = mainModule.load(std::memory_order_acquire); map != nullptr; map = map->l_next)
            if ((*wanted)(map))
                break;
        return 1;
    };
    if (mainMap() != nullptr)
        dl_iterate_phdr(underLock, &visit);
}

/// The loader's record of a handle; null, with the last error, if no module has that handle.
link_map* mapOf(HINSTANCE module) {
    link_map* found = nullptr;
    visitModules([&](link_map* map) {
        if (static_cast<void*>(map) == static_cast<void*>(module))
            found = map;
        return found != nullptr;
    });
    if (found == nullptr)
        SetLastError(module == nullptr ? ERROR_INVALID_HANDLE : ERROR_MOD_NOT_FOUND);
    return found;
}

/// The address of a symbol that the module itself defines.
void* ownSymbol(link_map* map, const char* name) {
    // The loader searches only modules that were opened; one loaded as a dependency may not have been. List
    // entries that are not files, such as the kernel's page, cannot be opened at all.
    void* opened = map == mainMap() ? map : dlopen(map->l_name, RTLD_NOW | RTLD_NOLOAD);
    void* address = opened == map ? dlsym(opened, name) : nullptr;
    if (opened != nullptr && opened != mainMap())
        dlclose(opened);
    Dl_info information;
    void* owner = nullptr;
    if (address == nullptr || dladdr1(address, &information, &owner, RTLD_DL_LINKMAP) == 0 || owner != map)
        return nullptr;
    return address;
}

/// The name of an export in ASCII; other units become '?', so that the name is not found.
String asciiOf(const char16_t* name) {
    String result;
    for (; *name != 0; name++)
        result.push_back(*name < 0x80 ? static_cast<char>(*name) : '?');
    return result;
}

String fileOf(const link_map* map) {
    return map == mainMap() ? Posix::ExecutableFile() : String(map->l_name);
}

HINSTANCE load(const char16_t* name) {
    String path = Posix::FindLibraryFile(name);
    if (path.empty())
        return fail(ERROR_MOD_NOT_FOUND);
    if (Posix::IsExecutableFile(path))
        return handleOf(mainMap());
    Posix::LibraryKind kind;
    if (DWORD code = Posix::CheckLibraryFile(path, &kind); code != ERROR_SUCCESS)
        return fail(code);
    if (void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
        return handleOf(module);
    const char* reason = dlerror();
    if (reason != nullptr && std::strstr(reason, "undefined symbol") != nullptr)
        return fail(ERROR_PROC_NOT_FOUND);
    // If the loader refuses a complete library, another one that it needs is missing.
    return fail(kind == Posix::LibraryKind::kProgram ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
}

/// The module whose file has this name, in any folder; the name may omit the extension ".dll".
HINSTANCE findLoadedByName(U16String name) {
    name = Posix::Fold(name);
    const U16String extended = name.find(u'.') == U16String::npos ? name + u".dll" : name;
    link_map* found = nullptr;
    bool noMemory = false;
    visitModules([&](link_map* map) {
        try {
            U16String file = Posix::Fold(Posix::ToWide(Posix::LastOf(fileOf(map))));
            if (file == name || file == extended)
                found = map;
        } catch (const std::bad_alloc&) { // which must not pass through the loader
            noMemory = true;
        }
        return found != nullptr || noMemory;
    });
    if (found == nullptr)
        return fail(noMemory ? ERROR_NOT_ENOUGH_MEMORY : ERROR_MOD_NOT_FOUND);
    return handleOf(found);
}

HINSTANCE findLoaded(const char16_t* name) {
    if (U16String(name).find_first_of(u"\\/") == U16String::npos)
        return findLoadedByName(name);
    String path = Posix::FindLibraryFile(name);
    if (!path.empty() && Posix::IsExecutableFile(path))
        return handleOf(mainMap());
    void* module = path.empty() ? nullptr : dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (module == nullptr)
        return fail(ERROR_MOD_NOT_FOUND);
    dlclose(module); // the reference just taken
    return handleOf(module);
}

/// Copies as much of `text` as there is room for, and a terminator; returns the number of units copied.
DWORD copyCut(const U16String& text, char16_t* buffer, DWORD size) {
    DWORD count = static_cast<DWORD>(std::min<std::size_t>(text.size(), size - 1));
    std::copy_n(text.data(), count, buffer);
    buffer[count] = 0;
    return count;
}

/// The string table of a module; null, with the last error, if it has none.
const CResourceStrings* stringsOf(HINSTANCE module) {
    link_map* map = module == nullptr ? mainMap() : mapOf(module);
    if (map == nullptr)
        return nullptr;
    auto strings = static_cast<const CResourceStrings*>(ownSymbol(map, kStringTable));
    if (strings != nullptr && strings->version == CResourceStrings::kVersion)
        return strings;
    SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return nullptr;
}

/// The first string of a table whose id is not below `id`.
const CResourceString* stringFrom(const CResourceStrings& table, int id) {
    return std::lower_bound(table.strings, table.strings + table.count, id,
                            [](const CResourceString& string, int wanted) { return string.id < wanted; });
}

/// The number of a resource name or type that is an ordinal or text such as "#12"; -1 for any other.
int resourceNumber(const char16_t* name) {
    auto number = reinterpret_cast<std::uintptr_t>(name);
    if (number <= kLastOrdinal)
        return static_cast<int>(number);
    if (*name != u'#')
        return -1;
    int value = 0;
    while (*++name >= u'0' && *name <= u'9' && value <= static_cast<int>(kLastOrdinal))
        value = value * 10 + (*name - u'0');
    return *name == 0 && value <= static_cast<int>(kLastOrdinal) ? value : -1;
}

/// Runs the body of a call that allocates; 0 or null, with the last error, if there is no memory.
template<class Body>
auto guarded(Body body) noexcept -> decltype(body()) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return {};
    }
}

} // namespace

bool AreFileNamesCaseSensitive() { return true; }

HINSTANCE LoadLibraryW(const char16_t* name) {
    if (name == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    return guarded([&] { return load(name); });
}

// Loads even a library that is wanted only for its data: its tables are in its data segment.
HINSTANCE LoadLibraryExW(const char16_t* name, DWORD) { return LoadLibraryW(name); }

BOOL FreeLibrary(HINSTANCE module) {
    link_map* map = mapOf(module);
    if (map == nullptr)
        return FALSE;
    // The loader refuses to close modules that were never opened, such as those that the program is linked
    // with; they stay loaded, as they should.
    if (map != mainMap())
        dlclose(map);
    return TRUE;
}

FARPROC GetProcAddressW(HINSTANCE module, const char16_t* name) {
    link_map* map = mapOf(module);
    if (map == nullptr)
        return nullptr;
    return guarded([&]() -> FARPROC {
        bool ordinal = reinterpret_cast<std::uintptr_t>(name) <= kLastOrdinal;
        void* address = ordinal ? nullptr : ownSymbol(map, asciiOf(name).c_str());
        if (address == nullptr)
            SetLastError(ERROR_PROC_NOT_FOUND);
        return reinterpret_cast<FARPROC>(address);
    });
}

HINSTANCE GetModuleHandleW(const char16_t* name) {
    if (name == nullptr)
        return handleOf(mainMap());
    return guarded([&] { return findLoaded(name); });
}

HINSTANCE GetModuleHandleFromAddress(const void* address) {
    Dl_info information;
    void* map = nullptr;
    if (dladdr1(address, &information, &map, RTLD_DL_LINKMAP) == 0 || map == nullptr)
        return fail(ERROR_MOD_NOT_FOUND);
    return handleOf(map);
}

DWORD GetModuleFileNameW(HINSTANCE module, char16_t* name, DWORD size) {
    link_map* map = module == nullptr ? mainMap() : mapOf(module);
    if (map == nullptr)
        return 0;
    return guarded([&]() -> DWORD {
        U16String path = Posix::ToWide(fileOf(map));
        if (size <= path.size())
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
        if (size == 0)
            return 0;
        DWORD count = copyCut(path, name, size);
        return size <= path.size() ? size : count;
    });
}

DWORD SearchLibraryPathW(const char16_t* name, DWORD size, char16_t* path) {
    return guarded([&]() -> DWORD {
        U16String found = name == nullptr ? U16String() : Posix::ToWide(Posix::FindLibraryFile(name));
        if (found.empty())
            SetLastError(ERROR_MOD_NOT_FOUND);
        if (found.empty() || size <= found.size())
            return found.empty() ? 0 : static_cast<DWORD>(found.size() + 1);
        return copyCut(found, path, size);
    });
}

HRSRC FindResourceW(HINSTANCE module, const char16_t* name, const char16_t* type) {
    const CResourceStrings* table = stringsOf(module);
    if (table == nullptr)
        return nullptr;
    static const int kStringType = resourceNumber(RT_STRING);
    int number = resourceNumber(name);
    const CResourceString* first = nullptr;
    if (resourceNumber(type) != kStringType) {
        SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
        return nullptr;
    }
    if (number > 0)
        first = stringFrom(*table, (number - 1) * kStringsInBlock);
    if (first == nullptr || first == table->strings + table->count || first->id >= number * kStringsInBlock) {
        SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
        return nullptr;
    }
    return reinterpret_cast<HRSRC>(const_cast<CResourceString*>(first));
}

int LoadStringW(HINSTANCE module, UINT id, char16_t* buffer, int size) {
    if (buffer == nullptr || size <= 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    buffer[0] = 0;
    const CResourceStrings* table = stringsOf(module);
    if (table == nullptr)
        return 0;
    auto wanted = static_cast<int>(id & kLastOrdinal);
    const CResourceString* string = stringFrom(*table, wanted);
    if (string == table->strings + table->count || string->id != wanted) {
        SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
        return 0;
    }
    int count = std::min(string->length, size - 1);
    std::copy_n(string->text, count, buffer);
    buffer[count] = 0;
    return count;
}

} // namespace Tarn::Platform
