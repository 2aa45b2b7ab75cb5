// The registry behind resource_modules.h: one object for the process.
//
// It is built on first use and released as a whole by `Clean` and when the library is unloaded. Only the main
// thread may use it, except for lookups.
#pragma once

#include "memory/late_object.h"

#include <tarnkit/layout.h>
#include <tarnkit/resource_modules.h>

namespace Tarn {

/// The exports through which a module is asked for messages; null for those that the module lacks.
struct CMessageExports {
    TGetResourceID getResourceId = nullptr;
    TNumberOfMessages numberOfMessages = nullptr;
    TGetMessageName getMessageName = nullptr;

    void Find(HINSTANCE module);
    /// The string id of a name; 0 if the module does not know it.
    int GetResourceId(const char16_t* name) const {
        return getResourceId == nullptr ? 0 : getResourceId(name);
    }
};
TARNKIT_LAYOUT(CMessageExports, 12, getResourceId, numberOfMessages, getMessageName);

/// A module registered by handle, or a family of language libraries. A family has a prefix, and its handle is
/// the library for the current language, which it loaded itself, or null.
struct CResourceRecord {
    CUnicodeString prefix;
    CUnicodeString folder;
    HINSTANCE module = nullptr;
    CMessageExports exports;

    bool IsFamily() const { return !prefix.IsEmpty(); }
    CUnicodeString LibraryName(int language) const;
    /// Marks the codes whose library is in the folder.
    void FindLanguages(bool (&isPresent)[kNumberOfLanguageCodes]) const;
    /// Unloads a family's library, if one was found for the language.
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
    /// Add the library itself, and then the modules that are the program. They contain original texts, so
    /// they are asked for a name only if no module that the application added, before or after, knows it.
    void AddLibrary(HINSTANCE module);
    void AddProgramModule(HINSTANCE module);
    void AddFamily(const CUnicodeString& folder, const CUnicodeString& prefix);
    /// Removes the records of a module handle, or only those of one that is no longer loaded.
    void Forget(HINSTANCE module, bool isUnlessLoaded);

    /// Finds the languages that are present and chooses one of them.
    void CompleteSetUp();

    int NumberOfLanguages() const { return codes.Size(); }
    int LanguageCode(int index) const { return codes[index]; }
    int LanguageIndex(int code) const;
    const CUnicodeString& LanguageName(int code) const { return names[code]; }
    int CurrentLanguage() const { return currentLanguage; }
    /// The code must be one of an available language.
    void SetCurrentLanguage(int code);
    int ChooseDefaultLanguage() const;

    /// Calls `visit(record, isOriginal)` for each module that may be asked for a name, in search order, until
    /// it returns true; false if it never does.
    template<class Visitor>
    bool VisitForNames(Visitor visit) const;
    /// The libraries of the original language, in the order of their families.
    const CArray<CResourceRecord>& Originals() const { return originals; }

private:
    bool isSetUp = false;
    int currentLanguage = -1;
    CArray<int> codes;                            // of the available languages
    CUnicodeString names[kNumberOfLanguageCodes]; // by code; empty if unknown
    int positions[kNumberOfLanguageCodes];        // by code: index into `codes` plus one, 0 if missing
    CArray<CResourceRecord> records;
    CArray<CResourceRecord> originals; // the libraries of language 0, one for each family that has it
    // The ranges in `records` of the library, which begins at 0, and of the program.
    int libraryEnd = 0;
    int programBegin = 0;
    int programEnd = 0;

    friend class CLateObject<CResourceRegistry>;
    friend struct CLayout<CResourceRegistry>;
    CResourceRegistry();

    void addLanguage(int code, const CUnicodeString& name);
    void addLanguagesOf(int index);
    void loadLanguage(int index, int code);
    void loadOriginal(int index);
};
TARNKIT_LAYOUT(CResourceRegistry, 440, isSetUp, currentLanguage, codes, names, positions, records, originals,
               libraryEnd, programBegin, programEnd);

template<class Visitor>
bool CResourceRegistry::VisitForNames(Visitor visit) const {
    const auto visitBackwards = [&](const CArray<CResourceRecord>& list, int begin, int end) {
        for (int i = end - 1; i >= begin; i--) {
            const CResourceRecord& record = list[i];
            if ((isSetUp || !record.IsFamily()) && visit(record, &list == &originals))
                return true;
        }
        return false;
    };
    return visitBackwards(records, programEnd, records.Size()) ||
           visitBackwards(records, libraryEnd, programBegin) ||
           visitBackwards(originals, 0, originals.Size()) ||
           visitBackwards(records, programBegin, programEnd) || visitBackwards(records, 0, libraryEnd);
}

/// The primary language of a Windows language identifier.
constexpr int PrimaryLanguage(int languageId) { return languageId & 0x3FF; }

/// The registry of the process.
CResourceRegistry& GetResourceRegistry();

/// Removes what is registered for a module that was released, unless it is still loaded.
void ForgetUnloadedResources(HINSTANCE module);

/// Removes what is registered for a module, loaded or not. Families of language libraries that it added stay.
void ForgetResources(HINSTANCE module);

/// Releases all records and the language libraries.
void ReleaseResourceModules();

} // namespace Tarn
