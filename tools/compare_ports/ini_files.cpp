// INI files of random lines: the values found in them, and their contents after changes.
#include "tools/compare_ports/results.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/ini_file.h>
#include <tarnkit/messages.h>
#include <tarnkit/temp_file.h>

namespace compare_ports {

namespace {

using namespace Tarn;

constexpr unsigned kFiles = 1'000;

// A few names, in spellings that are hard to tell apart, and everything else that lines consist of.
constexpr std::u16string_view kNames[] = {u"a",      u"A",      u" A\t",    u"\u00E4", u"\u00C4", u"\u0436",
                                          u"\u0416", u"\u0131", u"i",       u"\u00DF", u"\u1E9E", u"\u01C6",
                                          u"\u01C5", u"\uFF41", u"\u3000A", u"\u03C3", u"\u03C2", u""};
constexpr std::u16string_view kPieces[] = {u"[",      u"]",      u"=",      u"=",      u";",      u"/",
                                           u"//",     u" ",      u"\t",     u"\u00A0", u"\u0085", u"\u200B",
                                           u"\u3000", u"\u180E", u"\uFEFF", u"\u001C", u"\u202F", u"x"};
constexpr std::u16string_view kLineBreaks[] = {u"\r\n", u"\n", u"\r", u"\u2028", u"\u2029", u"\v", u"\f"};

std::u16string randomLine(Random& random) {
    const std::u16string name(random.Pick(kNames));
    if (random.OneIn(4))
        return u"[" + name + u"]";
    std::u16string line = name;
    for (unsigned length = random.Below(4); length > 0; length--)
        line += random.OneIn(3) ? random.Pick(kNames) : random.Pick(kPieces);
    return random.OneIn(20) ? line : line + u"=" + std::u16string(random.Pick(kPieces)) + name;
}

CUnicodeString randomText(Random& random) {
    std::u16string text;
    for (unsigned count = random.Below(16); count > 0; count--) {
        text +=
            randomLine(random); // in a statement of its own, because compilers order operands as they like
        text += random.Pick(kLineBreaks);
    }
    return text.c_str();
}

std::string quoted(const CUnicodeString& text) {
    return Quoted(std::u16string_view(text.Ptr(), static_cast<std::size_t>(text.GetLength())));
}

/// The file as the library saves it, after a few queries and changes.
std::string resultOf(Random& random, const CUnicodeString& fileName) {
    const CUnicodeString section = random.OneIn(2) ? u"" : random.Pick(kNames).data();
    const CUnicodeString key = random.Pick(kNames).data();
    CIniFile file(fileName);
    const std::string found = quoted(file.GetString(section, key, u"none"));
    if (random.OneIn(3))
        file.SetString(section, key, random.Pick(kPieces).data());
    else if (random.OneIn(2))
        file.DeleteKey(section, key);
    else if (random.OneIn(4))
        file.DeleteSection(section);
    file.Save();
    return Words(quoted(section), quoted(key), found, quoted(CFile::ReadText(fileName, 0)));
}

} // namespace

void PrintIniFiles(ResultFile& results) {
    Random random(3);
    const CUnicodeString fileName = TempFile::New(u"ini");
    for (unsigned number = 0; number < kFiles; number++) {
        CFile::WriteText(fileName, randomText(random));
        Random choices(number);
        try {
            results.Add("ini", number, resultOf(choices, fileName));
        } catch (CCheckException* e) {
            results.Add("ini", number, quoted(e->Error().GetMessage().Name()));
            e->Delete();
        }
    }
    TempFile::Delete(fileName);
}

} // namespace compare_ports
