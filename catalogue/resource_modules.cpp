#include "catalogue/resource_registry.h"
#include "memory/process_mutex.h"
#include "platform/fork.h"
#include "platform/platform.h"
#include "runtime/registered_modules.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/text_of_values.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>

namespace Tarn {

namespace {

constexpr char16_t kSource[] = u"ResourceInfo";
constexpr char16_t kLibraryExtension[] = u".dll";
constexpr int kTypeString = 6;
constexpr int kOriginalLanguage = 0;

// A registry that lookups read, or read until it was replaced.
struct CPublishedRegistry {
    CResourceRegistry registry;
    CPublishedRegistry* older = nullptr;
};

constinit std::atomic<CPublishedRegistry*> published{nullptr};
constinit CProcessMutex changeMutex; // held by the one who replaces it
constinit CGracePeriod lookups;

// Applies `change` to a copy of the registry, which then takes its place. Throws, with nothing changed, when
// `change` does or there is no memory. `change` must not run code of other modules. Does not wait for
// lookups: those may be waiting for the system's lock of loading, which a module that registers itself holds.
template<class Change>
void changeRegistry(Change change) {
    CMemoryManagerSwitcher toDefault(nullptr); // outlives every caller
    const std::lock_guard guard(changeMutex);
    CPublishedRegistry* const old = published.load(std::memory_order_relaxed);
    auto fresh = std::make_unique<CPublishedRegistry>();
    if (old != nullptr)
        fresh->registry = old->registry;
    change(fresh->registry);
    fresh->older = old;
    published.store(fresh.release());
}

// Waits until all lookups read the present registry, and deletes the older ones. Under `moduleMutex`.
void completeChanges() {
    CPublishedRegistry* old = nullptr;
    {
        const std::lock_guard guard(changeMutex);
        if (CPublishedRegistry* const present = published.load(std::memory_order_relaxed))
            old = std::exchange(present->older, nullptr);
    }
    lookups.Wait();
    while (old != nullptr)
        delete std::exchange(old, old->older);
}

// Asks the system for what may not exist. What there was no memory to look for may well exist.
template<class Ask>
auto askSystem(Ask ask) {
    Platform::SetLastError(ERROR_SUCCESS); // a call that finds nothing need not set it
    const auto found = ask();
    if (!found && Platform::GetLastError() == ERROR_NOT_ENOUGH_MEMORY)
        ThrowMemoryException();
    return found;
}

template<class Function>
Function findExport(HINSTANCE module, const char16_t* name) {
    if (module == nullptr) {
        GenAssert(kSource, 90);
        return nullptr;
    }
    const FARPROC address = askSystem([&] { return Platform::GetProcAddressW(module, name); });
    return reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

// Whether a language does without this library, for good: otherwise it must not be taken for complete.
bool isNoLibrary(DWORD code) {
    constexpr DWORD kReasons[] = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED,
                                  ERROR_MOD_NOT_FOUND,  ERROR_PROC_NOT_FOUND, ERROR_BAD_EXE_FORMAT,
                                  ERROR_DLL_INIT_FAILED};
    return std::find(std::begin(kReasons), std::end(kReasons), code) != std::end(kReasons);
}

// Null if there is no such library. Throws when it cannot be loaded at present.
HINSTANCE loadLanguageLibrary(const CUnicodeString& name) {
    const DWORD attributes = Platform::GetFileAttributesW(name);
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            return nullptr;
        if (const HINSTANCE module = LoadOwnedLibrary(name))
            return module;
    }
    const DWORD code = Platform::GetLastError();
    if (code == ERROR_NOT_ENOUGH_MEMORY)
        ThrowMemoryException();
    if (!isNoLibrary(code))
        ThrowFileException(code, name);
    return nullptr;
}

// Whether a module knows the name of a message. If so, `text` receives its text, empty if it cannot be
// loaded.
bool findText(HINSTANCE module, const CMessageExports& exports, const char16_t* name, CUnicodeString& text) {
    const int id = exports.GetResourceId(name);
    if (id != 0)
        LoadStringW(module, id, text);
    return id != 0;
}

// A language library that is not in the registry, loaded for a scope. The file may be missing.
class CLanguageLibrary {
public:
    explicit CLanguageLibrary(const CUnicodeString& name) : module(loadLanguageLibrary(name)) {
        try {
            if (module != nullptr)
                exports.Find(module);
        } catch (...) {
            FreeOwnedLibrary(module);
            throw;
        }
    }
    ~CLanguageLibrary() {
        if (module != nullptr)
            FreeOwnedLibrary(module);
    }

    CLanguageLibrary(const CLanguageLibrary&) = delete;
    CLanguageLibrary& operator=(const CLanguageLibrary&) = delete;

    /// The same as `findText`.
    bool Find(const char16_t* name, CUnicodeString& text) const {
        return findText(module, exports, name, text);
    }

private:
    HINSTANCE module;
    CMessageExports exports;
};

// The language code of a library whose name is exactly `prefix`, the code in decimal and the extension; -1
// for any other name.
int parseLanguageCode(const CUnicodeString& fileName, const CUnicodeString& prefix) {
    const int codeLength =
        fileName.GetLength() - prefix.GetLength() - CUnicodeString(kLibraryExtension).GetLength();
    if (codeLength < 1 || fileName.CompareSubstrNoCase(0, prefix, prefix.GetLength()) != 0 ||
        fileName.Mid(prefix.GetLength() + codeLength).CompareNoCase(kLibraryExtension) != 0)
        return -1;
    const CUnicodeString digits = fileName.Mid(prefix.GetLength(), codeLength);
    int code;
    const bool isCode = digits.Value(code, 10) && code >= 0 && code < kNumberOfLanguageCodes &&
                        UnicodeStr(code, 10) == digits; // no sign, no leading zeros
    return isCode ? code : -1;
}

bool isStringId(const char16_t* name) { return reinterpret_cast<std::uintptr_t>(name) <= 0xFFFF; }

bool holdsResource(HINSTANCE module, const char16_t* name, const char16_t* type) {
    if (type != ResourceId(kTypeString) || !isStringId(name))
        return askSystem([&] { return Platform::FindResourceW(module, name, type); }) != nullptr;
    CUnicodeString text;
    return LoadStringW(module, static_cast<int>(reinterpret_cast<std::uintptr_t>(name)), text);
}

// `findText` in a record of a registry whose language is `current`, as it would be if that were `language`.
bool findTextInLanguage(const CResourceRecord& record, int current, int language, const char16_t* name,
                        CUnicodeString& text) {
    if (record.IsFamily() && language != current)
        return CLanguageLibrary(record.LibraryName(language)).Find(name, text);
    return findText(record.module, record.exports, name, text);
}

void appendNames(const CResourceRecord& record, CArray<CUnicodeString, CurrentMemoryManager>& names) {
    const CMessageExports& exports = record.exports;
    if (record.module == nullptr || exports.numberOfMessages == nullptr || exports.getMessageName == nullptr)
        return;
    const int count = exports.numberOfMessages();
    for (int i = 0; i < count; i++)
        names.Add(CUnicodeString(exports.getMessageName(i)));
}

void showUnsupportedLanguage(int code) {
    const CUnicodeString text =
        CUnicodeString(u"The selected interface language (%0) is not supported in current code page of the "
                       u"system (%1).")
            .SubstParam(UnicodeStr(code, 10), UnicodeStr(Platform::GetACP(), 10));
    CMessageHandlerSwitcher::DoMessage(GetMainWindow(), text, GetAppTitle(), MB_OK | MB_ICONHAND);
}

} // namespace

// Records. -----------------------------------------------------------------------------------------------

void CMessageExports::Find(HINSTANCE module) {
    getResourceId = findExport<TGetResourceID>(module, u"GetResourceID");
    numberOfMessages = findExport<TNumberOfMessages>(module, u"NumberOfMessages");
    getMessageName = findExport<TGetMessageName>(module, u"GetMessageName");
}

CUnicodeString CResourceRecord::LibraryName(int language) const {
    return folder + prefix + UnicodeStr(language, 10) + kLibraryExtension;
}

void CResourceRecord::FindLanguages(bool (&isPresent)[kNumberOfLanguageCodes]) const {
    WIN32_FIND_DATAW found;
    const HANDLE search = Platform::FindFirstFileW(folder + prefix + u"*" + kLibraryExtension, &found);
    if (search == INVALID_HANDLE_VALUE)
        return;
    do {
        const int code = parseLanguageCode(reinterpret_cast<const char16_t*>(found.cFileName), prefix);
        if (code >= 0 && (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            isPresent[code] = true;
    } while (Platform::FindNextFileW(search, &found));
    Platform::FindClose(search);
}

// The registry. ------------------------------------------------------------------------------------------

void CResourceRegistry::AddLibrary(const CResourceRecord& record) {
    AddModule(record);
    std::rotate(records.begin(), records.end() - 1, records.end());
    libraryEnd++;
    programBegin = programEnd = records.Size();
}

void CResourceRegistry::AddProgramModule(const CResourceRecord& record) {
    AddModule(record);
    programEnd = records.Size();
}

void CResourceRegistry::Forget(HINSTANCE module, bool isUnlessLoaded) {
    for (int i = records.Size() - 1; i >= 0; i--) {
        const CMessageExports& exports = records[i].exports;
        if (records[i].IsFamily() || records[i].module != module)
            continue;
        const auto landmark = reinterpret_cast<const void*>(exports.getResourceId);
        if (isUnlessLoaded && landmark != nullptr && Platform::GetModuleHandleFromAddress(landmark) == module)
            continue;
        records.DeleteAt(i);
        for (int* const position : {&libraryEnd, &programBegin, &programEnd})
            if (*position > i)
                --*position;
    }
}

int CResourceRegistry::NumberOfFamilies() const {
    return static_cast<int>(
        std::count_if(records.begin(), records.end(), [](const CResourceRecord& r) { return r.IsFamily(); }));
}

int CResourceRegistry::familyIndex(int number) const {
    int index = 0;
    while (!records[index].IsFamily() || number-- > 0)
        index++;
    return index;
}

int CResourceRegistry::LanguageIndex(int code) const {
    return code < 0 || code >= kNumberOfLanguageCodes ? -1 : positions[code] - 1;
}

int CResourceRegistry::ChooseDefaultLanguage() const {
    if (codes.IsEmpty()) {
        GenAssert(kSource, 378);
        return -1;
    }
    const int systemLanguage = PrimaryLanguage(Platform::GetSystemDefaultLangID());
    int first = -1;
    int firstDisplayable = -1;
    int ofSystem = -1;
    for (int code = 0; code < kNumberOfLanguageCodes; code++) {
        if (LanguageIndex(code) < 0)
            continue;
        if (first < 0)
            first = code;
        if (!CanDisplayLanguage(code))
            continue;
        if (firstDisplayable < 0)
            firstDisplayable = code;
        if (PrimaryLanguage(GetSystemLanguageIdFromInterfaceCode(code)) == systemLanguage)
            ofSystem = code;
    }
    if (first < 0)
        GenAssert(kSource, 403);
    return ofSystem >= 0 ? ofSystem : firstDisplayable >= 0 ? firstDisplayable : first;
}

void CResourceRegistry::AddLanguage(int code, const CUnicodeString& name) {
    if (positions[code] == 0) {
        codes.Add(code);
        positions[code] = codes.Size();
    }
    if (names[code].IsEmpty())
        names[code] = name;
}

CResourceLookup::CResourceLookup() : reader(lookups), registry(nullptr) {
    if (const CPublishedRegistry* present = published.load())
        registry = &present->registry;
}

// Changes of the registry. -------------------------------------------------------------------------------

constinit CRecursiveProcessMutex moduleMutex;

namespace {

CResourceRecord recordOf(HINSTANCE module) {
    CResourceRecord record;
    record.module = module;
    record.exports.Find(module);
    return record;
}

int numberOfFamilies() {
    const CResourceLookup lookup;
    return lookup.HasRegistry() ? lookup->NumberOfFamilies() : 0;
}

CResourceRecord copyOfFamily(int number) {
    const CResourceLookup lookup;
    return lookup->Family(number);
}

int currentLanguage() {
    const CResourceLookup lookup;
    return lookup.HasRegistry() ? lookup->CurrentLanguage() : -1;
}

bool isSetUp() {
    const CResourceLookup lookup;
    return lookup.HasRegistry() && lookup->IsSetUp();
}

// Records with the libraries that they own, which are unloaded unless `Keep` is called.
class CLoadedLibraries {
public:
    CLoadedLibraries() = default;
    ~CLoadedLibraries() { unload(); }

    CLoadedLibraries(const CLoadedLibraries&) = delete;
    CLoadedLibraries& operator=(const CLoadedLibraries&) = delete;

    /// Adds the record with its library for the language, or without one if that does not exist.
    void Load(CResourceRecord record, int language) {
        records.Reserve(records.Size() + 1);
        const CUnicodeString name = record.LibraryName(language);
        record.module = loadLanguageLibrary(name);
        record.exports = CMessageExports();
        records.Add(record);
        if (record.module != nullptr)
            records.Last().exports.Find(record.module);
    }
    int Size() const { return records.Size(); }
    CResourceRecord& operator[](int index) { return records[index]; }
    void Keep() { records.DeleteAll(); }
    /// Unloads libraries that were in the registry.
    void UnloadAfterLookups() {
        if (std::none_of(records.begin(), records.end(),
                         [](const CResourceRecord& record) { return record.module != nullptr; }))
            return;
        completeChanges();
        unload();
    }

private:
    CArray<CResourceRecord, CurrentMemoryManager> records;

    void unload() {
        for (const CResourceRecord& record : records)
            if (record.module != nullptr)
                FreeOwnedLibrary(record.module);
        records.DeleteAll();
    }
};

void exchangeLibraries(CResourceRecord& a, CResourceRecord& b) {
    std::swap(a.module, b.module);
    std::swap(a.exports, b.exports);
}

// Adds the languages of a family, and its library of the original language.
void completeFamily(int number) {
    const CResourceRecord family = copyOfFamily(number);
    bool isPresent[kNumberOfLanguageCodes] = {};
    family.FindLanguages(isPresent);
    CUnicodeString names[kNumberOfLanguageCodes];
    for (int code = 0; code < kNumberOfLanguageCodes; code++)
        if (isPresent[code])
            CLanguageLibrary(family.LibraryName(code)).Find(CURRENT_LANGUAGE_NAME.Name(), names[code]);
    CLoadedLibraries original;
    original.Load(family, kOriginalLanguage);
    changeRegistry([&](CResourceRegistry& changed) {
        for (int code = 0; code < kNumberOfLanguageCodes; code++)
            if (isPresent[code])
                changed.AddLanguage(code, names[code]);
        if (original[0].module != nullptr)
            changed.AddOriginal(original[0]);
    });
    original.Keep();
}

// Loads the libraries of a language for the families from `first` on, and makes it the current one. Loading
// may run code that adds families, which are loaded as well.
void useLanguage(int code, int first) {
    CLoadedLibraries libraries;
    while (first + libraries.Size() < numberOfFamilies())
        libraries.Load(copyOfFamily(first + libraries.Size()), code);
    changeRegistry([&](CResourceRegistry& changed) {
        for (int i = 0; i < libraries.Size(); i++)
            exchangeLibraries(changed.Family(first + i), libraries[i]);
        changed.SetCurrentLanguage(code);
    });
    libraries.UnloadAfterLookups();
}

void setCurrentLanguage(int code) {
    if (code != currentLanguage())
        useLanguage(code, 0);
}

} // namespace

void AttachResourceModules() {
    Platform::KeepUsableAfterFork<changeMutex>();
    Platform::MakeNewAfterFork<moduleMutex>();
    Platform::MakeNewAfterFork<lookups>(); // the other threads' lookups end with the fork
}

void AddResourceLibrary(HINSTANCE module) {
    const CResourceRecord record = recordOf(module);
    changeRegistry([&](CResourceRegistry& changed) { changed.AddLibrary(record); });
}

void AddResourceProgramModule(HINSTANCE module) {
    const CResourceRecord record = recordOf(module);
    changeRegistry([&](CResourceRegistry& changed) { changed.AddProgramModule(record); });
}

void SetUpLanguages() {
    CMemoryManagerSwitcher toDefault(nullptr);
    const std::lock_guard guard(moduleMutex);
    for (int i = 0; i < numberOfFamilies(); i++)
        completeFamily(i);
    int language = -1;
    changeRegistry([&](CResourceRegistry& changed) {
        if (changed.NumberOfLanguages() == 0)
            changed.AddLanguage(kOriginalLanguage, CUnicodeString());
        changed.SetUp();
        language = changed.ChooseDefaultLanguage();
    });
    if (language >= 0)
        setCurrentLanguage(language);
}

void ForgetUnloadedResources(HINSTANCE module) {
    if (!CResourceLookup().HasRegistry())
        return;
    changeRegistry([&](CResourceRegistry& changed) { changed.Forget(module, true); });
    completeChanges();
}

void ForgetResources(HINSTANCE module) {
    if (!CResourceLookup().HasRegistry())
        return;
    changeRegistry([&](CResourceRegistry& changed) { changed.Forget(module, false); });
    completeChanges();
}

void ReleaseResourceModules() {
    const std::lock_guard guard(moduleMutex);
    completeChanges();
    std::unique_ptr<CPublishedRegistry> old;
    {
        const std::lock_guard changeGuard(changeMutex);
        old.reset(published.exchange(nullptr));
    }
    lookups.Wait();
    if (old == nullptr)
        return;
    for (const auto* const list : {&old->registry.Records(), &old->registry.Originals()})
        for (const CResourceRecord& record : *list)
            if (record.IsFamily() && record.module != nullptr)
                FreeOwnedLibrary(record.module);
}

// Modules and resources. ---------------------------------------------------------------------------------

void AddResourceModule(HINSTANCE module) {
    if (module == nullptr) {
        GenAssert(u"Tarnkit", 320);
        return;
    }
    const CResourceRecord record = recordOf(module);
    changeRegistry([&](CResourceRegistry& changed) { changed.AddModule(record); });
}

void AddResourceModule(const char16_t* fileName) {
    if (HINSTANCE module = LoadDLL(fileName))
        AddResourceModule(module);
}

void AddResourcePrefix(const char16_t* folder, const char16_t* prefix) {
    if (prefix == nullptr || *prefix == 0) {
        GenAssert(kSource, 33);
        return;
    }
    CUnicodeString path;
    if (folder != nullptr)
        path = folder;
    if (path.IsEmpty())
        path = FileSystem::GetEXEDir();
    FileSystem::MakeFullPath(path);
    CMemoryManagerSwitcher toDefault(nullptr);
    CResourceRecord record;
    record.prefix = prefix;
    record.folder = FileSystem::AddPathSeparator(path);
    const std::lock_guard guard(moduleMutex);
    int number = 0;
    changeRegistry([&](CResourceRegistry& changed) {
        number = changed.NumberOfFamilies();
        changed.AddModule(record);
    });
    if (isSetUp()) {
        completeFamily(number);
        useLanguage(currentLanguage(), number);
    }
}

namespace {

// The first registered module that has the resource; null if there is none.
HINSTANCE findResource(const CResourceLookup& lookup, const char16_t* name, const char16_t* type) {
    if (!lookup.HasRegistry())
        return nullptr;
    for (const bool isFamily : {true, false}) {
        if (isFamily && !lookup->IsSetUp())
            continue;
        for (const CResourceRecord& record : lookup->Records())
            if (record.IsFamily() == isFamily && record.module != nullptr &&
                holdsResource(record.module, name, type))
                return record.module;
    }
    for (const CResourceRecord& original : lookup->Originals())
        if (holdsResource(original.module, name, type))
            return original.module;
    return nullptr;
}

} // namespace

HINSTANCE FindResourceW(const char16_t* name, const char16_t* type) {
    return findResource(CResourceLookup(), name, type);
}

bool LoadStringW(HINSTANCE module, int id, CUnicodeString& text) {
    constexpr int kFirstBufferSize = 127;
    text.Empty();
    if (module == nullptr) {
        GenAssert(u"UnicodeString", 258);
        return false;
    }
    for (int size = kFirstBufferSize;; size *= 2) {
        CUnicodeString buffer;
        char16_t* const start = buffer.GetBuffer(size);
        const int length =
            askSystem([&] { return Platform::LoadStringW(module, static_cast<UINT>(id), start, size); });
        if (length >= size - 1)
            continue;
        buffer.ReleaseBuffer(length);
        if (length > 0)
            text = buffer.Ptr(); // a copy that is no larger than needed
        return !text.IsEmpty();
    }
}

bool LoadStringW(int id, CUnicodeString& text) {
    const CResourceLookup lookup;
    HINSTANCE module = findResource(lookup, ResourceId(id), ResourceId(kTypeString));
    if (module == nullptr) {
        text.Empty();
        return false;
    }
    return LoadStringW(module, id, text);
}

HINSTANCE LoadModule(const char16_t* name) {
    HINSTANCE module = LoadDLL(name);
    if (module == nullptr) {
        const DWORD lastError = Platform::GetLastError();
        GenCheck(ERR_CANT_LOAD_DLL, name, CLastErrorException::GetErrorText(lastError), u"");
    }
    return module;
}

// Languages. ---------------------------------------------------------------------------------------------

int NumberOfLanguages() {
    if (!isSetUp())
        GenAssert(kSource, 268);
    const CResourceLookup lookup;
    return lookup.HasRegistry() ? lookup->NumberOfLanguages() : 0;
}

int GetLanguageCode(int index) {
    if (!isSetUp())
        GenAssert(kSource, 274);
    int code = -1;
    {
        const CResourceLookup lookup;
        if (lookup.HasRegistry() && index >= 0 && index < lookup->NumberOfLanguages())
            code = lookup->LanguageCode(index);
    }
    if (code < 0)
        GenAssert(kSource, __LINE__);
    return code;
}

namespace {

int languageIndex(int code) {
    const CResourceLookup lookup;
    return lookup.HasRegistry() ? lookup->LanguageIndex(code) : -1;
}

} // namespace

int FindLanguageIndex(int code) {
    if (!isSetUp())
        GenAssert(kSource, 280);
    return languageIndex(code);
}

CUnicodeString GetLanguageDisplayName(int code) {
    {
        const CResourceLookup lookup;
        if (lookup.HasRegistry() && lookup->LanguageIndex(code) >= 0 && !lookup->LanguageName(code).IsEmpty())
            return lookup->LanguageName(code);
    }
    return UnicodeStr(code, 10);
}

int GetCurrentLanguageCode() {
    if (!isSetUp())
        GenAssert(kSource, 234);
    return currentLanguage();
}

void SetCurrentLanguageCode(int code) {
    if (languageIndex(code) < 0) {
        GenAssert(kSource, 240);
        return;
    }
    const std::lock_guard guard(moduleMutex);
    if (!CanDisplayLanguage(code)) {
        showUnsupportedLanguage(code);
        if (currentLanguage() >= 0)
            return;
        const CResourceLookup lookup;
        code = lookup->ChooseDefaultLanguage();
    }
    CMemoryManagerSwitcher toDefault(nullptr);
    setCurrentLanguage(code);
}

// Messages. ----------------------------------------------------------------------------------------------

namespace {

bool findMessage(const CResourceLookup& lookup, const char16_t* name, HINSTANCE& module, int& id) {
    module = nullptr;
    id = 0;
    return lookup.HasRegistry() && lookup->VisitForNames([&](const CResourceRecord& record, bool) {
        id = record.module == nullptr ? 0 : record.exports.GetResourceId(name);
        module = id == 0 ? nullptr : record.module;
        return id != 0;
    });
}

} // namespace

bool FindMessage(const char16_t* name, HINSTANCE& module, int& id) {
    return findMessage(CResourceLookup(), name, module, id);
}

bool LoadMessage(const char16_t* name, CUnicodeString& text) {
    CMemoryManagerSwitcher toDefault(nullptr);
    const CResourceLookup lookup;
    HINSTANCE module;
    int id;
    if (findMessage(lookup, name, module, id))
        return LoadStringW(module, id, text);
    text.Empty();
    return false;
}

bool LoadMessageInLanguage(const char16_t* name, int language, CUnicodeString& text) {
    text.Empty();
    // The libraries of the language may be loaded, which may change the registry: works on a copy of it.
    const std::lock_guard guard(moduleMutex);
    std::unique_ptr<const CResourceRegistry> copy;
    {
        const CResourceLookup lookup;
        if (!lookup.HasRegistry())
            return false;
        copy = std::make_unique<const CResourceRegistry>(*lookup);
    }
    copy->VisitForNames([&](const CResourceRecord& record, bool isOriginal) {
        return isOriginal ? findText(record.module, record.exports, name, text)
                          : findTextInLanguage(record, copy->CurrentLanguage(), language, name, text);
    });
    return !text.IsEmpty();
}

void AppendDefinedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names) {
    const CResourceLookup lookup;
    if (!lookup.HasRegistry())
        return;
    for (const auto* const list : {&lookup->Records(), &lookup->Originals()})
        for (const CResourceRecord& record : *list)
            appendNames(record, names);
}

} // namespace Tarn
