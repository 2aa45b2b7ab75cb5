// CIniFile: an initialisation file of `[section]` headers and `key=value` lines, kept in memory.
//
// The file is read when it is asked something for the first time, and written back by `Save` or, when it has
// been changed, by the destructor. It must exist. It is UTF-16 with a byte order mark or text of the system's
// ANSI code page, and is always written as UTF-16. Failures of the file are those of `CFile::ReadText` and
// `WriteText`; a line that is none raises `ERR_BAD_INI_FILE` with its index, counted from 0. As long as the
// file could not be read whole, nothing is ever written over it.
//
// White space around lines, and around values, does not count. Lines that begin with ";" or "//" are
// comments, which saving drops. Two names are the same when they differ only in case and in white space
// around them. Keys before any header are in the section with the empty name. Sections and keys are saved in
// the order in which they were first made, each spelled as it was made, a key as it was last set. A name or a
// value must not hold what would make other lines of it. One thread at a time.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/map.h>
#include <tarnkit/unicode_string.h>

#include <memory>

namespace Tarn {

class TARNKIT_API CIniFile {
public:
    /// A relative name is one beside the application's executable. Nothing is read yet.
    explicit CIniFile(const CUnicodeString& name);
    /// Saves what was changed; a failure is thrown, unless another exception is on its way.
    ~CIniFile() noexcept(false);

    CIniFile(const CIniFile&) = delete;
    CIniFile& operator=(const CIniFile&) = delete;

    /// Reads the file now and forgets all changes, also when it fails.
    void Reload();
    /// Writes the file, changed or not.
    void Save();

    /// The value of the key, or `defaultValue` when there is no such key.
    CUnicodeString GetString(const CUnicodeString& section, const CUnicodeString& key,
                             const CUnicodeString& defaultValue) const;
    /// Makes the section and the key where they are missing.
    void SetString(const CUnicodeString& section, const CUnicodeString& key, const CUnicodeString& value);
    bool HasSection(const CUnicodeString& section) const;
    bool HasKey(const CUnicodeString& section, const CUnicodeString& key) const;
    /// Nothing is changed, and so nothing saved, when there is no such section or key.
    void DeleteSection(const CUnicodeString& section);
    /// A section that has lost its last key stays.
    void DeleteKey(const CUnicodeString& section, const CUnicodeString& key);

private:
    struct CEntry {
        CUnicodeString name; // as it is spelled in the file
        CUnicodeString value;
    };
    // Entries are found by the lookup forms of their names, as sections are.
    struct CSection {
        CUnicodeString name;
        CMap<CUnicodeString, CEntry> entries;
    };

    CUnicodeString fileName;
    // The first question, which changes nothing for the one who asks, reads the file.
    mutable bool isLoaded = false;
    mutable bool isModified = false;
    mutable CArray<std::unique_ptr<CSection>> sections;
    mutable CMap<CUnicodeString, CSection*> sectionMap;

    friend struct CLayout<CIniFile>;

    bool load() const;
    void read() const;
    bool readLine(const CUnicodeString& line, CUnicodeString& section) const;
    void store(const CUnicodeString& section, const CUnicodeString& key, const CUnicodeString& value) const;
    void addSection(std::unique_ptr<CSection> section) const;
    CSection* findSection(const CUnicodeString& section) const;
    const CEntry* findEntry(const CUnicodeString& section, const CUnicodeString& key) const;
};
TARNKIT_LAYOUT(CIniFile, 44, fileName, isLoaded, isModified, sections, sectionMap);

} // namespace Tarn
