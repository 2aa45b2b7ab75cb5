#include "platform/platform.h"
#include "tests/platform/codes.h"

#include <cstring>
#include <initializer_list>
#include <string>

namespace {

namespace Platform = Tarn::Platform;

DWORD format(DWORD code, char16_t* buffer, DWORD size) {
    return Platform::FormatSystemMessageW(code, true, buffer, size);
}

TEST(SystemText, EndsInALineBreakAndIsNeverCutShort) {
    char16_t buffer[512] = {};
    for (const Tarn::Int64 code : std::initializer_list<Tarn::Int64>{ERROR_SUCCESS, ERROR_SHARING_VIOLATION,
                                                                     ERROR_RESOURCE_NAME_NOT_FOUND, E_FAIL}) {
        const DWORD length = format(static_cast<DWORD>(code), buffer, 512);
        const std::u16string text = buffer;
        ASSERT_GT(length, 2u) << code;
        EXPECT_EQ(text.size(), length) << code;
        EXPECT_EQ(text.find(u"\r\n"), length - 2) << code;
    }
    EXPECT_EQ(format(0x20001234, buffer, 512), 0u);
    EXPECT_EQ(Platform::GetLastError(), ERROR_MR_MID_NOT_FOUND);
    const DWORD length = format(ERROR_ACCESS_DENIED, buffer, 512);
    EXPECT_EQ(format(ERROR_ACCESS_DENIED, buffer, length + 1), length);
    EXPECT_EQ(format(ERROR_ACCESS_DENIED, buffer, length), 0u);
    EXPECT_EQ(Platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(SystemValues, AreDefinedUnderAllTheirNames) {
    EXPECT_EQ((std::vector<DWORD>{MB_ICONERROR, MB_ICONSTOP, MB_ICONWARNING, MB_ICONINFORMATION, REG_QWORD}),
              (std::vector<DWORD>{MB_ICONHAND, MB_ICONHAND, MB_ICONEXCLAMATION, MB_ICONASTERISK,
                                  REG_QWORD_LITTLE_ENDIAN}));
    EXPECT_EQ(MB_DEFBUTTON4 & MB_DEFMASK, MB_DEFBUTTON2 | MB_DEFBUTTON3);
    EXPECT_EQ(KEY_ALL_ACCESS, KEY_READ | KEY_WRITE | KEY_CREATE_LINK | STANDARD_RIGHTS_REQUIRED);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), E_ACCESSDENIED);
    EXPECT_TRUE(FAILED(E_ACCESSDENIED) && SUCCEEDED(HRESULT_FROM_WIN32(ERROR_SUCCESS)));
    EXPECT_EQ(RGB(1, 2, 3), 0x030201u);
}

TEST(SystemVersion, IsWrittenOnlyWhereItFits) {
    OSVERSIONINFOW information = {};
    Platform::SetLastError(0);
    EXPECT_FALSE(Platform::GetVersionExW(&information));
    EXPECT_EQ(Platform::orWines(0, ERROR_INSUFFICIENT_BUFFER, Platform::GetLastError()),
              ERROR_INSUFFICIENT_BUFFER);
    information.dwOSVersionInfoSize = sizeof(information);
    ASSERT_TRUE(Platform::GetVersionExW(&information));
    EXPECT_GE(information.dwMajorVersion, 4u);
    constexpr DWORD kHandheld = 3;
    char16_t type[20] = u"PocketPC";
    EXPECT_FALSE(Platform::SystemParametersInfoW(257, 17, type));
    EXPECT_EQ(Platform::SystemParametersInfoW(257, sizeof(type), type),
              information.dwPlatformId == kHandheld);
    EXPECT_EQ(std::u16string(type), u"PocketPC");
    EXPECT_FALSE(Platform::SystemParametersInfoW(0xFFFF, sizeof(type), type));
}

TEST(CalendarTime, IsConvertedBothWaysIfTheDateExists) {
    const std::pair<SYSTEMTIME, Tarn::UInt64> dates[] = {
        {{1601, 1, 1, 1, 0, 0, 0, 0}, 0},
        {{1970, 1, 4, 1, 0, 0, 0, 1}, 116444736000010000},
        {{2000, 2, 2, 29, 23, 59, 59, 999}, 125963423999990000},
        {{30827, 12, 5, 31, 23, 59, 59, 999}, 9223149887999990000},
    };
    FILETIME time{};
    for (const auto& [date, units] : dates) {
        ASSERT_TRUE(Platform::SystemTimeToFileTime(&date, &time));
        EXPECT_EQ(Tarn::UInt64{time.dwHighDateTime} << 32 | time.dwLowDateTime, units);
        SYSTEMTIME back{};
        time.dwLowDateTime += 9999; // less than a millisecond
        EXPECT_TRUE(Platform::FileTimeToSystemTime(&time, &back));
        EXPECT_EQ(std::memcmp(&back, &date, sizeof(back)), 0) << units;
    }
    SYSTEMTIME impossible[] = {
        {1600, 12, 0, 31, 23, 59, 59, 999}, {2001, 13, 0, 1, 0, 0, 0, 0},   {2001, 4, 0, 31, 0, 0, 0, 0},
        {2001, 1, 0, 0, 0, 0, 0, 0},        {2001, 1, 0, 1, 24, 0, 0, 0},   {2001, 1, 0, 1, 0, 60, 0, 0},
        {2001, 1, 0, 1, 0, 0, 60, 0},       {2001, 1, 0, 1, 0, 0, 0, 1000}, {2100, 2, 0, 29, 0, 0, 0, 0}};
    for (const SYSTEMTIME& date : impossible) {
        const DWORD code = Platform::SystemTimeToFileTime(&date, &time) ? 0 : Platform::GetLastError();
        constexpr DWORD kRefused = ERROR_INVALID_PARAMETER;
        // On Wine every year has a 29 February.
        EXPECT_EQ(date.wMonth == 2 ? Platform::orWines(0, kRefused, code) : code, kRefused)
            << &date - impossible;
    }
    const FILETIME negative{0, 0x80000000};
    EXPECT_FALSE(Platform::FileTimeToSystemTime(&negative, impossible));
    EXPECT_EQ(Platform::GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(SystemColors, KeepWhatIsSet) {
    const INT indices[] = {COLOR_INFOBK, 1000, COLOR_3DDKSHADOW};
    const DWORD before[] = {Platform::GetSysColor(COLOR_INFOBK), 0, Platform::GetSysColor(COLOR_3DDKSHADOW)};
    const DWORD set[] = {0x010203, 0x040506, 0x070809};
    EXPECT_NE(before[0], before[2]);
    EXPECT_TRUE(Platform::SetSysColors(3, indices, set));
    EXPECT_EQ(Platform::GetSysColor(COLOR_INFOBK), 0x010203u);
    EXPECT_EQ(Platform::GetSysColor(COLOR_3DDKSHADOW), 0x070809u);
    for (const int missing : {-1, 1000})
        EXPECT_EQ(Platform::GetSysColor(missing), 0u);
    Platform::SetSysColors(3, indices, before);
}

TEST(ComStrings, AreAllocatedWithTheirLengthInBytesInFront) {
    const BSTR text = Platform::SysAllocString(u"abc");
    ASSERT_NE(text, nullptr);
    DWORD bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const char*>(text) - sizeof(bytes), sizeof(bytes));
    EXPECT_EQ(bytes, 6u);
    EXPECT_EQ(std::memcmp(text, u"abc", 8), 0);
    Platform::SysFreeString(text);
    EXPECT_EQ(Platform::SysAllocString(nullptr), nullptr);
    Platform::SysFreeString(nullptr);
}

} // namespace
