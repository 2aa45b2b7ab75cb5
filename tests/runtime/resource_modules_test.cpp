#include "platform/platform.h"
#include "tests/runtime/started_library.h"

#include <tarnkit/messages.h>
#include <tarnkit/resource_modules.h>
#include <tarnkit/tarnkit_static.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <vector>

namespace Tarn {
namespace {

constexpr int kString = 6;

CMessage TEST_GREETING(u"TEST_GREETING", 0);
CMessage TEST_ORIGINAL_ONLY(u"TEST_ORIGINAL_ONLY", 0);
CMessage TEST_LONG_126(u"TEST_LONG_126", 0);
CMessage TEST_LONG_253(u"TEST_LONG_253", 0);

std::vector<int> languageCodes() {
    std::vector<int> codes;
    for (int i = 0; i < NumberOfLanguages(); i++)
        codes.push_back(GetLanguageCode(i));
    return codes;
}

// A family of language libraries with two good members, one that tells nothing, one that is none at all, and
// with neighbours of similar names.
class Languages : public WithModules {
protected:
    Languages() {
        copyModule("Res1.dll", "Res1.dll");
        copyModule("Res2.dll", "res2.DLL");
        copyModule("Bare.dll", "Res7.dll");
        copyModule("Bare.dll", "Port13.dll");
        copyModule("Bare.dll", "Port27.dll");
        std::ofstream(folder / "Res9.dll") << "not a library";
        for (const char* name : {"Res.dll", "Res01.dll", "Res+1.dll", "Res48.dll", "Res1x.dll", "ResX3.dll",
                                 "Res4.dll.bak", "MyRes5.dll"})
            std::ofstream(folder / name) << "not a member";
        std::filesystem::create_directory(folder / "Res6.dll");
    }

    void addFamily() { AddResourcePrefix(toText(folder), u"Res"); }
};

TEST_F(Languages, AreFoundAndNamedAtTheStart) {
    EXPECT_EQ(assertionLine(NumberOfLanguages), 268);
    EXPECT_EQ(assertionLine(GetCurrentLanguageCode), 234);
    addFamily();
    EXPECT_FALSE(TEST_GREETING.IsDefined()) << "not before the set-up";
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(languageCodes(), (std::vector{1, 2, 7, 9}));
    EXPECT_TRUE(FindLanguageIndex(7) == 2 && FindLanguageIndex(0) == -1 && FindLanguageIndex(48) == -1);
    EXPECT_EQ(GetLanguageDisplayName(1), u"\u0420\u0443\u0441\u0441\u043A\u0438\u0439 (Russian)");
    EXPECT_EQ(GetLanguageDisplayName(2), u"Deutsch (German)");
    EXPECT_EQ(GetLanguageDisplayName(7), u"7");
    EXPECT_EQ(assertionLine([] { SetCurrentLanguageCode(0); }), 240);
}

TEST_F(Languages, StartWithThatOfTheSystem) {
    for (const char* locale : {"ru_RU.UTF-8", "pt_PT.UTF-8", "de_AT.UTF-8", "zh_CN.UTF-8", "C"}) {
        // Where programs cannot choose the system's language, each round has the same one.
        setenv("LC_ALL", locale, 1);
        const int systemLanguage = Platform::GetSystemDefaultLangID() & 0x3FF;
        const std::map<int, int> codes = {{25, 1}, {7, 2}, {22, 27}};
        const int expected = codes.contains(systemLanguage) ? codes.at(systemLanguage) : 1;
        AddResourcePrefix(toText(folder), u"Res");
        AddResourcePrefix(toText(folder), u"Port");
        ASSERT_TRUE(Initialize(nullptr, nullptr));
        EXPECT_EQ(GetCurrentLanguageCode(), expected) << locale;
        Clean();
    }
    unsetenv("LC_ALL");
}

TEST_F(Languages, ChangeWhileTheProgramRuns) {
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(languageCodes(), std::vector{0}) << "no library is known";
    EXPECT_EQ(GetLanguageDisplayName(0), u"0");
    addFamily();
    EXPECT_EQ(languageCodes(), (std::vector{0, 1, 2, 7, 9}));
    EXPECT_EQ(GetCurrentLanguageCode(), 0);
    const CUnicodeString greetings[] = {u"Hello you", u"\u041F\u0440\u0438\u0432\u0435\u0442, you",
                                        u"Hallo you"};
    for (const int code : {1, 2, 7, 1, 9, 0, 2}) {
        SetCurrentLanguageCode(code);
        EXPECT_EQ(GetCurrentLanguageCode(), code);
        EXPECT_EQ(TEST_GREETING.SubstParam(u"you"), greetings[code > 2 ? 0 : code]) << code;
        EXPECT_EQ(TEST_ORIGINAL_ONLY.UnicodeStr(), u"Nobody has translated this.");
        // Other languages can be asked meanwhile, and nothing changes for that.
        for (const int other : {0, 1, 2, 7, 9, 30})
            EXPECT_EQ(TEST_GREETING.UnicodeStr(other).SubstParam(u"you"), greetings[other > 2 ? 0 : other]);
    }
    Clean();
    EXPECT_EQ(TEST_GREETING.UnicodeStr(), u"TEST_GREETING");
}

TEST_F(Languages, TranslateTheLibraryItself) {
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    AddResourcePrefix(nullptr, u"Tarnkit");
    EXPECT_EQ(languageCodes(), (std::vector{0, 1, 2}));
    SetCurrentLanguageCode(2);
    EXPECT_EQ(ERR_FILE_NOT_FOUND.SubstParam(u"x"), u"x wurde nicht gefunden.");
    EXPECT_EQ(ERR_FILE_NOT_FOUND.UnicodeStr(1),
              u"\u0424\u0430\u0439\u043B %0 \u043D\u0435 \u043D\u0430\u0439\u0434\u0435\u043D.");
    EXPECT_EQ(MessageID(ERR_FILE_NOT_FOUND), 4118);
    EXPECT_EQ(ERR_FILE_NOT_FOUND.UnicodeStr(0), u"%0 was not found.");
}

TEST(LanguageTable, FollowsTheLanguagesOfTheSystem) {
    EXPECT_EQ(GetSystemLanguageIdFromInterfaceCode(1), 25);
    EXPECT_EQ(GetSystemLanguageIdFromInterfaceCode(13), 2 << 10 | 22);
    EXPECT_EQ(GetSystemLanguageIdFromInterfaceCode(12), 0);
    EXPECT_EQ(assertionLine([] { GetSystemLanguageIdFromInterfaceCode(48); }), 435);
    EXPECT_EQ(assertionLine([] { CanDisplayLanguage(-1); }), 364);
    for (int code = 0; code < kNumberOfLanguageCodes; code++) {
        EXPECT_TRUE(CanDisplayLanguage(code));
        const int id = GetSystemLanguageIdFromInterfaceCode(code);
        EXPECT_EQ(GetInterfaceCodeFromSystemLanguageId(static_cast<unsigned short>(id)), id == 0 ? -1 : code);
    }
    EXPECT_EQ(GetInterfaceCodeFromSystemLanguageId(0x0409), 0) << "English of any country";
    EXPECT_EQ(GetInterfaceCodeFromSystemLanguageId(1 << 10 | 22), 27);
    EXPECT_EQ(GetInterfaceCodeFromSystemLanguageId(3 << 10 | 22), -1) << "Portuguese only by country";
    EXPECT_EQ(GetInterfaceCodeFromSystemLanguageId(0x0411), 26);
    EXPECT_EQ(GetInterfaceCodeFromSystemLanguageId(1), -1);
}

class ResourceModules : public StartedLibrary {};

TEST_F(ResourceModules, AreAskedForNamesFromTheLastToTheFirst) {
    EXPECT_EQ(TEST_GREETING.UnicodeStr(), u"Hello %0");
    HINSTANCE russian = LoadDLL(copyModule("Res1.dll", "one.dll"));
    HINSTANCE german = LoadDLL(copyModule("Res2.dll", "two.dll"));
    ASSERT_TRUE(russian != nullptr && german != nullptr);
    AddResourceModule(russian);
    AddResourceModule(german);
    EXPECT_EQ(TEST_GREETING.UnicodeStr(), u"Hallo %0");
    AddResourceModule(russian);
    EXPECT_EQ(TEST_GREETING.SubstParam(u"-"), u"\u041F\u0440\u0438\u0432\u0435\u0442, -");
    AddResourceModule(toText(folder / "missing.dll"));
    AddResourceModule(copyModule("Bare.dll", "bare.dll"));
    EXPECT_EQ(TEST_GREETING.SubstParam(u"-"), u"\u041F\u0440\u0438\u0432\u0435\u0442, -")
        << "it knows nothing";
    EXPECT_EQ(ERR_BAD_ARCHIVE.UnicodeStr(), u"%0 is corrupted.");
    EXPECT_EQ(assertionLine([] { AddResourceModule(static_cast<HINSTANCE>(nullptr)); }), 320);
    EXPECT_EQ(assertionLine([] { AddResourcePrefix(u"x", u""); }), 33);
}

TEST_F(ResourceModules, HoldStringsOfAnyLength) {
    CUnicodeString text = u"before";
    EXPECT_FALSE(LoadStringW(GetThisModule(), 299, text) || !text.IsEmpty());
    EXPECT_EQ(TEST_LONG_126.UnicodeStr().GetLength(), 126);
    EXPECT_EQ(TEST_LONG_253.UnicodeStr().GetLength(), 253);
    EXPECT_EQ(TEST_LONG_253.UnicodeStr().Right(4), u"0123");
    EXPECT_EQ(assertionLine([&] { LoadStringW(nullptr, 1, text); }), 258);
}

TEST_F(ResourceModules, AreSearchedForResourcesLanguageFirst) {
    const int greeting = MessageID(TEST_GREETING);
    EXPECT_EQ(FindResourceW(ResourceId(greeting), ResourceId(kString)), GetThisModule());
    CUnicodeString text;
    EXPECT_TRUE(LoadStringW(greeting, text));
    EXPECT_EQ(text, u"Hello %0");

    copyModule("Res1.dll", "Res1.dll");
    copyModule("Res2.dll", "Res2.dll");
    AddResourcePrefix(toText(folder), u"Res");
    AddResourceModule(GetThisModule());
    SetCurrentLanguageCode(2);
    EXPECT_EQ(TEST_GREETING.UnicodeStr(), u"Hello %0") << "names: the last module";
    EXPECT_TRUE(LoadStringW(greeting, text));
    EXPECT_EQ(text, u"Hallo %0") << "resources: the language";
    EXPECT_EQ(FindResourceW(ResourceId(299), ResourceId(kString)), nullptr);
    EXPECT_EQ(FindResourceW(ResourceId(1), ResourceId(10)), nullptr);
    EXPECT_FALSE(LoadStringW(299, text) || !text.IsEmpty());
}

} // namespace
} // namespace Tarn
