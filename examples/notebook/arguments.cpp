#include "arguments.h"
#include "messages.h"
#include "note_time.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/resource_modules.h>

using namespace Tarn;

namespace {

constexpr unsigned kLastCodePage = 65535;

void selectLanguage(const CUnicodeString& text) {
    int code = 0;
    if (!text.Value(code, 10) || FindLanguageIndex(code) < 0)
        GenCheck(ERR_NOTEBOOK_BAD_LANGUAGE, text);
    SetCurrentLanguageCode(code);
}

CTime checkedTime(const CUnicodeString& text) {
    CTime time = CTime::CreateZeroTime();
    if (!ParseNoteTime(text, time))
        GenCheck(ERR_NOTEBOOK_BAD_TIME, text);
    return time;
}

// The options that are followed by a value.
const struct {
    const char16_t* name;
    void (*take)(CArguments& arguments, const CUnicodeString& value);
} kOptions[] = {
    {u"--code-page", [](CArguments& a, const CUnicodeString& value) { a.codePage = CheckedCodePage(value); }},
    // At once, so that the user understands what is wrong about the rest.
    {u"--language", [](CArguments&, const CUnicodeString& value) { selectLanguage(value); }},
    {u"--log", [](CArguments& a, const CUnicodeString& value) { a.logName = value; }},
    {u"--sort", [](CArguments& a, const CUnicodeString& value) { a.order = CheckedOrder(value); }},
    {u"--time", [](CArguments& a, const CUnicodeString& value) { a.time = checkedTime(value); }},
    {u"--with", [](CArguments& a, const CUnicodeString& value) { a.characters = value; }},
};

// Moves `index` to the last value that was used.
void parseWord(CArguments& arguments, const CArray<CUnicodeString>& values, int& index) {
    const CUnicodeString& word = values[index];
    if (word == u"--dry-run") {
        arguments.isDryRun = true;
        return;
    }
    for (const auto& option : kOptions) {
        if (word != option.name)
            continue;
        if (++index == values.Size())
            GenCheck(ERR_NOTEBOOK_USAGE);
        option.take(arguments, values[index]);
        return;
    }
    arguments.words.Add(word);
}

} // namespace

unsigned CheckedCodePage(const CUnicodeString& text) {
    unsigned codePage = 0;
    if (!text.Value(codePage, 10) || codePage > kLastCodePage)
        GenCheck(ERR_NOTEBOOK_BAD_CODE_PAGE, text);
    return codePage;
}

TNoteOrder CheckedOrder(const CUnicodeString& text) {
    TNoteOrder order = NO_Number;
    if (!ParseNoteOrder(text, order))
        GenCheck(ERR_NOTEBOOK_BAD_ORDER, text);
    return order;
}

CArguments ParseArguments(const CArray<CUnicodeString>& values) {
    CArguments arguments;
    for (int i = 0; i < values.Size(); i++)
        parseWord(arguments, values, i);
    return arguments;
}
