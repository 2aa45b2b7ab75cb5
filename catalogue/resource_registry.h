// The registry behind resource_modules.h: one object for the process.
//
// It is built when it is first needed and released as a whole by `Clean` and when the library is
// unloaded. Main thread, except for lookups.
#pragma once

#include "memory/late_object.h"

#include <tarnkit/layout.h>
#include <tarnkit/resource_modules.h>

namespace Tarn {

/// The exports through which a module is asked for messages; each null when the module has none.
struct CMessageExports {
    TGetResourceID getResourceId = nullptr;
    TNumberOfMessages numberOfMessages = nullptr;
    TGetMessageName getMessageName = nullptr;

    void Find(HINSTANCE module);
    /// The string id of a name; 0 when the module does not know it.
    int GetResourceId(const char16_t* name) const {
        return getResourceId == nullptr ? 0 : getResourceId(name);
    }
};
TARNKIT_LAYOUT(CMessageExports, 12, getResourceId, numberOfMessages, getMessageName);

/// A module registered by handle, or a family of language libraries: then the prefix is not empty, and the
/// handle is the family's own load of the library for the current language, or null.
struct CResourceRecord {
    CUnicodeString prefix;
    CUnicodeString folder;
    HINSTANCE module = nullptr;
    CMessageExports exports;

    bool IsFamily() const { return !prefix.IsEmpty(); }
    CUnicodeString LibraryName(int language) const;
    /// Marks the codes whose library lies in the folder.
    void FindLanguages(bool (&isPresent)[kNumberOfLanguageCodes]) const;
    /// Lets go of a family's library, if one was found for the language.
    void ReleaseLibrary();
};
TARNKIT_LAYOUT(CResourceRecord, 24, prefix, folder, module, exports);

// Loading a library may run code of other modules, which may add records: records are therefore addressed by
// index around every load.
class CResourceRegistry {
public:
    ~CResourceRegistry();

    bool IsSetUp() const { return isSetUp; }
    const CArray<CResourceRecord>& Records() const { return records; }

    void AddModule(HINSTANCE module);
    /// As `AddModule`, but asked after all others.
    void AddFirstModule(HINSTANCE module);
    void AddFamily(const CUnicodeString& folder, const CUnicodeString& prefix);
    /// Drops the records by handle of a module that is not loaded any more.
    void ForgetUnloaded(HINSTANCE module);

    /// Finds the languages that are present and chooses one of them.
    void CompleteSetUp();

    int NumberOfLanguages() const { return codes.Size(); }
    int LanguageCode(int index) const { return codes[index]; }
    int LanguageIndex(int code) const;
    const CUnicodeString& LanguageName(int code) const { return names[code]; }
    int CurrentLanguage() const { return currentLanguage; }
    /// The code must be an available one.
    void SetCurrentLanguage(int code);
    int ChooseDefaultLanguage() const;

private:
    bool isSetUp = false;
    int currentLanguage = -1;
    CArray<int> codes;                            // of the available languages
    CUnicodeString names[kNumberOfLanguageCodes]; // by code; empty when unknown
    int positions[kNumberOfLanguageCodes];        // by code: index into `codes` plus one, 0 when not there
    CArray<CResourceRecord> records;

    friend class CLateObject<CResourceRegistry>;
    friend struct CLayout<CResourceRegistry>;
    CResourceRegistry();

    void addLanguage(int code, const CUnicodeString& name);
    void addLanguagesOf(int index);
    void loadLanguage(int index, int code);
};
TARNKIT_LAYOUT(CResourceRegistry, 416, isSetUp, currentLanguage, codes, names, positions, records);

/// The language without the sublanguage of a Windows language identifier.
constexpr int PrimaryLanguage(int languageId) { return languageId & 0x3FF; }

/// The registry of the process.
CResourceRegistry& GetResourceRegistry();

/// Drops what is registered of a module that was let go, unless it is still loaded.
void ForgetUnloadedResources(HINSTANCE module);

/// Releases all records and the language libraries.
void ReleaseResourceModules();

} // namespace Tarn
