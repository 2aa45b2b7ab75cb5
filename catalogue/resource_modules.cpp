#include "catalogue/resource_registry.h"
#include "platform/platform.h"
#include "runtime/registered_modules.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/text_of_values.h>

#include <utility>

namespace Tarn {

namespace {

constexpr char16_t kSource[] = u"ResourceInfo";
constexpr char16_t kLibraryExtension[] = u".dll";
constexpr int kTypeString = 6;
constexpr int kOriginalLanguage = 0;

constinit CLateObject<CResourceRegistry> registry;

template<class Function>
Function findExport(HINSTANCE module, const char16_t* name) {
    if (module == nullptr) {
        GenAssert(kSource, 90);
        return nullptr;
    }
    return reinterpret_cast<Function>(reinterpret_cast<void*>(Platform::GetProcAddressW(module, name)));
}

bool isFile(const char16_t* name) {
    const DWORD attributes = Platform::GetFileAttributesW(name);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
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
    explicit CLanguageLibrary(const CUnicodeString& name)
        : module(isFile(name) ? LoadOwnedLibrary(name) : nullptr) {
        if (module != nullptr)
            exports.Find(module);
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
        return Platform::FindResourceW(module, name, type) != nullptr;
    CUnicodeString text;
    return LoadStringW(module, static_cast<int>(reinterpret_cast<std::uintptr_t>(name)), text);
}

// `findText` in the record as it would be if `language` were the current one. Takes the record by value, for
// the reason given at CResourceRegistry.
bool findTextInLanguage(CResourceRecord record, int language, const char16_t* name, CUnicodeString& text) {
    if (record.IsFamily() && language != registry->CurrentLanguage())
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

void CResourceRecord::ReleaseLibrary() {
    if (module == nullptr)
        return;
    exports = CMessageExports();
    FreeOwnedLibrary(std::exchange(module, nullptr));
}

// The registry. ------------------------------------------------------------------------------------------

CResourceRegistry::CResourceRegistry() : positions{} {}

CResourceRegistry::~CResourceRegistry() {
    for (CResourceRecord& record : records)
        if (record.IsFamily())
            record.ReleaseLibrary();
    for (CResourceRecord& original : originals)
        original.ReleaseLibrary();
}

void CResourceRegistry::AddModule(HINSTANCE module) {
    CMemoryManagerSwitcher switcher(nullptr);
    CResourceRecord record;
    record.module = module;
    record.exports.Find(module);
    records.Add(std::move(record));
}

void CResourceRegistry::AddLibrary(HINSTANCE module) {
    AddModule(module);
    std::rotate(records.begin(), records.end() - 1, records.end());
    libraryEnd++;
    programBegin = programEnd = records.Size();
}

void CResourceRegistry::AddProgramModule(HINSTANCE module) {
    AddModule(module);
    programEnd = records.Size();
}

void CResourceRegistry::AddFamily(const CUnicodeString& folder, const CUnicodeString& prefix) {
    CMemoryManagerSwitcher switcher(nullptr);
    records.Add(CResourceRecord());
    CResourceRecord& record = records.Last();
    record.prefix = prefix;
    record.folder = folder;
    if (isSetUp) {
        const int index = records.Size() - 1;
        addLanguagesOf(index);
        loadOriginal(index);
        loadLanguage(index, currentLanguage);
    }
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

void CResourceRegistry::CompleteSetUp() {
    CMemoryManagerSwitcher switcher(nullptr);
    for (int i = 0; i < records.Size(); i++)
        if (records[i].IsFamily()) {
            addLanguagesOf(i);
            loadOriginal(i);
        }
    if (codes.IsEmpty())
        addLanguage(0, CUnicodeString());
    isSetUp = true;
    const int language = ChooseDefaultLanguage();
    if (language >= 0)
        SetCurrentLanguage(language);
}

int CResourceRegistry::LanguageIndex(int code) const {
    return code < 0 || code >= kNumberOfLanguageCodes ? -1 : positions[code] - 1;
}

void CResourceRegistry::SetCurrentLanguage(int code) {
    if (code == currentLanguage)
        return;
    CMemoryManagerSwitcher switcher(nullptr);
    for (int i = 0; i < records.Size(); i++) {
        if (!records[i].IsFamily())
            continue;
        records[i].ReleaseLibrary();
        loadLanguage(i, code);
    }
    currentLanguage = code;
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

void CResourceRegistry::addLanguage(int code, const CUnicodeString& name) {
    if (positions[code] == 0) {
        codes.Add(code);
        positions[code] = codes.Size();
    }
    if (names[code].IsEmpty())
        names[code] = name;
}

void CResourceRegistry::addLanguagesOf(int index) {
    const CResourceRecord family = records[index];
    bool isPresent[kNumberOfLanguageCodes] = {};
    family.FindLanguages(isPresent);
    for (int code = 0; code < kNumberOfLanguageCodes; code++) {
        if (!isPresent[code])
            continue;
        CUnicodeString name;
        CLanguageLibrary(family.LibraryName(code)).Find(CURRENT_LANGUAGE_NAME.Name(), name);
        addLanguage(code, name);
    }
}

void CResourceRegistry::loadLanguage(int index, int code) {
    if (records[index].module != nullptr)
        GenAssert(kSource, 32);
    if (!records[index].IsFamily())
        GenAssert(kSource, 33);
    const CUnicodeString name = records[index].LibraryName(code);
    HINSTANCE module = isFile(name) ? LoadOwnedLibrary(name) : nullptr;
    records[index].module = module;
    if (module != nullptr)
        records[index].exports.Find(module);
}

void CResourceRegistry::loadOriginal(int index) {
    CResourceRecord original;
    original.prefix = records[index].prefix;
    original.folder = records[index].folder;
    const CUnicodeString name = original.LibraryName(kOriginalLanguage);
    original.module = isFile(name) ? LoadOwnedLibrary(name) : nullptr;
    if (original.module == nullptr)
        return;
    original.exports.Find(original.module);
    originals.Add(std::move(original));
}

CResourceRegistry& GetResourceRegistry() { return registry.Get(); }

void ForgetUnloadedResources(HINSTANCE module) {
    if (registry.Exists())
        registry->Forget(module, true);
}

void ForgetResources(HINSTANCE module) {
    if (registry.Exists())
        registry->Forget(module, false);
}

void ReleaseResourceModules() { registry.Release(); }

// Modules and resources. ---------------------------------------------------------------------------------

void AddResourceModule(HINSTANCE module) {
    if (module == nullptr) {
        GenAssert(u"Tarnkit", 320);
        return;
    }
    GetResourceRegistry().AddModule(module);
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
    GetResourceRegistry().AddFamily(FileSystem::AddPathSeparator(path), CUnicodeString(prefix));
}

HINSTANCE FindResourceW(const char16_t* name, const char16_t* type) {
    for (const bool isFamily : {true, false}) {
        if (isFamily && !GetResourceRegistry().IsSetUp())
            continue;
        for (const CResourceRecord& record : GetResourceRegistry().Records())
            if (record.IsFamily() == isFamily && record.module != nullptr &&
                holdsResource(record.module, name, type))
                return record.module;
    }
    for (const CResourceRecord& original : GetResourceRegistry().Originals())
        if (holdsResource(original.module, name, type))
            return original.module;
    return nullptr;
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
        const int length = Platform::LoadStringW(module, static_cast<UINT>(id), buffer.GetBuffer(size), size);
        if (length >= size - 1)
            continue;
        buffer.ReleaseBuffer(length);
        if (length > 0)
            text = buffer.Ptr(); // a copy that is no larger than needed
        return !text.IsEmpty();
    }
}

bool LoadStringW(int id, CUnicodeString& text) {
    HINSTANCE module = FindResourceW(ResourceId(id), ResourceId(kTypeString));
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
    if (!GetResourceRegistry().IsSetUp())
        GenAssert(kSource, 268);
    return GetResourceRegistry().NumberOfLanguages();
}

int GetLanguageCode(int index) {
    if (!GetResourceRegistry().IsSetUp())
        GenAssert(kSource, 274);
    if (index < 0 || index >= GetResourceRegistry().NumberOfLanguages()) {
        GenAssert(kSource, __LINE__);
        return -1;
    }
    return GetResourceRegistry().LanguageCode(index);
}

int FindLanguageIndex(int code) {
    if (!GetResourceRegistry().IsSetUp())
        GenAssert(kSource, 280);
    return GetResourceRegistry().LanguageIndex(code);
}

CUnicodeString GetLanguageDisplayName(int code) {
    if (GetResourceRegistry().LanguageIndex(code) >= 0) {
        const CUnicodeString& name = GetResourceRegistry().LanguageName(code);
        if (!name.IsEmpty())
            return name;
    }
    return UnicodeStr(code, 10);
}

int GetCurrentLanguageCode() {
    if (!GetResourceRegistry().IsSetUp())
        GenAssert(kSource, 234);
    return GetResourceRegistry().CurrentLanguage();
}

void SetCurrentLanguageCode(int code) {
    if (GetResourceRegistry().LanguageIndex(code) < 0) {
        GenAssert(kSource, 240);
        return;
    }
    if (!CanDisplayLanguage(code)) {
        showUnsupportedLanguage(code);
        if (GetResourceRegistry().CurrentLanguage() >= 0)
            return;
        code = GetResourceRegistry().ChooseDefaultLanguage();
    }
    GetResourceRegistry().SetCurrentLanguage(code);
}

// Messages. ----------------------------------------------------------------------------------------------

bool FindMessage(const char16_t* name, HINSTANCE& module, int& id) {
    module = nullptr;
    id = 0;
    // Any thread may call this before the registry exists, but only the main thread may build it.
    if (!registry.Exists())
        return false;
    return registry->VisitForNames([&](const CResourceRecord& record, bool) {
        id = record.module == nullptr ? 0 : record.exports.GetResourceId(name);
        module = id == 0 ? nullptr : record.module;
        return id != 0;
    });
}

bool LoadMessageInLanguage(const char16_t* name, int language, CUnicodeString& text) {
    text.Empty();
    GetResourceRegistry().VisitForNames([&](const CResourceRecord& record, bool isOriginal) {
        return isOriginal ? findText(record.module, record.exports, name, text)
                          : findTextInLanguage(record, language, name, text);
    });
    return !text.IsEmpty();
}

void AppendDefinedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names) {
    for (const auto* const list : {&GetResourceRegistry().Records(), &GetResourceRegistry().Originals()})
        for (const CResourceRecord& record : *list)
            appendNames(record, names);
}

} // namespace Tarn
