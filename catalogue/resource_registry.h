// The registry behind resource_modules.h.
//
// Lookups on any thread read an immutable object and take no lock. A change builds a new one, puts it in the
// place of the old one and waits until no lookup can still be reading that.
#pragma once

#include "memory/grace_period.h"
#include "memory/process_mutex.h"

#include <tarnkit/layout.h>
#include <tarnkit/plural_texts.h>
#include <tarnkit/resource_modules.h>
#include <tarnkit/resource_strings.h>

#include <mutex>

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
};
TARNKIT_LAYOUT(CResourceRecord, 24, prefix, folder, module, exports);

/// A record, and what its module keeps at hand.
struct CResourceModule : CResourceRecord {
    const CResourceStrings* strings = nullptr; // null if the system must be asked for each
    const CPluralTexts* plurals = nullptr;     // null if no text depends on a number

    /// Looks for the exports of `module`.
    void FindExports();
    /// Loads a string; false if it is empty or missing.
    bool LoadString(int id, CUnicodeString& text) const;
    /// Whether the module knows the name of a message. If so, `text` receives its text, empty if it cannot be
    /// loaded.
    bool FindText(const char16_t* name, CUnicodeString& text) const;
    /// The same as `LoadString`, in the plural form that goes with the parameters.
    bool LoadForm(int id, const char16_t* const* parameters, int count, CUnicodeString& text) const;
};

/// What shows that a file was replaced.
struct CFileState {
    UInt64 created = 0;
    UInt64 written = 0;
    UInt64 size = 0;

    bool operator==(const CFileState&) const = default;
};

/// A library of a family for a language that is not the current one, kept for the next texts.
struct CKeptLibrary {
    CResourceModule library;
    int language;
    CFileState file; // as it was before the library was loaded

    bool IsOf(const CResourceRecord& family, int code) const {
        return language == code && library.prefix == family.prefix && library.folder == family.folder;
    }
};

/// The modules and languages at one moment.
class CResourceRegistry {
public:
    CResourceRegistry() : positions{} {}

    bool IsSetUp() const { return isSetUp; }
    void SetUp() { isSetUp = true; }
    const CArray<CResourceModule>& Records() const { return records; }
    /// The libraries of the original language, in the order of their families.
    const CArray<CResourceModule>& Originals() const { return originals; }
    void AddOriginal(const CResourceModule& original) { originals.Add(original); }

    void AddModule(const CResourceModule& record) { records.Add(record); }
    /// Add the library itself, and then the modules that are the program. They contain original texts, so
    /// they are asked for a name only if no module that the application added, before or after, knows it.
    void AddLibrary(const CResourceModule& record);
    void AddProgramModule(const CResourceModule& record);
    /// Removes the records of a module handle, or only those of one that is no longer loaded.
    void Forget(HINSTANCE module, bool isUnlessLoaded);

    /// Families are never removed, so each keeps its number: its place among the families, from 0.
    int NumberOfFamilies() const;
    const CResourceModule& Family(int number) const { return records[familyIndex(number)]; }
    CResourceModule& Family(int number) { return records[familyIndex(number)]; }

    int NumberOfLanguages() const { return codes.Size(); }
    int LanguageCode(int index) const { return codes[index]; }
    int LanguageIndex(int code) const;
    const CUnicodeString& LanguageName(int code) const { return names[code]; }
    void AddLanguage(int code, const CUnicodeString& name);
    int CurrentLanguage() const { return currentLanguage; }
    void SetCurrentLanguage(int code) { currentLanguage = code; }
    int ChooseDefaultLanguage() const;

    /// Calls `visit(record, isOriginal)` for each module that may be asked for a name, in search order, until
    /// it returns true; false if it never does.
    template<class Visitor>
    bool VisitForNames(Visitor visit) const;

private:
    bool isSetUp = false;
    int currentLanguage = -1;
    CArray<int> codes;                            // of the available languages
    CUnicodeString names[kNumberOfLanguageCodes]; // by code; empty if unknown
    int positions[kNumberOfLanguageCodes];        // by code: index into `codes` plus one, 0 if missing
    CArray<CResourceModule> records;
    CArray<CResourceModule> originals; // the libraries of language 0, one for each family that has it
    // The ranges in `records` of the library, which begins at 0, and of the program.
    int libraryEnd = 0;
    int programBegin = 0;
    int programEnd = 0;

    friend struct CLayout<CResourceRegistry>;

    int familyIndex(int number) const;
};
TARNKIT_LAYOUT(CResourceRegistry, 440, isSetUp, currentLanguage, codes, names, positions, records, originals,
               libraryEnd, programBegin, programEnd);

template<class Visitor>
bool CResourceRegistry::VisitForNames(Visitor visit) const {
    const auto visitBackwards = [&](const CArray<CResourceModule>& list, int begin, int end) {
        for (int i = end - 1; i >= begin; i--) {
            const CResourceModule& record = list[i];
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

/// A registry that lookups read, or read until it was replaced.
struct CPublishedRegistry {
    CResourceRegistry registry;
    CArray<CKeptLibrary> kept; // the oldest first; changed under `moduleMutex`
    CPublishedRegistry* older = nullptr;
};

/// Read access to the registry for a scope, in which nothing is unloaded that it refers to. Nothing in the
/// scope may change the registry or load a module.
class CResourceLookup {
public:
    CResourceLookup();

    /// False before the first module is registered and after `ReleaseResourceModules`.
    bool HasRegistry() const { return present != nullptr; }
    const CResourceRegistry* operator->() const { return &present->registry; }
    const CResourceRegistry& operator*() const { return present->registry; }
    const CArray<CKeptLibrary>& Kept() const { return present->kept; }

private:
    CGracePeriod::CReader reader;
    const CPublishedRegistry* present;
};

/// Held by a thread that loads, initialises or terminates modules or changes the language: one does so at a
/// time. A thread that holds the system's own lock of loading, as in a static constructor, must not wait for
/// it.
extern constinit CRecursiveProcessMutex moduleMutex;

/// Called when the library is loaded: they prepare for forks of the process.
void AttachResourceModules();
void AttachMessages();

/// The library's own texts, which `module` contains. A static library has tables of its own: under the names
/// of the protocol a program has its own texts.
CResourceModule GetOwnTexts(HINSTANCE module);

// What `Initialize` does.

void AddResourceLibrary(HINSTANCE module);
void AddResourceProgramModule(HINSTANCE module);
/// Finds the languages that are present and chooses one of them.
void SetUpLanguages();

/// The text of a message in the current language and the plural form that goes with the parameters; false
/// when there is none.
bool LoadMessageFor(const char16_t* name, const char16_t* const* parameters, int count, CUnicodeString& text);

/// Removes what is registered for a module that was released, unless it is still loaded.
void ForgetUnloadedResources(HINSTANCE module);

/// Removes what is registered for a module, loaded or not. Families of language libraries that it added stay.
void ForgetResources(HINSTANCE module);

/// Releases all records and the language libraries.
void ReleaseResourceModules();

} // namespace Tarn
