// How the POSIX port interprets the user's environment.
#include "platform/posix/text/language.h"

#include "platform/platform.h"

#include "tests/support/testing.h"

namespace {

namespace Posix = Tarn::Platform::Posix;

constexpr const char* kVariables[] = {"LC_ALL", "LC_CTYPE",    "LC_MESSAGES",
                                      "LANG",   "TARNKIT_ACP", "TARNKIT_OEMCP"};

using Values = std::vector<std::pair<const char*, const char*>>;

class UserLocale : public testing::Test {
protected:
    ~UserLocale() override { setVariables({}); }

    /// Sets the variables of the locale and the code pages and clears those not named.
    static void setVariables(const Values& values) {
        for (const char* name : kVariables)
            unsetenv(name);
        for (const auto& [name, value] : values)
            setenv(name, value, 1);
    }
};

TEST_F(UserLocale, GivesTheCodePages) {
    const std::tuple<Values, UINT, UINT> table[] = {
        {{}, 1252, 437},
        {{{"LC_ALL", "C"}, {"LANG", "de_DE.UTF-8"}}, 1252, 437},
        {{{"LC_ALL", "C.UTF-8"}}, CP_UTF8, 437},
        {{{"LANG", "de_DE.UTF-8"}}, CP_UTF8, 850},
        // No usual installation has these locales; the name alone decides.
        {{{"LANG", "xx_XX.KOI8-R"}}, 20866, 866},
        {{{"LANG", "de_XX.ISO-8859-15@euro"}}, 28605, 850},
        {{{"LANG", "ja_XX.SJIS"}}, 932, 932},
        {{{"LANG", "xx_XX.klingon"}}, 1252, 437},
        {{{"TARNKIT_ACP", "1250"}}, 1250, 852},
        {{{"TARNKIT_ACP", "65001"}, {"TARNKIT_OEMCP", "855"}}, CP_UTF8, 855},
        {{{"TARNKIT_ACP", "1"}, {"TARNKIT_OEMCP", "12x"}}, 1252, 437},
        {{{"TARNKIT_ACP", "99999999999999999999"}, {"TARNKIT_OEMCP", ""}}, 1252, 437}};
    for (const auto& [variables, ansi, oem] : table) {
        setVariables(variables);
        UINT found[2] = {};
        Posix::FindCodePages(&found[0], &found[1]);
        EXPECT_EQ(found[0], ansi) << testing::PrintToString(variables);
        EXPECT_EQ(found[1], oem) << testing::PrintToString(variables);
    }
}

TEST_F(UserLocale, GivesTheLanguage) {
    const std::pair<const char*, LANGID> table[] = {{"C", 0x0409},
                                                    {"xx", 0x0409},
                                                    {"de_CH", 0x0807},
                                                    {"pt_BR.UTF-8", 0x0416},
                                                    {"sr_RS", 0x0C1A},
                                                    {"sr_RS@latin", 0x081A},
                                                    {"uz_UZ.UTF-8@cyrillic", 0x0843},
                                                    {"zh_CN.GB18030", 0x0804}};
    for (const auto& [locale, id] : table)
        EXPECT_EQ(Posix::LanguageOf(locale).id, id) << locale;
    setVariables({{"LANG", "fr_FR"}, {"LC_MESSAGES", "cs_CZ.UTF-8"}});
    EXPECT_EQ(Tarn::Platform::GetSystemDefaultLangID(), 0x0405);
    setVariables({{"LC_ALL", ""}, {"LANG", "tt_RU"}});
    EXPECT_EQ(Tarn::Platform::GetSystemDefaultLangID(), 0x0444);
}

} // namespace
