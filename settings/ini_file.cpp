#include <tarnkit/ini_file.h>

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/messages.h>
#include <tarnkit/text_of_values.h>

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

// Whether a file that yielded no text holds more than a byte order mark; if so, it is not text in the code
// page.
bool hasInvalidText(const CUnicodeString& fileName) {
    const CString bytes = CFile::ReadANSIText(fileName);
    return !bytes.IsEmpty() && bytes != "\xFF\xFE" && bytes != "\xFE\xFF";
}

CUnicodeString directoryOfApplication() {
    return FileSystem::GetDrivePath(FileSystem::GetModuleFileNameW(GetApplicationInstance()));
}

} // namespace

CIniFile::CIniFile(const CUnicodeString& name)
    : fileName(FileSystem::CombinePath(directoryOfApplication(), name)) {}

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
    CUnicodeString text;
    const auto appendLines = [&text](const CSection& section) {
        for (const auto& [form, entry] : section.entries)
            text += entry.name + u"=" + entry.value + kLineEnd;
        text += kLineEnd;
    };
    const CSection* unnamed = findSection(CUnicodeString());
    if (unnamed != nullptr)
        appendLines(*unnamed);
    for (const auto& section : sections)
        if (section.get() != unnamed) {
            text += u"[" + section->name + u"]" + kLineEnd;
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
    if (!load())
        return;
    store(section, key, value);
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
    CFile::ReadText(fileName, lines, kSystemCodePage);
    if (lines.IsEmpty() && hasInvalidText(fileName)) {
        GenCheck(ERR_BAD_TEXT_FILE, fileName);
        return;
    }
    CUnicodeString section;
    for (int i = 0; i < lines.Size(); i++)
        if (!readLine(trimmed(lines[i]), section)) {
            GenCheck(ERR_BAD_INI_FILE, fileName, UnicodeStr(i));
            return;
        }
    isLoaded = true;
}

// Stores the key of a line; a header instead sets `section`, to which the keys of the following lines belong.
// Returns false for a malformed line.
bool CIniFile::readLine(const CUnicodeString& line, CUnicodeString& section) const {
    if (line.IsEmpty() || isComment(line))
        return true;
    if (isHeader(line)) {
        section = line.Mid(1, line.GetLength() - 2);
        return true;
    }
    const int separator = line.Find(u'=');
    if (separator < 0)
        return false;
    store(section, line.Left(separator), line.Mid(separator + 1));
    return true;
}

void CIniFile::store(const CUnicodeString& section, const CUnicodeString& key,
                     const CUnicodeString& value) const {
    const CUnicodeString form = lookupForm(key);
    CEntry entry{key, trimmed(value)};
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
