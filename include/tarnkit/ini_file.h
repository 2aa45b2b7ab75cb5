/// \file
/// `CIniFile`: an initialisation file of `[section]` headers and `key=value` lines, kept in memory.
///
/// The file is read when it is first used, and written by `Save` or, if it was changed, by the destructor. It
/// is read as UTF-16 or UTF-8 if it begins with a byte order mark and otherwise as text of the system's ANSI
/// code page; it is always written as UTF-16. It must exist, unless the object was made with `MayBeMissing`.
/// If it cannot be opened, read or written, operations fail as `CFile::ReadText` and `CFile::WriteText` do. A
/// line that is not a header, a comment or a key raises `ERR_BAD_INI_FILE` with its index, counted from 0. A
/// file that could not be read completely is never overwritten: where the text is UTF-8, bytes that are not
/// read as U+FFFD, null characters read as spaces, and `Save` raises `ERR_BAD_TEXT_FILE` then.
///
/// White space around lines and values is ignored. Lines that begin with ";" or "//" are comments, which are
/// lost when the file is saved. Names match without regard to case or surrounding white space. Keys before
/// the first header belong to the section with the empty name. Sections and keys are saved in the order in
/// which they were created: a section with its first spelling, a key with its latest. Names and values are
/// not escaped, so `SetString` refuses those that would be read back as something else.
///
/// Threads may use different objects at the same time; several may use one object only if none of them
/// changes it.
///
/// \code
/// CIniFile file(u"settings.ini", CIniFile::MayBeMissing);
/// const CUnicodeString folder = file.GetString(u"Paths", u"Books", u"\\My Documents");
/// file.SetString(u"Paths", u"Backup", folder + u"\\Backup");
/// file.Save();
/// \endcode
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/map.h>
#include <tarnkit/unicode_string.h>

#include <memory>

namespace Tarn {

/// An initialisation file; see the top of this header.
class TARNKIT_API CIniFile {
public:
    /// What it means that there is no such file: a failure, or that it has no keys yet. `Save` then creates
    /// it. Its folder must exist, and any other failure to open the file remains one.
    enum TPresence { MustExist, MayBeMissing };

    /// A relative name is relative to the folder of the application's executable. Nothing is read yet.
    explicit CIniFile(const CUnicodeString& name);
    CIniFile(const CUnicodeString& name, TPresence presence);
    /// Saves the file if it was changed. Throws if that fails, unless another exception is already in flight.
    ~CIniFile() noexcept(false);

    CIniFile(const CIniFile&) = delete;
    CIniFile& operator=(const CIniFile&) = delete;

    /// Reads the file now. All changes are dropped, even if reading fails.
    void Reload();
    /// Writes the file, whether it was changed or not.
    void Save();

    /// The value of the key, or `defaultValue` if there is no such key.
    CUnicodeString GetString(const CUnicodeString& section, const CUnicodeString& key,
                             const CUnicodeString& defaultValue) const;
    /// Creates the section and the key if they do not exist. Changes nothing and raises `REFUSED_INI_TEXT`
    /// for line breaks (those at which `CFile::ReadText` ends a line) or null characters, and
    /// `REFUSED_INI_KEY` for a key that contains "=", begins a comment or, with this value, looks like a
    /// header.
    void SetString(const CUnicodeString& section, const CUnicodeString& key, const CUnicodeString& value);
    ///@{
    /// Whether the file has it; reads the file if it has not been read yet.
    bool HasSection(const CUnicodeString& section) const;
    bool HasKey(const CUnicodeString& section, const CUnicodeString& key) const;
    ///@}
    /// Does nothing, and does not make the destructor save the file, if there is no such section.
    void DeleteSection(const CUnicodeString& section);
    /// Like `DeleteSection`. A section stays when it loses its last key.
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
    // Mutable because reading a value may have to load the file.
    mutable bool isLoaded = false;
    mutable bool isModified = false;
    bool mayBeMissing;
    mutable bool isExact = true; // whether the file held nothing but valid text
    mutable CArray<std::unique_ptr<CSection>> sections;
    mutable CMap<CUnicodeString, CSection*> sectionMap;

    friend struct CLayout<CIniFile>;

    bool load() const;
    void read() const;
    bool readLines(CArray<CUnicodeString>& lines) const;
    bool readLine(const CUnicodeString& line, CUnicodeString& section) const;
    bool checkStorable(const CUnicodeString& section, const CUnicodeString& key,
                       const CUnicodeString& value) const;
    void store(const CUnicodeString& section, const CUnicodeString& key, const CUnicodeString& value) const;
    void addSection(std::unique_ptr<CSection> section) const;
    CSection* findSection(const CUnicodeString& section) const;
    const CEntry* findEntry(const CUnicodeString& section, const CUnicodeString& key) const;
};
TARNKIT_LAYOUT(CIniFile, 44, fileName, isLoaded, isModified, mayBeMissing, isExact, sections, sectionMap);

} // namespace Tarn
