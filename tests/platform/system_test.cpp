#include "platform/platform.h"
#include "tests/platform/codes.h"

#include <initializer_list>

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

TEST(SystemValues, AreMadeOfTheirParts) {
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

// scripts/compare-ports converts days of every year and random times both ways. Here is where Wine differs.
TEST(CalendarTime, EndsWithTheYear30827AndHasNoLeapDayInOtherYears) {
    FILETIME time{};
    SYSTEMTIME back{};
    const SYSTEMTIME last = {30827, 12, 5, 31, 23, 59, 59, 999};
    ASSERT_TRUE(Platform::SystemTimeToFileTime(&last, &time));
    EXPECT_EQ(Tarn::UInt64{time.dwHighDateTime} << 32 | time.dwLowDateTime, 9223149887999990000U);
    time.dwLowDateTime += 9999; // less than a millisecond
    EXPECT_TRUE(Platform::FileTimeToSystemTime(&time, &back));
    EXPECT_EQ(std::memcmp(&back, &last, sizeof(back)), 0);
    for (const SYSTEMTIME& date : {SYSTEMTIME{30828, 1, 0, 1, 0, 0, 0, 0}, {2100, 2, 0, 29, 0, 0, 0, 0}}) {
        const DWORD code = Platform::SystemTimeToFileTime(&date, &time) ? 0 : Platform::GetLastError();
        EXPECT_EQ(Platform::orWines(0, ERROR_INVALID_PARAMETER, code), ERROR_INVALID_PARAMETER) << date.wYear;
    }
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
