#include "catalogue/resource_registry.h"
#include "errors/ask_platform.h"
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
constexpr int kLastStringId = 0xFFFF;
constexpr int kOriginalLanguage = 0;
constexpr int kMostKept = 16;

constinit std::atomic<CPublishedRegistry*> published{nullptr};
constinit CProcessMutex changeMutex; // held by the one who replaces it
constinit CGracePeriod lookups;

// Applies `change` to a copy of what is published, which then takes its place. Throws, with nothing changed,
// when `change` does or there is no memory. `change` must not run code of other modules. Does not wait for
// lookups: those may be waiting for the system's lock of loading, which a module that registers itself holds.
template<class Change>
void changePublished(Change change) {
    CMemoryManagerSwitcher toDefault(nullptr); // outlives every caller
    const std::lock_guard guard(changeMutex);
    CPublishedRegistry* const old = published.load(std::memory_order_relaxed);
    auto fresh = std::make_unique<CPublishedRegistry>();
    if (old != nullptr) {
        fresh->registry = old->registry;
        fresh->kept = old->kept;
    }
    change(*fresh);
    fresh->older = old;
    published.store(fresh.release());
}

template<class Change>
void changeRegistry(Change change) {
    changePublished([&](CPublishedRegistry& fresh) { change(fresh.registry); });
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

template<class Function>
Function findExport(HINSTANCE module, const char16_t* name) {
    if (module == nullptr) {
        GenAssert(kSource, 90);
        return nullptr;
    }
    const FARPROC address = AskPlatform([&] { return Platform::GetProcAddressW(module, name); });
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

// A language library that is not in the registry, loaded for a scope. The file may be missing.
class CLanguageLibrary {
public:
    CLanguageLibrary(const CResourceRecord& family, int language) {
        library.prefix = family.prefix;
        library.folder = family.folder;
        library.module = loadLanguageLibrary(family.LibraryName(language));
        try {
            if (library.module != nullptr)
                library.FindExports();
        } catch (...) {
            FreeOwnedLibrary(library.module);
            throw;
        }
    }
    ~CLanguageLibrary() {
        if (library.module != nullptr)
            FreeOwnedLibrary(library.module);
    }

    CLanguageLibrary(const CLanguageLibrary&) = delete;
    CLanguageLibrary& operator=(const CLanguageLibrary&) = delete;

    const CResourceModule& Library() const { return library; }
    /// Leaves it loaded.
    void Keep() { library.module = nullptr; }

private:
    CResourceModule library; // without a module if there is none, or it is kept
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

bool isStringId(const char16_t* name) { return reinterpret_cast<std::uintptr_t>(name) <= kLastStringId; }

bool holdsResource(const CResourceModule& record, const char16_t* name, const char16_t* type) {
    if (type != ResourceId(kTypeString) || !isStringId(name))
        return AskPlatform([&] { return Platform::FindResourceW(record.module, name, type); }) != nullptr;
    CUnicodeString text;
    return record.LoadString(static_cast<int>(reinterpret_cast<std::uintptr_t>(name)), text);
}

void appendNames(const CResourceRecord& record, CArray<CUnicodeString, CurrentMemoryManager>& names) {
    const CMessageExports& exports = record.exports;
    if (record.module == nullptr || exports.numberOfMessages == nullptr || exports.getMessageName == nullptr)
        return;
    const int count = exports.numberOfMessages();
    for (int i = 0; i < count; i++)
        names.Add(CUnicodeString(exports.getMessageName(i)));
}

// Whether the text is a whole number; `number` receives it without its sign. Of one with more than 18 digits
// it receives one with the same last digits, which are all that a rule asks for.
bool readNumber(const char16_t* text, unsigned long long& number) {
    constexpr unsigned long long kLarge = 1'000'000'000'000'000'000;
    if (*text == u'-')
        text++;
    number = 0;
    const char16_t* const start = text;
    for (; *text >= u'0' && *text <= u'9'; text++) {
        number = number % kLarge * 10 + static_cast<unsigned>(*text - u'0');
        if (number >= kLarge)
            number = kLarge + number % kLarge;
    }
    return *text == 0 && text > start;
}

// The id of the plural form of a message that goes with the parameters.
int formId(const CPluralTexts& plurals, int id, const char16_t* const* parameters, int count) {
    const CPluralText* const end = plurals.texts + plurals.count;
    const CPluralText* const text = std::lower_bound(
        plurals.texts, end, id, [](const CPluralText& left, int right) { return left.id < right; });
    unsigned long long number;
    if (text == end || text->id != id || text->parameter >= count ||
        !readNumber(parameters[text->parameter], number))
        return id;
    const CPluralRule& rule = plurals.rules[text->rule];
    const unsigned long long form = rule.formOf(number);
    return form + 1 < static_cast<unsigned>(rule.formCount) ? text->firstForm + static_cast<int>(form) : id;
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

void CResourceModule::FindExports() {
    exports.Find(module);
    plurals = findExport<const CPluralTexts*>(module, u"___TarnkitPlurals");
    if (plurals != nullptr && plurals->version != CPluralTexts::kVersion)
        plurals = nullptr;
    strings = AskPlatform([&] { return Platform::FindResourceStrings(module); });
}

bool CResourceModule::LoadString(int id, CUnicodeString& text) const {
    if (strings == nullptr)
        return LoadStringW(module, id, text);
    const int wanted = id & kLastStringId;
    const CResourceString* const end = strings->strings + strings->count;
    const CResourceString* const string =
        std::lower_bound(strings->strings, end, wanted,
                         [](const CResourceString& left, int right) { return left.id < right; });
    if (string == end || string->id != wanted) {
        text.Empty();
        return false;
    }
    const char16_t* const zero = std::find(string->text, string->text + string->length, u'\0');
    text = CUnicodeString(string->text, static_cast<int>(zero - string->text));
    return !text.IsEmpty();
}

bool CResourceModule::FindText(const char16_t* name, CUnicodeString& text) const {
    const int id = exports.GetResourceId(name);
    if (id != 0)
        LoadString(id, text);
    return id != 0;
}

bool CResourceModule::LoadForm(int id, const char16_t* const* parameters, int count,
                               CUnicodeString& text) const {
    return (plurals != nullptr && LoadString(formId(*plurals, id, parameters, count), text)) ||
           LoadString(id, text);
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

void CResourceRegistry::AddLibrary(const CResourceModule& record) {
    AddModule(record);
    std::rotate(records.begin(), records.end() - 1, records.end());
    libraryEnd++;
    programBegin = programEnd = records.Size();
}

void CResourceRegistry::AddProgramModule(const CResourceModule& record) {
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

CResourceLookup::CResourceLookup() : reader(lookups), present(published.load()) {}

// Changes of the registry. -------------------------------------------------------------------------------

constinit CRecursiveProcessMutex moduleMutex;

namespace {

CResourceModule recordOf(HINSTANCE module) {
    CResourceModule record;
    record.module = module;
    record.FindExports();
    return record;
}

int numberOfFamilies() {
    const CResourceLookup lookup;
    return lookup.HasRegistry() ? lookup->NumberOfFamilies() : 0;
}

CResourceModule copyOfFamily(int number) {
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
    void Load(const CResourceRecord& family, int language) {
        records.Reserve(records.Size() + 1);
        CLanguageLibrary loaded(family, language);
        records.Add(loaded.Library());
        loaded.Keep();
    }
    int Size() const { return records.Size(); }
    CResourceModule& operator[](int index) { return records[index]; }
    void Keep() { records.DeleteAll(); }
    /// Makes room for `Take`.
    void Reserve(int additional) { records.Reserve(records.Size() + additional); }
    /// Takes a library over from a list of kept ones that is not published yet.
    void Take(CArray<CKeptLibrary>& kept, int index) {
        records.Add(kept[index].library);
        kept.DeleteAt(index);
    }
    /// Unloads libraries that were in the registry.
    void UnloadAfterLookups() {
        if (std::none_of(records.begin(), records.end(),
                         [](const CResourceModule& record) { return record.module != nullptr; }))
            return;
        completeChanges();
        unload();
    }

private:
    CArray<CResourceModule, CurrentMemoryManager> records;

    void unload() {
        for (const CResourceModule& record : records)
            if (record.module != nullptr)
                FreeOwnedLibrary(record.module);
        records.DeleteAll();
    }
};

void exchangeLibraries(CResourceModule& a, CResourceModule& b) {
    std::swap(a.module, b.module);
    std::swap(a.exports, b.exports);
    std::swap(a.strings, b.strings);
    std::swap(a.plurals, b.plurals);
}

int numberOfKept() {
    const CResourceLookup lookup;
    return lookup.HasRegistry() ? lookup.Kept().Size() : 0;
}

// Applies `change` to the registry and hands `unused` the libraries that are kept no longer. Under
// `moduleMutex`.
template<class Change>
void changeAndDropKept(CLoadedLibraries& unused, Change change) {
    unused.Reserve(numberOfKept());
    changePublished([&](CPublishedRegistry& changed) {
        change(changed.registry);
        while (!changed.kept.IsEmpty())
            unused.Take(changed.kept, changed.kept.Size() - 1);
    });
}

// Adds the languages of a family, and its library of the original language.
void completeFamily(int number) {
    const CResourceModule family = copyOfFamily(number);
    bool isPresent[kNumberOfLanguageCodes] = {};
    family.FindLanguages(isPresent);
    CUnicodeString names[kNumberOfLanguageCodes];
    for (int code = 0; code < kNumberOfLanguageCodes; code++)
        if (isPresent[code])
            CLanguageLibrary(family, code).Library().FindText(CURRENT_LANGUAGE_NAME.Name(), names[code]);
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
    changeAndDropKept(libraries, [&](CResourceRegistry& changed) {
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
    const CResourceModule record = GetOwnTexts(module);
    changeRegistry([&](CResourceRegistry& changed) { changed.AddLibrary(record); });
}

void AddResourceProgramModule(HINSTANCE module) {
    const CResourceModule record = recordOf(module);
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
    CLoadedLibraries unused; // the module may have libraries of its own among them
    changeAndDropKept(unused, [&](CResourceRegistry& changed) { changed.Forget(module, false); });
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
        for (const CResourceModule& record : *list)
            if (record.IsFamily() && record.module != nullptr)
                FreeOwnedLibrary(record.module);
    for (const CKeptLibrary& kept : old->kept)
        FreeOwnedLibrary(kept.library.module);
}

// Modules and resources. ---------------------------------------------------------------------------------

void AddResourceModule(HINSTANCE module) {
    if (module == nullptr) {
        GenAssert(u"Tarnkit", 320);
        return;
    }
    const CResourceModule record = recordOf(module);
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
    CResourceModule record;
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
const CResourceModule* findResource(const CResourceLookup& lookup, const char16_t* name,
                                    const char16_t* type) {
    if (!lookup.HasRegistry())
        return nullptr;
    for (const bool isFamily : {true, false}) {
        if (isFamily && !lookup->IsSetUp())
            continue;
        for (const CResourceModule& record : lookup->Records())
            if (record.IsFamily() == isFamily && record.module != nullptr &&
                holdsResource(record, name, type))
                return &record;
    }
    for (const CResourceModule& original : lookup->Originals())
        if (holdsResource(original, name, type))
            return &original;
    return nullptr;
}

} // namespace

HINSTANCE FindResourceW(const char16_t* name, const char16_t* type) {
    const CResourceLookup lookup;
    const CResourceModule* const record = findResource(lookup, name, type);
    return record == nullptr ? nullptr : record->module;
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
            AskPlatform([&] { return Platform::LoadStringW(module, static_cast<UINT>(id), start, size); });
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
    const CResourceModule* const record = findResource(lookup, ResourceId(id), ResourceId(kTypeString));
    if (record == nullptr) {
        text.Empty();
        return false;
    }
    return record->LoadString(id, text);
}

HINSTANCE LoadModule(const char16_t* name) {
    HINSTANCE module = LoadDLL(name);
    if (module == nullptr) {
        const DWORD lastError = Platform::GetLastError();
        GenCheck(ERR_CANT_LOAD_DLL, FileSystem::ForDisplay(name),
                 CLastErrorException::GetErrorText(lastError), u"");
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

// The first module that knows the name, and its id; null if there is none.
const CResourceModule* findMessage(const CResourceLookup& lookup, const char16_t* name, int& id) {
    const CResourceModule* found = nullptr;
    if (lookup.HasRegistry())
        lookup->VisitForNames([&](const CResourceModule& record, bool) {
            id = record.module == nullptr ? 0 : record.exports.GetResourceId(name);
            found = id == 0 ? nullptr : &record;
            return id != 0;
        });
    return found;
}

// Reads the state of a file; false if there is none, or its state is not known.
bool readState(const CUnicodeString& name, CFileState& state) {
    WIN32_FIND_DATAW found;
    const HANDLE search = Platform::FindFirstFileW(name, &found);
    if (search == INVALID_HANDLE_VALUE)
        return false;
    Platform::FindClose(search);
    const auto joined = [](DWORD high, DWORD low) { return UInt64{high} << 32 | low; };
    const auto units = [&](const FILETIME& time) { return joined(time.dwHighDateTime, time.dwLowDateTime); };
    state = {units(found.ftCreationTime), units(found.ftLastWriteTime),
             joined(found.nFileSizeHigh, found.nFileSizeLow)};
    return true;
}

// The library of a family, if it is kept; otherwise null. `isMissing` tells whether there is none.
const CResourceModule* findKept(const CResourceLookup& lookup, const CResourceRecord& family, int language,
                                bool& isMissing) {
    const CUnicodeString name = family.LibraryName(language);
    CFileState state;
    const bool isFile = readState(name, state);
    const DWORD code = isFile ? ERROR_SUCCESS : Platform::GetLastError();
    isMissing = code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
    for (const CKeptLibrary& kept : lookup.Kept())
        if (isFile && kept.IsOf(family, language) && kept.file == state)
            return &kept.library;
    return nullptr;
}

// Looks for a text in another language as long as all libraries are at hand; false if one is not.
bool findInLoaded(const char16_t* name, int language, CUnicodeString& text) {
    const CResourceLookup lookup;
    bool isAtHand = true;
    if (lookup.HasRegistry())
        lookup->VisitForNames([&](const CResourceModule& record, bool isOriginal) {
            if (isOriginal || !record.IsFamily() || language == lookup->CurrentLanguage())
                return record.FindText(name, text);
            bool isMissing;
            const CResourceModule* const library = findKept(lookup, record, language, isMissing);
            isAtHand = library != nullptr || isMissing;
            return !isAtHand || (library != nullptr && library->FindText(name, text));
        });
    return isAtHand;
}

// Releases what is kept of a family for a language, or else the oldest library if there is no more room.
void makeRoom(const CResourceRecord& family, int language) {
    CLoadedLibraries unused;
    unused.Reserve(numberOfKept());
    changePublished([&](CPublishedRegistry& changed) {
        for (int i = changed.kept.Size() - 1; i >= 0; i--)
            if (changed.kept[i].IsOf(family, language))
                unused.Take(changed.kept, i);
        if (changed.kept.Size() == kMostKept)
            unused.Take(changed.kept, 0);
    });
    unused.UnloadAfterLookups();
}

// Looks for a text in the library of a family for another language, which stays loaded for the next ones.
bool findInLibrary(const CResourceRecord& family, int language, const char16_t* name, CUnicodeString& text) {
    {
        const CResourceLookup lookup;
        bool isMissing;
        if (const CResourceModule* const library = findKept(lookup, family, language, isMissing))
            return library->FindText(name, text);
    }
    // Within the system's loader nothing may wait for lookups, so nothing can be released there.
    CFileState state;
    bool isKept = false;
    if (!IsLoadingModule()) {
        makeRoom(family, language);
        isKept = readState(family.LibraryName(language), state);
    }
    CLanguageLibrary loaded(family, language);
    const bool isFound = loaded.Library().FindText(name, text);
    if (isKept && loaded.Library().module != nullptr) {
        changePublished([&](CPublishedRegistry& changed) {
            changed.kept.Add({loaded.Library(), language, state});
        });
        loaded.Keep();
    }
    return isFound;
}

} // namespace

bool FindMessage(const char16_t* name, HINSTANCE& module, int& id) {
    const CResourceLookup lookup;
    id = 0;
    const CResourceModule* const record = findMessage(lookup, name, id);
    module = record == nullptr ? nullptr : record->module;
    return record != nullptr;
}

bool LoadMessage(const char16_t* name, CUnicodeString& text) {
    return LoadMessageFor(name, nullptr, 0, text);
}

bool LoadMessageFor(const char16_t* name, const char16_t* const* parameters, int count,
                    CUnicodeString& text) {
    CMemoryManagerSwitcher toDefault(nullptr);
    const CResourceLookup lookup;
    int id;
    if (const CResourceModule* const record = findMessage(lookup, name, id))
        return record->LoadForm(id, parameters, count, text);
    text.Empty();
    return false;
}

bool LoadMessageInLanguage(const char16_t* name, int language, CUnicodeString& text) {
    text.Empty();
    if (findInLoaded(name, language, text))
        return !text.IsEmpty();
    // Loading the libraries may change the registry: works on a copy of it.
    const std::lock_guard guard(moduleMutex);
    std::unique_ptr<const CResourceRegistry> copy;
    {
        const CResourceLookup lookup;
        if (!lookup.HasRegistry())
            return false;
        copy = std::make_unique<const CResourceRegistry>(*lookup);
    }
    copy->VisitForNames([&](const CResourceModule& record, bool isOriginal) {
        return isOriginal || !record.IsFamily() || language == copy->CurrentLanguage()
                   ? record.FindText(name, text)
                   : findInLibrary(record, language, name, text);
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
