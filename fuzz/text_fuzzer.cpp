// Formats values by arbitrary formats, substitutes parameters and reads numbers back. Both widths of text
// must agree. Integers and text are compared with the C runtime, parameters with a plain version of the rule.
#include "fuzz/support.h"

#include <tarnkit/text_of_values.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

namespace {

using namespace Tarn;

// A format with one conversion: "%", flags, width, precision and the conversion of the caller.
std::string takeFormat(FuzzInput& input, const char* conversion) {
    std::string format = "<%";
    for (const char flag : {'-', '+', ' ', '#', '0'})
        if (input.TakeBool())
            format += flag;
    if (input.TakeBool())
        format += std::to_string(input.TakeIn(1, 40));
    if (input.TakeBool())
        format += "." + std::to_string(input.TakeIn(0, 40));
    return format + conversion + ">";
}

template<class Value>
void compareFormats(const std::string& format, Value value, bool isLikeRuntime) {
    const AsciiText text(format);
    const CString narrow = Format(text.narrow.Ptr(), value);
    MUST(AreSame(narrow, Format(text.wide.Ptr(), value)));
    if (!isLikeRuntime)
        return;
    char expected[200];
    const int length = std::snprintf(expected, sizeof(expected), format.c_str(), value);
    MUST(length >= 0 && narrow == expected);
}

void formatNumbers(FuzzInput& input) {
    static constexpr const char* kInts[] = {"d", "i", "u", "x", "X", "o", "hd", "hhu"};
    static constexpr const char* kLongs[] = {"lld", "llu", "llx", "llX", "llo"};
    static constexpr const char* kDoubles[] = {"f", "F", "e", "E", "g", "G", "a", "A"};
    compareFormats(takeFormat(input, input.Pick(kInts)), input.Take<int>(), true);
    compareFormats(takeFormat(input, input.Pick(kLongs)), input.Take<Int64>(), true);
    compareFormats(takeFormat(input, input.Pick(kDoubles)), input.TakeDouble(), false);
    compareFormats(takeFormat(input, "I64d"), input.Take<Int64>(), false);
}

void formatTexts(FuzzInput& input) {
    const AsciiText text(input.TakeString(30));
    std::string format = takeFormat(input, "s");
    std::erase_if(format, [](char c) { return c == '#' || c == '+' || c == ' '; });
    const AsciiText formatText(format);
    const CString narrow = Format(formatText.narrow.Ptr(), text.narrow.Ptr());
    MUST(AreSame(narrow, Format(formatText.wide.Ptr(), text.wide.Ptr())));
    // Only formats without the flag 0 are compared: the C standard does not say what it does to text.
    if (format.find("%0") == std::string::npos && format.find("-0") == std::string::npos) {
        char expected[200];
        std::snprintf(expected, sizeof(expected), format.c_str(), text.narrow.Ptr());
        MUST(narrow == expected);
    }
}

// A format that takes only numbers by value, however it is parsed.
void formatAnything(FuzzInput& input) {
    std::string format = AsciiText(input.TakeString(30)).narrow.Ptr();
    std::erase_if(format,
                  [](char c) { return std::string_view("sScCeEfFgGaApnZ*").find(c) != std::string::npos; });
    // A width takes memory. Larger ones would find no further faults.
    for (std::size_t i = 0, digits = 0; i < format.size(); i++) {
        digits = format[i] >= '0' && format[i] <= '9' ? digits + 1 : 0;
        if (digits > 4)
            format[i] = 'x';
    }
    const AsciiText text(format);
    const long long value = input.Take<long long>();
    MUST(AreSame(Format(text.narrow.Ptr(), value, value, value, value, value, value, value, value, value,
                        value, value, value, value, value, value, value),
                 Format(text.wide.Ptr(), value, value, value, value, value, value, value, value, value, value,
                        value, value, value, value, value, value)));
}

std::string substituted(const std::string& text, const std::vector<std::string>& parameters) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t end = i + 1;
        long long number = 0;
        while (text[i] == '%' && end < text.size() && text[end] >= '0' && text[end] <= '9')
            number = std::min<long long>(number * 10 + (text[end++] - '0'), INT_MAX + 1LL);
        if (end == i + 1 || number > INT_MAX)
            result += text.substr(i, end - i);
        else if (number < static_cast<long long>(parameters.size()))
            result += parameters[static_cast<std::size_t>(number)];
        i = end;
    }
    return result;
}

void substitute(FuzzInput& input) {
    const AsciiText text(input.TakeString(60));
    CArray<CString> narrow;
    CArray<CUnicodeString> wide;
    std::vector<std::string> plain;
    for (int count = input.TakeIn(0, 12); count > 0; count--) {
        const AsciiText parameter(input.TakeString(20));
        narrow.Add(parameter.narrow);
        wide.Add(parameter.wide);
        plain.push_back(parameter.narrow.Ptr());
    }
    const CString result = text.narrow.SubstParam(narrow);
    MUST(AreSame(result, text.wide.SubstParam(wide)));
    MUST(result == substituted(text.narrow.Ptr(), plain).c_str());
}

template<class Value>
void readBack(const AsciiText& text, auto... radix) {
    Value narrow{}, wide{};
    const bool isValue = text.narrow.Value(narrow, radix...);
    MUST(isValue == text.wide.Value(wide, radix...));
    MUST(narrow == wide || (narrow != narrow && wide != wide));
}

void readValues(FuzzInput& input) {
    const int radix = input.TakeIn(2, 36);
    const int number = input.Take<int>();
    const double fraction = input.TakeDouble();
    int back = 0;
    MUST(Str(number).Value(back) && back == number);
    unsigned int bits = 0;
    MUST(Str(static_cast<unsigned>(number), radix).Value(bits, radix) &&
         bits == static_cast<unsigned>(number));
    const Int64 large = input.Take<Int64>();
    Int64 largeBack = 0;
    MUST(UnicodeStr(large).Value(largeBack) && largeBack == large);
    MUST(AreSame(Str(fraction), UnicodeStr(fraction)));

    const AsciiText text(input.TakeRest());
    readBack<bool>(text);
    readBack<int>(text, radix);
    readBack<int>(text, 0);
    readBack<UInt64>(text, radix);
    readBack<Int64>(text, 0);
    readBack<double>(text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    FuzzInput input(data, size);
    switch (input.TakeIn(0, 4)) {
    case 0:
        formatNumbers(input);
        break;
    case 1:
        formatTexts(input);
        break;
    case 2:
        formatAnything(input);
        break;
    case 3:
        substitute(input);
        break;
    default:
        readValues(input);
    }
    return 0;
}
