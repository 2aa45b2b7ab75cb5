#include "platform/platform.h"
#include "tests/runtime/started_library.h"

namespace Tarn {
namespace {

constexpr int kString = 6;

CMessage TEST_GREETING(u"TEST_GREETING", 0);

std::vector<int> languageCodes() {
    std::vector<int> codes;
    for (int i = 0; i < NumberOfLanguages(); i++)
        codes.push_back(GetLanguageCode(i));
    return codes;
}

// A family of language libraries with two good members, one without texts and one that is not a library,
// among files with similar names.
class Languages : public WithModules {
protected:
    Languages() {
        copyModule("Res1.dll", "Res1.dll");
        copyModule("Res2.dll", "res2.DLL");
        for (const char* name : {"Res7.dll", "Port13.dll", "Port27.dll"})
            copyModule("Bare.dll", name);
        for (const char* name : {"Res9.dll", "Res.dll", "Res01.dll", "Res+1.dll", "Res48.dll", "Res1x.dll",
                                 "ResX3.dll", "Res4.dll.bak", "MyRes5.dll"})
            std::ofstream(folder / name) << "not a library";
        std::filesystem::create_directory(folder / "Res6.dll");
    }

    void addFamily() { AddResourcePrefix(NameOf(folder), u"Res"); }
};

TEST_F(Languages, AreFoundAndNamedAtStartUp) {
    EXPECT_EQ(AssertionOf(NumberOfLanguages), u"ResourceInfo:268");
    EXPECT_EQ(AssertionOf(GetCurrentLanguageCode), u"ResourceInfo:234");
    addFamily();
    EXPECT_FALSE(TEST_GREETING.IsDefined()) << "not before Initialize";
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(languageCodes(), (std::vector{1, 2, 7, 9}));
    EXPECT_TRUE(FindLanguageIndex(7) == 2 && FindLanguageIndex(0) == -1 && FindLanguageIndex(48) == -1);
    EXPECT_EQ(GetLanguageDisplayName(1), u"\u0420\u0443\u0441\u0441\u043A\u0438\u0439 (Russian)");
    EXPECT_EQ(GetLanguageDisplayName(7), u"7");
    EXPECT_EQ(AssertionOf([] { SetCurrentLanguageCode(0); }), u"ResourceInfo:240");
}

TEST_F(Languages, StartWithTheSystemLanguage) {
    for (const char* locale : {"ru_RU.UTF-8", "pt_PT.UTF-8", "de_AT.UTF-8", "zh_CN.UTF-8"}) {
        // Where programs cannot choose the system's language, it is the same in each round.
        SetEnvironment("LC_ALL", locale);
        const int systemLanguage = Platform::GetSystemDefaultLangID() & 0x3FF;
        addFamily();
        AddResourcePrefix(NameOf(folder), u"Port");
        ASSERT_TRUE(Initialize(nullptr, nullptr));
        EXPECT_EQ(GetCurrentLanguageCode(), systemLanguage == 7 ? 2 : systemLanguage == 22 ? 27 : 1);
        Clean();
    }
    SetEnvironment("LC_ALL", nullptr);
}

TEST_F(Languages, ChangeWhileTheProgramRuns) {
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(languageCodes(), std::vector{0}) << "no language library has been added";
    addFamily();
    EXPECT_EQ(languageCodes(), (std::vector{0, 1, 2, 7, 9}));
    EXPECT_EQ(GetCurrentLanguageCode(), 0);
    const CUnicodeString greetings[] = {u"Hello you", u"\u041F\u0440\u0438\u0432\u0435\u0442, you",
                                        u"Hallo you"};
    for (const int code : {1, 2, 7, 1, 9, 0, 2}) {
        SetCurrentLanguageCode(code);
        EXPECT_EQ(GetCurrentLanguageCode(), code);
        EXPECT_EQ(TEST_GREETING.SubstParam(u"you"), greetings[code > 2 ? 0 : code]) << code;
        // Other languages can be queried in between without changing anything.
        for (const int other : {0, 1, 2, 7, 9, 30})
            EXPECT_EQ(TEST_GREETING.UnicodeStr(other).SubstParam(u"you"), greetings[other > 2 ? 0 : other]);
    }
    Clean();
    EXPECT_EQ(TEST_GREETING.UnicodeStr(), u"TEST_GREETING");
}

// Libraries for other languages stay loaded for a while, but a change of their files is noticed at once.
TEST_F(Languages, InOtherLanguagesFollowTheirFiles) {
    addFamily();
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    SetCurrentLanguageCode(7);
    const auto greeting = [] { return TEST_GREETING.UnicodeStr(2); };
    const auto isLoaded = [&](const std::string& name) {
        return Platform::GetModuleHandleW(NameOf(folder / name)) != nullptr;
    };
    EXPECT_TRUE(greeting() == u"Hallo %0" && greeting() == u"Hallo %0" && isLoaded("res2.DLL"));
    std::filesystem::rename(folder / "res2.DLL", folder / "old");
    EXPECT_EQ(greeting(), u"Hello %0") << "there is no library any more";
    copyModule("Res1.dll", "Res2.dll");
    EXPECT_EQ(greeting(), u"\u041F\u0440\u0438\u0432\u0435\u0442, %0");
    SetCurrentLanguageCode(9);
    EXPECT_FALSE(isLoaded("Res2.dll"));

    const auto numberLoaded = [&] {
        int loaded = 0;
        for (int i = 0; i < 20; i++)
            loaded += isLoaded("F" + std::to_string(i) + "x2.dll");
        return loaded;
    };
    for (int i = 0; i < 20; i++) {
        copyModule("Res1.dll", ("F" + std::to_string(i) + "x2.dll").c_str());
        AddResourcePrefix(NameOf(folder), u"F" + UnicodeStr(i) + u"x");
    }
    EXPECT_EQ(CMessage(u"TEST_NOWHERE", 0).UnicodeStr(2), u"TEST_NOWHERE");
    EXPECT_EQ(numberLoaded() + isLoaded("Res2.dll"), 16) << "the last ones";
    Clean();
    EXPECT_EQ(numberLoaded(), 0);
}

// The original texts are in the program, or in the library for language 0.
TEST_F(Languages, TranslateWhatTheyCanAndLeaveTheRestInTheOriginal) {
    copyModule("App0.dll", "App0.dll");
    copyModule("Res2.dll", "App2.dll");
    const CMessage inProgram(u"TEST_LONG_253", 0), inApp0(u"TEST_ONLY_IN_APP0", 0);
    for (const char16_t* prefix : {u"Res", u"App"}) {
        const bool isApp = prefix == std::u16string_view(u"App");
        AddResourcePrefix(NameOf(folder), prefix);
        ASSERT_TRUE(Initialize(nullptr, nullptr));
        AddResourcePrefix(nullptr, u"Tarnkit"); // another family, with language 1
        for (const int code : {2, 1, 2}) {
            SetCurrentLanguageCode(code);
            const CUnicodeString translated = code == 2 ? u"Hallo %0"
                                              : isApp   ? u"Good day %0"
                                                        : u"\u041F\u0440\u0438\u0432\u0435\u0442, %0";
            EXPECT_EQ(TEST_GREETING.UnicodeStr(), translated) << code;
            EXPECT_EQ(TEST_GREETING.UnicodeStr(code), translated) << code;
            EXPECT_EQ(inProgram.UnicodeStr().GetLength(), 253);
            EXPECT_EQ(inProgram.UnicodeStr(code).GetLength(), 253);
            EXPECT_EQ(inApp0.SubstParam(u"x"), isApp ? u"Not translated: x" : u"TEST_ONLY_IN_APP0 x");
            EXPECT_EQ(inApp0.UnicodeStr(code), isApp ? u"Not translated: %0" : u"TEST_ONLY_IN_APP0");
            CUnicodeString text;
            EXPECT_EQ(LoadStringW(401, text), isApp) << "resources are found in the original too";
        }
        CArray<CUnicodeString> names;
        CMessage::GetDefinedMessages(names);
        EXPECT_EQ(names.Has(u"TEST_ONLY_IN_APP0"), isApp);
        Clean();
    }
}

TEST_F(Languages, HaveTheirOwnPluralForms) {
    copyModule("App0.dll", "App0.dll");
    AddResourcePrefix(NameOf(folder), u"App");
    addFamily();
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    const CMessage guests(u"TEST_PLURAL", 0), six(u"TEST_PLURAL_OF_SIX", 0);
    const auto russian = [](int n) {
        const bool isTeen = n / 10 % 10 == 1;
        return n % 10 == 1 && !isTeen                ? u"a: %1 \u0433\u043E\u0441\u0442\u044C"
               : n % 10 > 1 && n % 10 < 5 && !isTeen ? u"a: %1 \u0433\u043E\u0441\u0442\u044F"
                                                     : u"a: %1 \u0433\u043E\u0441\u0442\u0435\u0439";
    };
    const auto ofSix = [](int n) {
        const char16_t* const small[] = {u"zero", u"one", u"two"};
        const int rest = n % 100;
        return n < 3 ? small[n] : rest < 3 ? u"%0 other" : rest < 11 ? u"%0 few" : u"%0 many";
    };
    for (int n = 0; n <= 1000; n++) {
        const CUnicodeString number = UnicodeStr(n, 10);
        SetCurrentLanguageCode(1);
        ASSERT_EQ(guests.SubstParam(u"a", number), CUnicodeString(russian(n)).SubstParam(u"", number)) << n;
        ASSERT_EQ(six.SubstParam(number), CUnicodeString(ofSix(n)).SubstParam(number)) << n;
        SetCurrentLanguageCode(2); // has only the original of this one
        ASSERT_EQ(guests.SubstParam(u"a", number),
                  n == 1 ? u"a has one guest" : u"a has " + number + u" guests");
    }
    // What is no whole number has the last form, as has the text by itself.
    SetCurrentLanguageCode(1);
    const CUnicodeString last = u" \u0433\u043E\u0441\u0442\u0435\u0439";
    for (const char16_t* number :
         {u"", u"-", u"1.0", u"1 ", u"x1", u"1\u0661", u"-11", u"100000000000000000000011"})
        EXPECT_EQ(guests.SubstParam(u"a", number), u"a: " + CUnicodeString(number) + last);
    for (const char16_t* number : {u"-1", u"100000000000000000000001"})
        EXPECT_EQ(guests.SubstParam(u"a", number),
                  u"a: " + CUnicodeString(number) + last.Left(4) + u"\u0442\u044C");
    EXPECT_EQ(guests.SubstParam(u"1"), u"1: " + last);
    EXPECT_EQ(guests.UnicodeStr(), u"%0: %1" + last);
    EXPECT_EQ(guests.UnicodeStr(0), u"%0 has %1 guests");
    CArray<CUnicodeString> names;
    CMessage::GetDefinedMessages(names);
    EXPECT_EQ(std::count(names.begin(), names.end(), u"TEST_PLURAL"), 1);
}

TEST_F(Languages, AreFoundBesideTheProgramWhenNoFolderIsNamed) {
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    AddResourcePrefix(nullptr, u"Tarnkit");
    EXPECT_EQ(languageCodes(), (std::vector{0, 1, 2}));
}

TEST(LanguageTable, FollowsTheLanguagesOfTheSystem) {
    const int ids[] = {9,    25, 7, 12, 34, 10, 16, 1043, 6,  29, 11, 20, 0,  2070,
                       27,   21, 5, 14, 39, 38, 37, 15,   8,  2,  31, 68, 17, 1046,
                       2067, 13, 0, 0,  0,  0,  57, 3098, 26, 24, 36, 3,  47};
    EXPECT_EQ(AssertionOf([] { GetSystemLanguageIdFromInterfaceCode(48); }), u"ResourceInfo:435");
    EXPECT_EQ(AssertionOf([] { CanDisplayLanguage(-1); }), u"ResourceInfo:364");
    for (int code = 0; code < kNumberOfLanguageCodes; code++) {
        const int id = GetSystemLanguageIdFromInterfaceCode(code);
        EXPECT_EQ(id, code < std::ssize(ids) ? ids[code] : 0) << code;
        EXPECT_EQ(GetInterfaceCodeFromSystemLanguageId(static_cast<unsigned short>(id)), id == 0 ? -1 : code);
    }
    EXPECT_EQ(GetInterfaceCodeFromSystemLanguageId(0x0409), 0) << "English of any country";
    EXPECT_EQ(GetInterfaceCodeFromSystemLanguageId(3 << 10 | 22), -1) << "Portuguese only by country";
}

class ResourceModules : public StartedLibrary {};

TEST_F(ResourceModules, AreSearchedForNamesFromTheLastToTheFirst) {
    EXPECT_EQ(TEST_GREETING.UnicodeStr(), u"Hello %0");
    EXPECT_EQ(CMessage(u"TEST_LONG_253", 0).UnicodeStr().GetLength(), 253);
    HINSTANCE russian = LoadDLL(copyModule("Res1.dll", "one.dll"));
    AddResourceModule(russian);
    AddResourceModule(copyModule("Res2.dll", "two.dll"));
    EXPECT_EQ(TEST_GREETING.UnicodeStr(), u"Hallo %0");
    AddResourceModule(russian);
    AddResourceModule(NameOf(folder / "missing.dll"));
    AddResourceModule(copyModule("Bare.dll", "bare.dll"));
    EXPECT_EQ(TEST_GREETING.SubstParam(u"-"), u"\u041F\u0440\u0438\u0432\u0435\u0442, -");
    EXPECT_EQ(CMessage(u"TEST_TEXTLESS", 0).SubstParam(u"-"), u"TEST_TEXTLESS -") << "has no text";
    EXPECT_EQ(ERR_BAD_ARCHIVE.UnicodeStr(), u"%0 is corrupted.");
    EXPECT_EQ(AssertionOf([] { AddResourceModule(static_cast<HINSTANCE>(nullptr)); }), u"Tarnkit:320");
    EXPECT_EQ(AssertionOf([] { AddResourcePrefix(u"x", u""); }), u"ResourceInfo:33");
}

TEST_F(ResourceModules, AreSearchedForResourcesLanguageFirst) {
    copyModule("Res2.dll", "Res2.dll");
    AddResourcePrefix(NameOf(folder), u"Res");
    AddResourceModule(GetThisModule());
    const int greeting = MessageID(TEST_GREETING);
    EXPECT_EQ(FindResourceW(ResourceId(greeting), ResourceId(kString)), GetThisModule());
    SetCurrentLanguageCode(2);
    EXPECT_EQ(TEST_GREETING.UnicodeStr(), u"Hello %0") << "names: the last module";
    CUnicodeString text;
    EXPECT_TRUE(LoadStringW(greeting, text));
    EXPECT_EQ(text, u"Hallo %0") << "resources: the language";
    EXPECT_FALSE(LoadStringW(greeting + 100, text) || !text.IsEmpty());
    EXPECT_EQ(FindResourceW(ResourceId(1), ResourceId(10)), nullptr);
    EXPECT_EQ(AssertionOf([&] { LoadStringW(nullptr, greeting, text); }), u"UnicodeString:258");
}

} // namespace
} // namespace Tarn
