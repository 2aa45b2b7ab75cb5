// Calls of the system on many threads at once. What each thread reads must be what one thread reads alone,
// also where all of them come first: tables and locales are made at the first use.
#include "platform/platform.h"
#include "tests/threads/threads.h"

#include <tarnkit/time.h>

/// The thread sanitizer does not see the locks of the system's loader, which frees on one thread what it
/// allocated on another.
extern "C" TARNKIT_MODULE_EXPORT const char* __tsan_default_suppressions() {
    return "called_from_lib:ld-linux*.so\n";
}

namespace Tarn {
namespace {

using Text = std::u16string;

constexpr int kThreads = 8;
constexpr SYSTEMTIME kDate = {2005, 3, 1, 6, 14, 7, 9, 0};

Text number(Int64 value) {
    const std::string digits = std::to_string(value);
    return Text(digits.begin(), digits.end());
}

/// What `call(buffer, size)` writes, and its result.
Text written(auto call) {
    char16_t buffer[300] = {};
    const Int64 result = static_cast<Int64>(call(buffer, 300));
    return Text(buffer) + u"=" + number(result) + u"|";
}

/// What a thread does in each round; returns all that it was given.
struct CPortJob {
    const char* name;
    int rounds;
    Text (*run)(int index, int round);
};

void PrintTo(const CPortJob& job, std::ostream* out) { *out << job.name; }

Text formatDates(int, int) {
    Text result;
    const auto add = [&result](DWORD flags, const char16_t* picture) {
        result += written([&](char16_t* buffer, int size) {
            return Platform::GetDateFormatW(LOCALE_USER_DEFAULT, flags, &kDate, picture, buffer, size);
        });
    };
    for (const char16_t* picture : {u"d.M.yy", u"dddd, d MMMM yyyy", u"ddd MMM yyyy gg", u"'am' dd. MMMM"})
        add(0, picture), add(DATE_USE_ALT_CALENDAR, picture);
    add(DATE_SHORTDATE, nullptr), add(DATE_LONGDATE, nullptr);
    for (const auto& [first, count] : {std::pair<LCTYPE, LCTYPE>{LOCALE_SDAYNAME1, 7},
                                       {LOCALE_SABBREVDAYNAME1, 7},
                                       {LOCALE_SMONTHNAME1, 12},
                                       {LOCALE_SABBREVMONTHNAME1, 12},
                                       {LOCALE_STIMEFORMAT, 1}})
        for (LCTYPE i = 0; i < count; i++)
            result += written([&](char16_t* buffer, int size) {
                return Platform::GetLocaleInfoW(LOCALE_USER_DEFAULT, first + i, buffer, size);
            });
    return result;
}

Text useLocalTime(int, int) {
    TIME_ZONE_INFORMATION zone{};
    const DWORD id = Platform::GetTimeZoneInformation(&zone);
    FILETIME utc, local, back;
    SYSTEMTIME now;
    Platform::SystemTimeToFileTime(&kDate, &utc);
    Platform::FileTimeToLocalFileTime(&utc, &local);
    Platform::LocalFileTimeToFileTime(&local, &back);
    Platform::GetLocalTime(&now);
    return Text(reinterpret_cast<const char16_t*>(zone.StandardName)) + number(zone.Bias) + u" " +
           number(id) + number(back.dwLowDateTime == utc.dwLowDateTime) + number(now.wYear >= 2020) + u" " +
           number(local.dwLowDateTime);
}

/// What the library makes of them. Not together with the calls above: the test program and the library each
/// contain the port, whose two copies keep each other out only inside the C library.
Text formatTimes(int, int) {
    const CTime time(kDate);
    return time.UnicodeFormat(u" %a %A %b %B %c %#c %p %g %Z %H").Ptr() +
           number(CTime::GetCurrentTime() > time);
}

Text convert(int index, int round) {
    static constexpr UINT kPages[] = {1251, 932, 65001, 1252};
    const Text all = u"Привет, 日本語, Grüße ｱ";
    Text result;
    for (int i = 0; i < 4; i++) {
        const UINT page = kPages[(i + round) % 4];
        char bytes[200] = {};
        const int size =
            Platform::WideCharToMultiByte(page, 0, all.c_str(), -1, bytes, 200, nullptr, nullptr);
        result += written([&](char16_t* buffer, int room) {
            return Platform::MultiByteToWideChar(page, 0, bytes, size, buffer, room);
        });
    }
    return index < 0 ? Text() : result;
}

Text changeCase(int, int) {
    Text upper;
    for (char16_t unit = u'!'; unit < 0x600; unit++)
        upper += unit;
    Text lower = upper;
    Platform::CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    Platform::CharLowerBuffW(lower.data(), static_cast<DWORD>(lower.size()));
    return upper + lower;
}

/// One thread sets a colour, at last to what it was; the others read one of its two values.
Text useColors(int index, int round) {
    constexpr INT kIndex = 5;
    static const DWORD kColors[] = {Platform::GetSysColor(kIndex), 0x00654321};
    if (index == 0)
        Platform::SetSysColors(1, &kIndex, &kColors[round % 2]);
    const DWORD color = Platform::GetSysColor(kIndex);
    return color == kColors[0] || color == kColors[1] ? u"one of them" : number(color);
}

/// Copies of the test module in the current folder. Their names have eight lengths: the loader keeps the
/// names, and the thread sanitizer checks memory by words.
std::vector<Text> copyModule() {
    char16_t original[500] = {};
    const HINSTANCE module = Platform::LoadLibraryW(u"TestModule.dll");
    Platform::GetModuleFileNameW(module, original, 500);
    Platform::FreeLibrary(module);
    std::vector<Text> copies;
    for (std::size_t length = 1; length <= 8; length++) {
        copies.push_back(u".\\" + Text(length, u'm') + u".dll");
        EXPECT_TRUE(Platform::CopyFileW(original, copies.back().c_str(), false));
    }
    return copies;
}

/// Each thread loads a module and unloads it again, which therefore often is not loaded in between.
Text useModules(int, int round) {
    static const std::vector<Text> kCopies = copyModule();
    const Text& file = kCopies[static_cast<std::size_t>(round) % kCopies.size()];
    const HINSTANCE module = Platform::LoadLibraryW(file.c_str());
    EXPECT_NE(module, nullptr);
    Text result;
    for (const UINT id : {17u, 18u, 4096u, 5u})
        result += written(
            [&](char16_t* buffer, int size) { return Platform::LoadStringW(module, id, buffer, size); });
    const auto function = reinterpret_cast<int (*)()>(
        reinterpret_cast<void*>(Platform::GetProcAddressW(module, u"TestModuleFunction")));
    result += number(function == nullptr ? 0 : function());
    char16_t name[500] = {};
    result += number(Platform::GetModuleFileNameW(module, name, 500) > 0);
    result += number(Platform::GetModuleHandleW(file.c_str()) == module);
    result += number(Platform::GetProcAddressW(module, u"Nothing") == nullptr);
    result += number(Platform::GetModuleHandleW(u"NoSuchModule.dll") == nullptr);
    result += number(Platform::GetModuleHandleFromAddress(reinterpret_cast<const void*>(&kDate)) ==
                     Platform::GetModuleHandleW(nullptr));
    return result + number(Platform::FreeLibrary(module));
}

class PortOnManyThreads : public testing::TestWithParam<CPortJob> {};

TEST_P(PortOnManyThreads, GivesEachThreadWhatOneThreadGets) {
    const CPortJob& job = GetParam();
    std::vector<std::vector<Text>> results(kThreads, std::vector<Text>(static_cast<std::size_t>(job.rounds)));
    RunOnThreads(kThreads, [&](int index) {
        for (int round = 0; round < job.rounds; round++)
            results[static_cast<std::size_t>(index)][static_cast<std::size_t>(round)] = job.run(index, round);
    });
    for (int round = 0; round < job.rounds; round++) {
        const Text expected = job.run(0, round);
        ASSERT_FALSE(expected.empty());
        for (const auto& ofThread : results)
            ASSERT_EQ(ofThread[static_cast<std::size_t>(round)], expected) << "in round " << round;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Jobs, PortOnManyThreads,
    testing::Values(CPortJob{"Dates", 30, formatDates}, CPortJob{"LocalTime", 100, useLocalTime},
                    CPortJob{"Times", 100, formatTimes}, CPortJob{"CodePages", 20, convert},
                    CPortJob{"LetterCase", 10, changeCase}, CPortJob{"Colors", 301, useColors},
                    CPortJob{"Modules", 50, useModules}),
    [](const testing::TestParamInfo<CPortJob>& job) { return job.param.name; });

TEST(EnvironmentOnManyThreads, IsSeenByAllAfterAChange) {
    TARNKIT_TEST_NEEDS(kLocaleFromEnvironment);
    const std::pair<const char*, const char16_t*> zones[] = {
        {"AAA-1", u"15 AAA"}, {"BBB3", u"11 BBB"}, {"", u"14 UTC"}, {"CCC-5:30", u"19 CCC"}};
    for (int round = 0; round < 12; round++) {
        const auto& [zone, expected] = zones[round % 4];
        SetEnvironment("TZ", zone);
        SetEnvironment("LC_ALL", round % 3 == 0 ? "C" : round % 3 == 1 ? "C.UTF-8" : "xx_XX");
        std::vector<int> failures(kThreads);
        RunOnThreads(kThreads, [&, text = expected](int index) {
            for (int i = 0; i < 20; i++)
                failures[static_cast<std::size_t>(index)] +=
                    CTime::CreateFromSystemTimeGmt(kDate).UnicodeFormat(u"%H %Z") != text ||
                    CTime::CreateFromSystemTimeGmt(kDate).UnicodeFormatGmt(u"%A %B") != u"Sunday March";
        });
        EXPECT_EQ(failures, std::vector<int>(kThreads)) << zone;
    }
    SetEnvironment("TZ", nullptr);
    SetEnvironment("LC_ALL", nullptr);
}

} // namespace
} // namespace Tarn
