// How the POSIX port interprets the user's time zone and the formats of his locale.
#include "tests/platform/locale_texts.h"

#include <unistd.h>

// glibc's newlocale leaks the folder names that it takes from LOCPATH.
extern "C" [[gnu::visibility("default")]] const char* __lsan_default_suppressions() {
    return "leak:argz_add_sep";
}

namespace {

namespace P = Tarn::Platform;
using P::dateText;
using P::localeText;
using P::Text;

const Tarn::CCapability kLocaleDefinitions{std::filesystem::exists("/usr/share/i18n/locales/en_US")
                                               ? nullptr
                                               : "there are no definitions to make locales from"};

/// The environment that describes the user, for the duration of a test.
class LocaleOfDates : public testing::Test {
protected:
    ~LocaleOfDates() override {
        for (const char* variable : {"TZ", "LOCPATH", "LC_ALL"})
            unsetenv(variable);
        if (!localesBefore.empty())
            setenv("LOCPATH", localesBefore.c_str(), 1);
    }

    static DWORD enterZone(const char* zone, TIME_ZONE_INFORMATION& information) {
        setenv("TZ", zone, 1);
        return P::GetTimeZoneInformation(&information);
    }

    /// Locales that the test compiles itself, so that only the definitions of locales need to be installed.
    static void enter(const std::string& locale, const std::string& codeset) {
        const std::string name = locale + "." + codeset;
        // The files of locales have the machine's order of bytes, which need not be that of the tool's
        // machine.
        const std::string order =
            std::endian::native == std::endian::big ? "--big-endian" : "--little-endian";
        const std::string command = "LC_ALL=C localedef " + order + " -i " + locale + " -f " + codeset +
                                    " locales/" + name + " >/dev/null 2>&1";
        std::filesystem::create_directory("locales");
        EXPECT_TRUE(std::filesystem::exists("locales/" + name) || std::system(command.c_str()) == 0)
            << command;
        setenv("LOCPATH", std::filesystem::absolute("locales").c_str(), 1);
        setenv("LC_ALL", name.c_str(), 1);
    }

    static Text pictures() {
        return localeText(LOCALE_SSHORTDATE) + u"|" + localeText(LOCALE_SLONGDATE) + u"|" +
               localeText(LOCALE_STIMEFORMAT);
    }

private:
    const std::string localesBefore = getenv("LOCPATH") != nullptr ? getenv("LOCPATH") : "";
};

TEST_F(LocaleOfDates, ReportsDaylightTime) {
    TIME_ZONE_INFORMATION zone;
    EXPECT_EQ(enterZone("<-0930>9:30", zone), TIME_ZONE_ID_UNKNOWN);
    EXPECT_EQ(zone.Bias, 570);
    EXPECT_EQ(Text(zone.StandardName), u"-0930");
    EXPECT_EQ(zone.DaylightDate.wMonth, 0);
    const DWORD here = enterZone("AEST-10AEDT,M10.1.0,M4.1.0/3", zone);
    EXPECT_EQ(zone.Bias, -600);
    EXPECT_EQ(zone.DaylightBias, -60);
    EXPECT_EQ(Text(zone.StandardName) + Text(zone.DaylightName), u"AESTAEDT");
    for (const auto& [date, month, hour] :
         {std::tuple(zone.DaylightDate, 10, 2), std::tuple(zone.StandardDate, 4, 3)}) {
        EXPECT_EQ(std::tuple(date.wMonth, date.wHour, date.wMinute), std::tuple(month, hour, 0));
        EXPECT_TRUE(date.wDayOfWeek == 0 && date.wDay <= 7) << "the first Sunday";
    }
    EXPECT_EQ(here + enterZone("NST-10NDT,M4.1.0,M10.1.0/3", zone), // the other half of the year
              TIME_ZONE_ID_STANDARD + TIME_ZONE_ID_DAYLIGHT);
}

TEST_F(LocaleOfDates, SeesEveryChangeOfTheEnvironment) {
    const auto zone = [] {
        TIME_ZONE_INFORMATION information{};
        P::GetTimeZoneInformation(&information);
        return Text(information.StandardName);
    };
    unsetenv("TZ");
    const Text system = zone();
    static char own[] = "TZ=OWN1";
    static char variable[] = "TARNKIT_X=1";
    char* const shorter[] = {variable, own, nullptr};
    char** whole = nullptr;
    const auto forMany = [](auto change) {
        for (int i = 0; i < 300; i++)
            change(("TARNKIT_X" + std::to_string(i)).c_str());
    };
    const std::pair<std::function<void()>, Text> steps[] = {
        {[] { setenv("TZ", "AAA1", 1); }, u"AAA"},
        {[] { setenv("TZ", "BBB1", 1); }, u"BBB"},
        {[] { setenv("TARNKIT_X", "2", 1); }, u"BBB"},
        {[] { putenv(own); }, u"OWN"},
        {[] { own[5] = 'X'; }, u"OWX"},
        {[&] { whole = std::exchange(environ, const_cast<char**>(shorter)); }, u"OWX"},
        {[&] { environ = whole, unsetenv("TZ"), setenv("TZ", "CCC1", 1); }, u"CCC"},
        {[&] { forMany([](const char* name) { setenv(name, "", 1); }); }, u"CCC"},
        {[] { setenv("TZ", "DDD1", 1); }, u"DDD"},
        {[&] { forMany(unsetenv); }, u"DDD"},
        // The same number of variables, and the same last one.
        {[] { setenv("TARNKIT_X", "1", 1), setenv("TARNKIT_Y", "1", 1), unsetenv("TZ"); }, system},
        {[] {
             for (const char* name : {"TARNKIT_X", "TARNKIT_Y"})
                 unsetenv(name);
             setenv("TZ", "EEE1", 1), setenv("TARNKIT_Y", "1", 1);
         },
         u"EEE"},
        {[] { setenv("TZ", "", 1); }, u"UTC"}};
    for (const auto& [change, expected] : steps) {
        change();
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(zone(), expected) << &change - &steps[0].first;
    }
    for (const char* name : {"TARNKIT_X", "TARNKIT_Y"})
        unsetenv(name);
}

TEST_F(LocaleOfDates, GivesPicturesByItsFormats) {
    TARNKIT_TEST_NEEDS(kLocaleDefinitions);
    const std::tuple<const char*, const char*, const char16_t*> table[] = {
        {"en_US", "UTF-8", u"MM/dd/yyyy|dddd dd MMMM yyyy|hh:mm:ss tt"},
        {"cs_CZ", "ISO-8859-2", u"d.M.yyyy|dddd d. MMMM yyyy|HH:mm:ss"},
        {"lt_LT", "UTF-8", u"yyyy-MM-dd|yyyy 'm'. MMMM dd 'd'.|HH:mm:ss"},
        {"ja_JP", "EUC-JP", u"yyyy年MM月dd日|yyyy年MM月dd日|HH時mm分ss秒"}};
    for (const auto& [locale, codeset, expected] : table) {
        enter(locale, codeset);
        EXPECT_EQ(pictures(), expected) << locale;
    }
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(pictures(), u"MM/dd/yy|dddd MMMM d yyyy|HH:mm:ss");
    setenv("LC_ALL", "xx_XX.UTF-8", 1);
    EXPECT_EQ(localeText(LOCALE_SDAYNAME1), u"Monday") << "the default for a locale that does not exist";
}

TEST_F(LocaleOfDates, GivesItsNamesAndEras) {
    TARNKIT_TEST_NEEDS(kLocaleDefinitions);
    const SYSTEMTIME old = {1988, 1, 0, 2, 0, 0, 0, 0};
    const SYSTEMTIME modern = {2001, 1, 0, 2, 0, 0, 0, 0};
    enter("ru_RU", "KOI8-R");
    EXPECT_EQ(localeText(LOCALE_SDAYNAME1 + 6), u"Воскресенье");
    EXPECT_EQ(localeText(LOCALE_SMONTHNAME1), u"Январь");
    EXPECT_EQ(dateText(modern, u"d MMMM, MMMM"), u"2 января, января");
    EXPECT_EQ(dateText(modern, u"MMMM"), u"Январь");
    EXPECT_EQ(dateText(modern, u"ggy", DATE_USE_ALT_CALENDAR), u"1");
    enter("ja_JP", "EUC-JP");
    EXPECT_EQ(localeText(LOCALE_S2359), u"午後");
    EXPECT_EQ(dateText(old, u"gg y", DATE_USE_ALT_CALENDAR), u"昭和 63");
    EXPECT_EQ(dateText(old, u"gg y"), u" 88");
}

} // namespace
