#include "settings.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/messages.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/resource_modules.h>

using namespace Tarn;

namespace {

constexpr int kMaxRecentBooks = 5;
constexpr unsigned long kGray = 0x808080;
constexpr unsigned long kGreen = 0x40A000;

CUnicodeString keyOf(const CUnicodeString& profile) {
    return profile.IsEmpty() ? CUnicodeString(u"Default") : profile;
}

} // namespace

// A user who has not chosen a language gets that of the system, which is the current one at the start.
CSettings::CSettings(const CUnicodeString& profile)
    : Language(keyOf(profile), u"Language", GetCurrentLanguageCode(), ST_UserSection),
      TimeColor(keyOf(profile), u"TimeColor", kGray, ST_UserSection),
      TitleColor(keyOf(profile), u"TitleColor", kGreen, ST_UserSection),
      LastBook(keyOf(profile), u"LastBook", ST_UserSection),
      RecentBooks(keyOf(profile), u"RecentBooks", ST_UserSection), key(keyOf(profile)) {}

void CSettings::Remember(const CUnicodeString& bookName) {
    CUnicodeString fullName(bookName);
    FileSystem::MakeFullPath(fullName);
    if (LastBook.GetString() == fullName)
        return;
    CArray<CUnicodeString> books;
    RecentBooks.Get(books);
    for (int i = books.Size(); --i >= 0;)
        if (FileSystem::CmpNames(&books[i], &fullName) == 0)
            books.DeleteAt(i);
    books.InsertAt(0, fullName);
    if (books.Size() > kMaxRecentBooks)
        books.SetSize(kMaxRecentBooks);
    RecentBooks.Set(books);
    LastBook.SetString(fullName);
}

void CSettings::Forget() {
    const CUnicodeString sectionName = GetUserRegistrySection();
    CRegistryKey section(false);
    section.Open(HKEY_CURRENT_USER, sectionName);
    if (section.IsValid()) {
        section.DeleteSubKey(key);
        CRegistryKey left(true);
        left.Open(section, key);
        if (!left.IsValid())
            return;
    }
    GenCheck(ERR_CANT_WRITE_TO_REGISTRY, u"HKEY_CURRENT_USER", sectionName + u"\\" + key);
}
