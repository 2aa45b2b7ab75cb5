// Calculates with fractions, formats times and lengths of time, works on sets of units and reads lists of
// texts. The results are compared with plain versions of the rules.
#include "fuzz/support.h"

#include <tarnkit/rational.h>
#include <tarnkit/setup.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/time.h>
#include <tarnkit/unicode_set.h>

#include <algorithm>
#include <climits>
#include <numeric>
#include <set>
#include <string_view>
#include <utility>

namespace {

using namespace Tarn;

rational takeRational(FuzzInput& input) {
    const int numerator = input.TakeBool() ? input.TakeIn(-100, 100) : input.Take<int>();
    const int denominator = input.TakeBool() ? input.TakeIn(1, 100) : input.Take<int>();
    return rational(numerator == INT_MIN ? 0 : numerator, denominator < 1 ? 1 : denominator);
}

// Whether `value` is n/d; true as well if the lowest terms do not fit in 32 bits, where the rule is to round.
bool isExact(const rational& value, Int64 n, Int64 d) {
    const Int64 divisor = std::gcd(n, d);
    n /= divisor;
    d /= divisor;
    const int own = std::gcd(value.Numerator(), value.Denominator());
    const bool fits = d <= INT_MAX && n <= INT_MAX && n >= -INT_MAX;
    return !fits || (value.Numerator() / own == n && value.Denominator() / own == d);
}

void calculate(FuzzInput& input) {
    const rational a = takeRational(input), b = takeRational(input);
    const Int64 an = a.Numerator(), ad = a.Denominator(), bn = b.Numerator(), bd = b.Denominator();
    MUST((a < b) == (an * bd < bn * ad) && (a == b) == (an * bd == bn * ad));
    const auto check = [](auto operation, Int64 n, Int64 d) {
        rational result(0);
        const Stopped stopped = StopOf([&] { result = operation(); });
        if (d < 0)
            n = -n, d = -d;
        if (stopped)
            MUST(d == 0 ? stopped.check == &ERR_DIVIDE_ZERO
                        : stopped.check == &ERR_RATIONAL_OVERFLOW &&
                              (n / d > INT_MAX - 1 || n / d < 1 - INT_MAX));
        else
            MUST(d != 0 && isExact(result, n, d) && result.Denominator() > 0);
    };
    check([&] { return a + b; }, an * bd + bn * ad, ad * bd);
    check([&] { return a - b; }, an * bd - bn * ad, ad * bd);
    check([&] { return a * b; }, an * bn, ad * bd);
    check([&] { return a / b; }, an * bd, ad * bn);
    rational back(0);
    MUST(UnicodeStr(a).Value(back) && back.Numerator() == a.Numerator() &&
         back.Denominator() == a.Denominator());
    const AsciiText text(input.TakeRest());
    rational narrow(0), wide(0);
    bool isValue = false;
    const Stopped first = StopOf([&] { isValue = text.narrow.Value(narrow); });
    const Stopped second = StopOf([&] { MUST(text.wide.Value(wide) == isValue); });
    MUST(first.check == second.check && narrow == wide);
}

std::string padded(int number) { return (number < 10 ? "0" : "") + std::to_string(number); }

// What `wcsftime` makes of a text whose conversions do not depend on the language.
std::string plainTime(const std::string& format, const SYSTEMTIME& time) {
    std::string text;
    for (std::size_t i = 0; i < format.size(); i++) {
        if (format[i] != '%') {
            text += format[i];
            continue;
        }
        switch (i + 1 < format.size() ? format[++i] : '\0') {
        case 'd':
            text += padded(time.wDay);
            break;
        case 'm':
            text += padded(time.wMonth);
            break;
        case 'y':
            text += padded(time.wYear % 100);
            break;
        case 'H':
            text += padded(time.wHour);
            break;
        case 'I':
            text += padded((time.wHour + 11) % 12 + 1);
            break;
        case 'M':
            text += padded(time.wMinute);
            break;
        case 'S':
            text += padded(time.wSecond);
            break;
        case 'Y':
            text += std::to_string(time.wYear);
            break;
        case 'C':
            text += std::to_string(time.wYear / 100);
            break;
        case 'w':
            text += std::to_string(time.wDayOfWeek);
            break;
        case '%':
            text += '%';
            break;
        default:
            text += "00";
        }
    }
    return text;
}

void formatTimes(FuzzInput& input) {
    constexpr Int64 kLast = 0x7FFF35F4F06C7FFF; // the end of 30827
    FILETIME units;
    const auto count = static_cast<UInt64>(input.Take<UInt64>() % static_cast<UInt64>(kLast));
    units.dwLowDateTime = static_cast<DWORD>(count);
    units.dwHighDateTime = static_cast<DWORD>(count >> 32);
    const CTime time = CTime::CreateFromFileTimeGmt(units);
    SYSTEMTIME parts;
    time.GetAsSystemTimeGmt(parts);
    MUST(parts.wYear >= 1601 && parts.wMonth >= 1 && parts.wMonth <= 12 && parts.wDay >= 1 &&
         parts.wDay <= 31);
    const CTime again =
        CTime::CreateFromTimeGmt(parts.wYear, parts.wMonth, parts.wDay, parts.wHour, parts.wMinute,
                                 parts.wSecond, time.GetMillisecond(), time.GetMicrosecond());
    MUST((time - again).GetTotalTimeUnits() == static_cast<Int64>(count % 10));

    // Conversions that depend on the language, and those that are misuse, are not compared.
    const bool isPlain = input.TakeBool();
    std::string format = AsciiText(input.TakeString(60)).narrow.Ptr();
    std::erase_if(format, [&](char c) {
        return std::string_view(isPlain ? "jUWaAbhBpgZxDXc#+" : "jUW").find(c) != std::string_view::npos;
    });
    char16_t text[128];
    const int size = input.TakeIn(0, 128);
    const int length = wcsftime(text, size, AsciiText(format).wide.Ptr(), parts);
    MUST(length >= 0 && length < std::max(size, 1));
    MUST(length == 0 || (text[length] == 0 && CUnicodeString(text).GetLength() == length));
    const std::string expected = plainTime(format, parts);
    if (isPlain)
        MUST(static_cast<int>(expected.size()) < size
                 ? CUnicodeString(text, length) == AsciiText(expected).wide
                 : length == 0);

    const CTimeSpan span = CTimeSpan::CreateFromTimeUnits(input.Take<Int64>());
    // Any other conversion of a length of time is misuse.
    static constexpr std::string_view kConversions = "DHMShms%";
    std::string spanFormat = AsciiText(input.TakeRest()).narrow.Ptr();
    for (std::size_t i = 0; i < spanFormat.size(); i++)
        if (spanFormat[i] == '%' && kConversions.find(spanFormat.c_str()[++i]) == std::string_view::npos)
            spanFormat[i - 1] = '!';
    span.UnicodeFormat(AsciiText(spanFormat).wide.Ptr());
}

void combineSets(FuzzInput& input) {
    CUnicodeSet set;
    std::set<char16_t> model;
    while (!input.IsAtEnd()) {
        const int operation = input.TakeIn(0, 4);
        const CUnicodeString text = UnicodeTextOf(input.TakeString(8));
        const std::set<char16_t> units(text.Ptr(), text.Ptr() + text.GetLength());
        const CUnicodeSet other(text.Ptr());
        if (operation == 0)
            set |= other;
        else if (operation == 1)
            set -= other;
        else if (operation == 2)
            set ^= other;
        else
            MUST(set.Has(other) == std::includes(model.begin(), model.end(), units.begin(), units.end()));
        for (const char16_t unit : units)
            if (operation == 0 || (operation == 2 && model.count(unit) == 0))
                model.insert(unit);
            else if (operation <= 2)
                model.erase(unit);
        MUST(set.HasOneOf(text.Ptr()) ==
             std::any_of(units.begin(), units.end(), [&](char16_t unit) { return model.count(unit) != 0; }));
    }
    MUST(set.GetCount() == static_cast<int>(model.size()) &&
         std::equal(model.begin(), model.end(), set.begin()));
}

void readLists(FuzzInput& input) {
    const CSetupStringArray list(u"Fuzz", u"List", ST_UserSection);
    CArray<CUnicodeString> items;
    list.ConvertFromString(UnicodeTextOf(input.TakeString(60)), items);
    for (CUnicodeString& item : items)
        item.Trim();
    // What was read once reads the same again, but for white space around the texts, unless one of them ends
    // in the character that escapes.
    const CUnicodeString text = list.ConvertToString(items);
    CArray<CUnicodeString> again;
    list.ConvertFromString(text, again);
    const bool isEscapeLast = std::any_of(items.begin(), items.end(), [](const CUnicodeString& item) {
        return !item.IsEmpty() && item[item.GetLength() - 1] == u'\\';
    });
    MUST(isEscapeLast || again == items || (items.Size() == 1 && items[0].IsEmpty()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    FuzzInput input(data, size);
    static constexpr void (*kSubjects[])(FuzzInput&) = {calculate, formatTimes, combineSets, readLists};
    input.Pick(kSubjects)(input);
    return 0;
}
