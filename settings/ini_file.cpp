#include <tarnkit/ini_file.h>

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/text_of_values.h>

#include "files/whole_text.h"
#include "memory/in_destructor.h"

#include <algorithm>
#include <utility>

namespace Tarn {

namespace {

constexpr unsigned kSystemCodePage = 0;
constexpr char16_t kLineEnd[] = u"\r\n";

CUnicodeString trimmed(CUnicodeString text) {
    text.Trim();
    return text;
}

// The form in which names are compared.
CUnicodeString lookupForm(const CUnicodeString& name) {
    CUnicodeString form = trimmed(name);
    form.MakeUpper();
    return form;
}

bool isComment(const CUnicodeString& line) { return line[0] == u';' || (line[0] == u'/' && line[1] == u'/'); }

bool isHeader(const CUnicodeString& line) { return line[0] == u'[' && line[line.GetLength() - 1] == u']'; }

CUnicodeString headerLine(const CUnicodeString& section) { return u"[" + section + u"]"; }
CUnicodeString keyLine(const CUnicodeString& key, const CUnicodeString& value) { return key + u"=" + value; }

enum class TLine { Nothing, Header, Key, Malformed };

// What a line says: the name of a section or of a key, and the value of the key.
TLine parseLine(const CUnicodeString& untrimmed, CUnicodeString& name, CUnicodeString& value) {
    const CUnicodeString line = trimmed(untrimmed);
    if (line.IsEmpty() || isComment(line))
        return TLine::Nothing;
    if (isHeader(line)) {
        name = line.Mid(1, line.GetLength() - 2);
        return TLine::Header;
    }
    const int separator = line.Find(u'=');
    if (separator < 0)
        return TLine::Malformed;
    name = line.Left(separator);
    value = trimmed(line.Mid(separator + 1));
    return TLine::Key;
}

// Whether the text is read back as one line, which null characters, read as spaces, would change.
bool isOneLine(const CUnicodeString& text) {
    CArray<CUnicodeString> lines;
    SplitLines(text, lines);
    return lines.Size() <= 1 &&
           std::find(text.Ptr(), text.Ptr() + text.GetLength(), u'\0') == text.Ptr() + text.GetLength();
}

CUnicodeString directoryOfApplication() {
    return FileSystem::GetDrivePath(FileSystem::GetModuleFileNameW(GetApplicationInstance()));
}

} // namespace

CIniFile::CIniFile(const CUnicodeString& name) : CIniFile(name, MustExist) {}

CIniFile::CIniFile(const CUnicodeString& name, TPresence presence)
    : fileName(FileSystem::CombinePath(directoryOfApplication(), name)),
      mayBeMissing(presence == MayBeMissing) {}

CIniFile::~CIniFile() noexcept(false) {
    RunInDestructor([this] {
        if (isModified)
            Save();
    });
}

void CIniFile::Reload() { read(); }

void CIniFile::Save() {
    if (!load())
        return;
    if (!isExact) {
        GenCheck(ERR_BAD_TEXT_FILE, FileSystem::ForDisplay(fileName));
        return;
    }
    CUnicodeString text;
    const auto appendLines = [&text](const CSection& section) {
        for (const auto& [form, entry] : section.entries)
            text += keyLine(entry.name, entry.value) + kLineEnd;
        text += kLineEnd;
    };
    const CSection* unnamed = findSection(CUnicodeString());
    if (unnamed != nullptr)
        appendLines(*unnamed);
    for (const auto& section : sections)
        if (section.get() != unnamed) {
            text += headerLine(section->name) + kLineEnd;
            appendLines(*section);
        }
    CFile::WriteText(fileName, text);
    isModified = false;
}

CUnicodeString CIniFile::GetString(const CUnicodeString& section, const CUnicodeString& key,
                                   const CUnicodeString& defaultValue) const {
    const CEntry* entry = load() ? findEntry(section, key) : nullptr;
    return entry != nullptr ? entry->value : defaultValue;
}

void CIniFile::SetString(const CUnicodeString& section, const CUnicodeString& key,
                         const CUnicodeString& value) {
    if (!load() || !checkStorable(section, key, trimmed(value)))
        return;
    store(section, key, trimmed(value));
    isModified = true;
}

bool CIniFile::HasSection(const CUnicodeString& section) const {
    return load() && findSection(section) != nullptr;
}

bool CIniFile::HasKey(const CUnicodeString& section, const CUnicodeString& key) const {
    return load() && findEntry(section, key) != nullptr;
}

void CIniFile::DeleteSection(const CUnicodeString& section) {
    const CSection* deleted = load() ? findSection(section) : nullptr;
    if (deleted == nullptr)
        return;
    sectionMap.Delete(lookupForm(section));
    const auto place = std::find_if(sections.begin(), sections.end(),
                                    [deleted](const auto& other) { return other.get() == deleted; });
    sections.DeleteAt(static_cast<int>(place - sections.begin()));
    isModified = true;
}

void CIniFile::DeleteKey(const CUnicodeString& section, const CUnicodeString& key) {
    CSection* found = load() ? findSection(section) : nullptr;
    if (found != nullptr && found->entries.Delete(lookupForm(key)))
        isModified = true;
}

// Loads the file if necessary. Returns false only if that failed and the report of the failure returned.
bool CIniFile::load() const {
    if (!isLoaded)
        read();
    return isLoaded;
}

// Until this succeeds, the file counts as neither loaded nor changed.
void CIniFile::read() const {
    isLoaded = false;
    isModified = false;
    sectionMap.DeleteAll();
    sections.DeleteAll();

    CArray<CUnicodeString> lines;
    if (!readLines(lines))
        return;
    CUnicodeString section;
    for (int i = 0; i < lines.Size(); i++)
        if (!readLine(lines[i], section)) {
            GenCheck(ERR_BAD_INI_FILE, FileSystem::ForDisplay(fileName), UnicodeStr(i));
            return;
        }
    isLoaded = true;
}

// Returns false if the file is not text and the check returned. A file that may be missing and is has no
// lines.
bool CIniFile::readLines(CArray<CUnicodeString>& lines) const {
    isExact = true;
    CUnicodeString text;
    try {
        text = ReadMarkedText(fileName, kSystemCodePage, isExact);
    } catch (CFileException* e) {
        if (!mayBeMissing || e->ErrorCode() != ERROR_FILE_NOT_FOUND)
            throw;
        e->Delete();
        isExact = true;
    }
    if (text.IsEmpty() && !isExact) {
        GenCheck(ERR_BAD_TEXT_FILE, FileSystem::ForDisplay(fileName));
        return false;
    }
    SplitLines(text, lines);
    return true;
}

// Stores the key of a line; a header instead sets `section`, to which the keys of the following lines belong.
// Returns false for a malformed line.
bool CIniFile::readLine(const CUnicodeString& line, CUnicodeString& section) const {
    CUnicodeString name;
    CUnicodeString value;
    switch (parseLine(line, name, value)) {
    case TLine::Nothing:
        return true;
    case TLine::Header:
        section = name;
        return true;
    case TLine::Key:
        store(section, name, value);
        return true;
    default:
        return false;
    }
}

// Whether the lines that `Save` would write for this entry are read back as the same entry; raises a check if
// not. A section that exists keeps its name, and the one with the empty name has no header.
bool CIniFile::checkStorable(const CUnicodeString& section, const CUnicodeString& key,
                             const CUnicodeString& value) const {
    const bool hasNewHeader = findSection(section) == nullptr && !lookupForm(section).IsEmpty();
    const CUnicodeString line = keyLine(key, value);
    CUnicodeString name;
    CUnicodeString readValue;
    CError* error = nullptr;
    if (!isOneLine(line) || (hasNewHeader && !isOneLine(section)))
        error = &REFUSED_INI_TEXT;
    else if (parseLine(line, name, readValue) != TLine::Key || lookupForm(name) != lookupForm(key) ||
             readValue != value)
        error = &REFUSED_INI_KEY;
    if (error != nullptr)
        GenCheck(*error, FileSystem::ForDisplay(fileName), TerminalText(section, true),
                 TerminalText(key, true));
    return error == nullptr;
}

void CIniFile::store(const CUnicodeString& section, const CUnicodeString& key,
                     const CUnicodeString& value) const {
    const CUnicodeString form = lookupForm(key);
    CEntry entry{key, value};
    if (CSection* existing = findSection(section)) {
        existing->entries.Set(form, std::move(entry));
        return;
    }
    // The section is added only once it holds its first key, so that a failure leaves no empty section.
    auto made = std::make_unique<CSection>();
    made->name = section;
    made->entries.Set(form, std::move(entry));
    addSection(std::move(made));
}

void CIniFile::addSection(std::unique_ptr<CSection> section) const {
    sections.Reserve(sections.Size() + 1);
    if (sectionMap.Insert(lookupForm(section->name), section.get()))
        sections.Add(std::move(section));
    else
        GenAssert(u"IniFile", 187);
}

CIniFile::CSection* CIniFile::findSection(const CUnicodeString& section) const {
    CSection** found = sectionMap.Find(lookupForm(section));
    return found != nullptr ? *found : nullptr;
}

const CIniFile::CEntry* CIniFile::findEntry(const CUnicodeString& section, const CUnicodeString& key) const {
    const CSection* found = findSection(section);
    return found != nullptr ? found->entries.Find(lookupForm(key)) : nullptr;
}

} // namespace Tarn
