// Modules, implemented with the dynamic loader.
//
// A module handle is the loader's own, what `dlopen` returns. The loader trusts its callers, so that handles
// are checked first: the handle's file name is known from an earlier look at the list of modules, and opening
// that file once more must give the same handle. The reference that this takes keeps the module loaded while
// it is used, whatever other threads load and unload. The loader's own records are not read: only the loader
// knows when they change.
#include "platform/platform.h"
#include "platform/posix/files/library_files.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/support/fork_handlers.h"

#include <tarnkit/immortal.h>
#include <tarnkit/resource_strings.h>

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

namespace Tarn::Platform {
namespace {

using Posix::String;
using Posix::U16String;
using Posix::Vector;

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

/// The length of a name that the loader keeps. It calls back under a lock that the thread sanitizer does not
/// see; the sanitizer therefore does not check reads of the names, but it does check their terminators.
__attribute__((no_sanitize("thread"))) std::size_t lengthOf(const char* name) {
    std::size_t length = 0;
    while (name[length] != '\0')
        length++;
    return length;
}

/// Calls `visit` with the file name of one module after the other, the program's own being empty, until it
/// returns true. Modules are neither loaded nor unloaded meanwhile; `visit` must not use the loader.
template<class Visitor>
void visitModules(Visitor visit) {
    struct Visit {
        Visitor& visitor;
        bool noMemory;
    } data = {visit, false};
    auto underLock = [](dl_phdr_info* module, std::size_t, void* given) -> int {
        auto current = static_cast<Visit*>(given);
        try {
            return (current->visitor)({module->dlpi_name, lengthOf(module->dlpi_name)});
        } catch (const std::bad_alloc&) { // which must not pass through the loader
            current->noMemory = true;
            return 1;
        }
    };
    dl_iterate_phdr(underLock, &data);
    if (data.noMemory)
        throw std::bad_alloc();
}

/// A module that stays loaded for the duration of a scope; null if there is none.
class Pin {
public:
    Pin() = default;
    /// The module of this file, if it is loaded.
    explicit Pin(const String& name)
        : module(name.empty() ? nullptr : dlopen(name.c_str(), RTLD_NOW | RTLD_NOLOAD)), file(name) {}
    /// The program, which needs no reference.
    static Pin Program() {
        Pin pin;
        pin.module = mainMap();
        return pin;
    }
    Pin(Pin&& other) noexcept : module(std::exchange(other.module, nullptr)), file(std::move(other.file)) {}
    Pin& operator=(Pin&& other) noexcept {
        std::swap(module, other.module);
        file.swap(other.file);
        return *this;
    }
    ~Pin() {
        if (module != nullptr && module != mainMap())
            dlclose(module);
    }

    void* Module() const { return module; }
    explicit operator bool() const { return module != nullptr; }
    String File() const { return module == mainMap() ? Posix::ExecutableFile() : file; }

private:
    void* module = nullptr;
    String file;
};

/// The file names of the modules that were loaded when somebody last looked.
class KnownFiles {
public:
    /// Empty if the handle is not known.
    String Of(const void* module) {
        const std::lock_guard<std::mutex> guard(lock);
        for (const File& file : files)
            if (file.module == module)
                return file.name;
        return {};
    }

    /// Looks at the list of modules. The loader must not be asked under the lock, so that several threads may
    /// look at once; what one of them saw does not replace what another saw that began later.
    void Update() {
        const UInt64 look = nextLook();
        Vector<String> names;
        visitModules([&](std::string_view name) {
            names.emplace_back(name);
            return false;
        });
        Vector<File> found;
        for (String& name : names)
            if (const Pin pin(name); pin)
                found.push_back({pin.Module(), std::move(name)});
        const std::lock_guard<std::mutex> guard(lock);
        if (look > shownLook) {
            files.swap(found);
            shownLook = look;
        }
    }

    std::mutex lock; // for all below

private:
    struct File {
        void* module;
        String name;
    };

    UInt64 nextLook() {
        const std::lock_guard<std::mutex> guard(lock);
        return ++lastLook;
    }

    Vector<File> files;
    UInt64 lastLook = 0;
    UInt64 shownLook = 0; // the one that found the files
};

constinit Immortal<KnownFiles> knownFiles;

/// The module that has this handle; null, with the last error, if none has.
Pin pinned(HINSTANCE module) {
    if (module == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return {};
    }
    if (module == handleOf(mainMap()))
        return Pin::Program();
    for (const bool isLast : {false, true}) {
        if (Pin pin(knownFiles.object.Of(module)); pin && handleOf(pin.Module()) == module)
            return pin;
        if (!isLast)
            knownFiles.object.Update();
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return {};
}

/// The address of a symbol that the module itself defines.
void* ownSymbol(const Pin& module, const char* name) {
    void* address = dlsym(module.Module(), name);
    Dl_info information;
    void* owner = nullptr;
    if (address == nullptr || dladdr1(address, &information, &owner, RTLD_DL_LINKMAP) == 0 ||
        owner != module.Module())
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
    if (reason != nullptr && std::strstr(reason, "annot allocate memory") != nullptr)
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    // If the loader refuses a complete library, another one that it needs is missing.
    return fail(kind == Posix::LibraryKind::kProgram ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
}

/// The module whose file has this name, in any folder; the name may omit the extension ".dll".
HINSTANCE findLoadedByName(U16String name) {
    name = Posix::Fold(name);
    const U16String extended = name.find(u'.') == U16String::npos ? name + u".dll" : name;
    String path;
    bool isFound = false;
    visitModules([&](std::string_view current) {
        path = current.empty() ? Posix::ExecutableFile() : String(current);
        const U16String file = Posix::Fold(Posix::ToWide(Posix::LastOf(path)));
        isFound = file == name || file == extended;
        if (current.empty())
            path.clear();
        return isFound;
    });
    const Pin pin = !isFound ? Pin() : path.empty() ? Pin::Program() : Pin(path);
    return pin ? handleOf(pin.Module()) : fail(ERROR_MOD_NOT_FOUND);
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

/// The string table of a module; null, with the last error, if it has none. A null handle means the program.
class StringTable {
public:
    explicit StringTable(HINSTANCE handle) : module(handle == nullptr ? Pin::Program() : pinned(handle)) {
        if (!module)
            return;
        auto strings = static_cast<const CResourceStrings*>(ownSymbol(module, kStringTable));
        if (strings != nullptr && strings->version == CResourceStrings::kVersion)
            table = strings;
        else
            SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    }

    explicit operator bool() const { return table != nullptr; }
    const CResourceStrings& operator*() const { return *table; }
    const CResourceStrings* operator->() const { return table; }

private:
    const Pin module;
    const CResourceStrings* table = nullptr;
};

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

HRSRC findResource(HINSTANCE module, const char16_t* name, const char16_t* type) {
    const StringTable table(module);
    if (!table)
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

int loadString(HINSTANCE module, UINT id, char16_t* buffer, int size) {
    const StringTable table(module);
    if (!table)
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

constinit const Posix::ForkHandlers Posix::kModulesAtFork =
    Posix::HoldDuringFork<[]() -> std::mutex& { return knownFiles.object.lock; }>();

bool AreFileNamesCaseSensitive() { return true; }

HINSTANCE LoadLibraryW(const char16_t* name) {
    if (name == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    return guarded([&] { return load(name); });
}

// Loads even a library that is wanted only for its data: its tables are in its data segment.
HINSTANCE LoadLibraryExW(const char16_t* name, DWORD) { return LoadLibraryW(name); }

BOOL FreeLibrary(HINSTANCE module) {
    return guarded([&]() -> BOOL {
        const Pin pin = pinned(module);
        // The loader refuses to close modules that were never opened, such as those that the program is
        // linked with; they stay loaded, as they should.
        if (pin && pin.Module() != mainMap())
            dlclose(pin.Module());
        return static_cast<bool>(pin);
    });
}

FARPROC GetProcAddressW(HINSTANCE module, const char16_t* name) {
    return guarded([&]() -> FARPROC {
        const Pin pin = pinned(module);
        if (!pin)
            return nullptr;
        bool ordinal = reinterpret_cast<std::uintptr_t>(name) <= kLastOrdinal;
        void* address = ordinal ? nullptr : ownSymbol(pin, asciiOf(name).c_str());
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
    return guarded([&]() -> DWORD {
        const Pin pin = module == nullptr ? Pin::Program() : pinned(module);
        if (!pin)
            return 0;
        U16String path = Posix::ToWide(pin.File());
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
    return guarded([&] { return findResource(module, name, type); });
}

int LoadStringW(HINSTANCE module, UINT id, char16_t* buffer, int size) {
    if (buffer == nullptr || size <= 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    buffer[0] = 0;
    return guarded([&] { return loadString(module, id, buffer, size); });
}

const CResourceStrings* FindResourceStrings(HINSTANCE module) {
    return guarded([&] {
        const StringTable table(module);
        return table ? &*table : nullptr;
    });
}

} // namespace Tarn::Platform
