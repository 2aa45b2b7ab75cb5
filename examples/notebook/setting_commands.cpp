#include "setting_commands.h"
#include "console.h"
#include "interface_language.h"
#include "messages.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/text_of_values.h>

using namespace Tarn;

namespace {

constexpr unsigned long kNoColor = 0xFFFFFFFF;

void checkLanguage(const CUnicodeString& text) { CheckedLanguage(text); }

// A text that is not a color reads as the default, which here is no color.
void checkColor(const CUnicodeString& text) {
    const CSetupColor setting(u"", u"", kNoColor, ST_UserSection);
    if (setting.ConvertFromString(text) == setting.GetDefault())
        GenCheck(ERR_NOTEBOOK_BAD_COLOR, text);
}

const struct CNamedSetting {
    const char16_t* name;
    CSetupBase& (*find)(CSettings& settings);
    void (*check)(const CUnicodeString& value);
} kSettings[] = {
    {u"language", [](CSettings& settings) -> CSetupBase& { return settings.Language; }, checkLanguage},
    {u"time-color", [](CSettings& settings) -> CSetupBase& { return settings.TimeColor; }, checkColor},
    {u"title-color", [](CSettings& settings) -> CSetupBase& { return settings.TitleColor; }, checkColor},
};

void showSettings(CSettings& settings, const CUnicodeString*) {
    for (const CNamedSetting& setting : kSettings)
        Console::Print(Format(u"%-12s %s\n", setting.name, setting.find(settings).GetString().Ptr()));
}

void set(CSettings& settings, const CUnicodeString* words) {
    for (const CNamedSetting& setting : kSettings)
        if (words[1] == setting.name) {
            setting.check(words[2]);
            return setting.find(settings).SetString(words[2]);
        }
    GenCheck(ERR_NOTEBOOK_BAD_SETTING, words[1]);
}

void showRecentBooks(CSettings& settings, const CUnicodeString*) {
    CArray<CUnicodeString> books;
    settings.RecentBooks.Get(books);
    for (const CUnicodeString& book : books)
        Console::Print(FileSystem::ForDisplay(book) + u"\n");
}

void forget(CSettings& settings, const CUnicodeString*) { settings.Forget(); }

const struct {
    const char16_t* name;
    int numberOfWords; // including the name
    void (*run)(CSettings& settings, const CUnicodeString* words);
} kCommands[] = {
    {u"settings", 1, showSettings},
    {u"set", 3, set},
    {u"recent", 1, showRecentBooks},
    {u"forget", 1, forget},
};

} // namespace

bool ExecuteSettingCommand(const CArray<CUnicodeString>& words, CSettings& settings) {
    for (const auto& command : kCommands)
        if (words.Size() == command.numberOfWords && words[0] == command.name) {
            command.run(settings, words.Ptr());
            return true;
        }
    return false;
}
