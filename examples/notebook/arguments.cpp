#include "arguments.h"
#include "messages.h"
#include "note_time.h"
#include "text_files.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/ini_file.h>

#include <algorithm>

using namespace Tarn;

namespace {

constexpr unsigned kLastCodePage = 65535;

// The options that are followed by a value.
const char16_t* const kOptions[] = {u"--code-page", u"--language", u"--log",     u"--profile",
                                    u"--sort",      u"--time",     u"--windows", u"--with"};

constexpr char16_t kIniFile[] = u"notebook.ini";

bool isOption(const CUnicodeString& word) {
    return std::any_of(std::begin(kOptions), std::end(kOptions),
                       [&word](const char16_t* name) { return word == name; });
}

} // namespace

CArguments::CArguments(const CArray<CUnicodeString>& values) {
    for (int i = 0; i < values.Size(); i++) {
        const CUnicodeString& word = values[i];
        if (word == u"--dry-run")
            isDryRun = true;
        else if (word == u"--color")
            isColored = true;
        else if (isOption(word) && i + 1 < values.Size())
            options.Set(word, values[++i]);
        else if (word.Left(2) == u"--")
            areUnderstood = false;
        else
            words.Add(word);
    }
}

void CArguments::ReadIniFile() {
    if (!FileSystem::AccessFile(FileSystem::Merge(FileSystem::GetEXEDir(), kIniFile), 0))
        return;
    const CIniFile file(kIniFile);
    for (const CUnicodeString name : {u"code-page", u"sort"})
        options.Insert(u"--" + name, file.GetString(u"Options", name, u""));
}

unsigned CArguments::CodePage() const {
    const CUnicodeString text = option(u"--code-page");
    unsigned codePage = kUtf8;
    if (!text.IsEmpty() && (!text.Value(codePage, 10) || codePage > kLastCodePage))
        GenCheck(ERR_NOTEBOOK_BAD_CODE_PAGE, text);
    return codePage;
}

TNoteOrder CArguments::Order() const {
    const CUnicodeString text = option(u"--sort");
    TNoteOrder order = NO_Number;
    if (!text.IsEmpty() && !ParseNoteOrder(text, order))
        GenCheck(ERR_NOTEBOOK_BAD_ORDER, text);
    return order;
}

CTime CArguments::Time() const {
    const CUnicodeString text = option(u"--time");
    CTime time = CTime::GetCurrentTime();
    if (!text.IsEmpty() && !ParseNoteTime(text, time))
        GenCheck(ERR_NOTEBOOK_BAD_TIME, text);
    return time;
}

CUnicodeString CArguments::option(const char16_t* name) const {
    const CUnicodeString* const value = options.Find(name);
    return value != nullptr ? *value : CUnicodeString();
}
