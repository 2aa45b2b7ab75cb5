// Formats of both widths with random flags, widths, precisions, prefixes and values, and numbers read back.
#include "tools/compare_ports/results.h"

#include <tarnkit/text_of_values.h>

#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstddef>

namespace compare_ports {

namespace {

using namespace Tarn;

constexpr unsigned kFormats = 10'000; // of each width
constexpr unsigned kNumbers = 10'000;

// Units that are in code page 1252, units for which it has look-alikes, and units that it lacks.
constexpr std::string_view kBytes = "aZ %\t\x80\x81\xE9\xFF";
constexpr std::u16string_view kUnits = u"aZ %\t\u0081\u00E9\u00FF\u0100\u0416\u20AC\uFF21\xD83D\xDE00";

template<class Unit>
using Text = std::basic_string<Unit>;

template<class Unit>
Text<Unit> widened(std::string_view ascii) {
    return Text<Unit>(ascii.begin(), ascii.end());
}

std::string_view textOf(const CString& text) { return {text.Ptr(), std::size_t(text.GetLength())}; }
std::u16string_view textOf(const CUnicodeString& text) { return {text.Ptr(), std::size_t(text.GetLength())}; }

/// A conversion that is being built: its text so far and the arguments for its stars.
struct Conversion {
    std::string text = "%";
    int stars[2] = {};
    int starCount = 0;
};

void addNumber(Random& random, Conversion& conversion, int smallest, int largest) {
    int number = smallest + static_cast<int>(random.Below(static_cast<unsigned>(largest - smallest + 1)));
    if (random.OneIn(4)) {
        conversion.text += '*';
        conversion.stars[conversion.starCount++] = number;
    } else {
        conversion.text += std::to_string(std::abs(number));
    }
}

/// Everything up to the prefix and the letter.
Conversion randomConversion(Random& random) {
    Conversion conversion;
    for (const char flag : {'-', '+', ' ', '#', '0'})
        if (random.OneIn(4))
            conversion.text += flag;
    if (random.OneIn(2))
        addNumber(random, conversion, -30, 30);
    if (random.OneIn(2)) {
        conversion.text += '.';
        if (!random.OneIn(6))
            addNumber(random, conversion, -2, 25);
    }
    return conversion;
}

template<class Unit>
class Formatter {
public:
    Formatter(ResultFile& toResults, std::string groupName, std::uint64_t seed)
        : results(toResults), group(std::move(groupName)), random(seed) {}

    void Print() {
        for (number = 0; number < kFormats; number++)
            printOne();
    }

private:
    void printOne() {
        static constexpr char kLetters[] = {'d', 'i', 'u', 'o', 'x', 'X', 'c', 'C', 's', 'S',
                                            'p', 'f', 'F', 'e', 'E', 'g', 'G', 'a', 'A', '%'};
        Conversion conversion = randomConversion(random);
        const char letter = random.Pick(kLetters);
        switch (letter) {
        case 'c':
        case 'C':
            return printText(conversion, letter, true);
        case 's':
        case 'S':
            return printText(conversion, letter, false);
        case 'p':
            return print(conversion, "p", std::bit_cast<void*>(static_cast<std::uintptr_t>(randomInteger())));
        case '%':
            return print(conversion, "%", 0);
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            return printInteger(conversion, letter);
        default:
            if (random.OneIn(5))
                return print(conversion, std::string("L") + letter, static_cast<long double>(randomDouble()));
            print(conversion, std::string(1, letter), randomDouble());
        }
    }

    void printInteger(const Conversion& conversion, char letter) {
        static constexpr const char* kPrefixes[] = {"",  "hh",  "h",   "l", "ll", "L",
                                                    "I", "I32", "I64", "z", "t",  "j"};
        const std::string prefix = random.Pick(kPrefixes);
        const Int64 value = randomInteger();
        const std::string end = prefix + letter;
        if (prefix == "ll" || prefix == "L" || prefix == "I64" || prefix == "j")
            print(conversion, end, value);
        else if (prefix == "I" || prefix == "z" || prefix == "t")
            print(conversion, end, static_cast<std::ptrdiff_t>(value));
        else if (prefix == "l") // has the same width on every system
            print(conversion, end, static_cast<long>(value & LONG_MAX & INT_MAX));
        else
            print(conversion, end, static_cast<int>(value));
    }

    void printText(const Conversion& conversion, char letter, bool isUnit) {
        static constexpr const char* kPrefixes[] = {"", "", "h", "l", "w"};
        const std::string prefix = random.Pick(kPrefixes);
        const bool isOwnWidth = letter == 's' || letter == 'c';
        const bool isWide = prefix.empty() ? isOwnWidth == (sizeof(Unit) == 2) : prefix != "h";
        const std::string end = prefix + letter;
        const std::u16string wide = randomText(kUnits);
        const std::string narrow = randomText(kBytes);
        if (isUnit)
            print(conversion, end, isWide ? wide[0] : static_cast<unsigned char>(narrow[0]));
        else if (isWide)
            print(conversion, end, random.OneIn(20) ? nullptr : wide.c_str());
        else
            print(conversion, end, random.OneIn(20) ? nullptr : narrow.c_str());
    }

    /// A text of up to 11 random units; may be empty.
    template<class Source>
    Text<Source> randomText(std::basic_string_view<Source> units) {
        Text<Source> text;
        for (unsigned length = random.Below(12); length > 0; length--)
            text += random.Pick(units);
        return text;
    }

    template<class Value>
    void print(const Conversion& conversion, const std::string& end, Value value) {
        const Text<Unit> format = widened<Unit>("<" + conversion.text + end + ">");
        const int* stars = conversion.stars;
        const auto text = conversion.starCount == 0   ? Format(format.c_str(), value)
                          : conversion.starCount == 1 ? Format(format.c_str(), stars[0], value)
                                                      : Format(format.c_str(), stars[0], stars[1], value);
        results.Add(group, number, conversion.text + end + " " + Quoted(textOf(text)));
    }

    Int64 randomInteger() {
        static constexpr Int64 kIntegers[] = {
            0, 1, -1, 7, 8, 42, -42, 255, 256, 65535, INT_MAX, INT_MIN, UINT_MAX, LLONG_MAX, LLONG_MIN};
        return random.OneIn(2) ? random.Pick(kIntegers)
                               : static_cast<Int64>(random.Next() >> random.Below(64));
    }

    double randomDouble() {
        static constexpr double kDoubles[] = {
            0.0, -0.0, 1,          -1,   0.1,   0.5,     1.5,     2.5,          0.05,     9.995,    99999.95,
            1e5, 1e-5, 123456.789, 1e10, 1e100, DBL_MAX, DBL_MIN, DBL_TRUE_MIN, HUGE_VAL, -HUGE_VAL};
        if (random.OneIn(2))
            return random.Pick(kDoubles);
        return random.OneIn(2) ? static_cast<double>(static_cast<Int64>(random.Next())) / 1e6
                               : std::bit_cast<double>(random.Next());
    }

    ResultFile& results;
    std::string group;
    Random random;
    unsigned number = 0;
};

/// Numbers as people and programs write them, to be read back.
std::string randomNumber(Random& random) {
    static constexpr std::string_view kPieces[] = {
        "0",           "1",   "7",   "9",     "z",      "A",  "0x",         "-",
        "+",           ".",   "e",   "E5",    " ",      "\t", "2147483647", "4294967295",
        "99999999999", "inf", "nan", "1e308", "1e-320", ",",  "\xA0"};
    std::string text;
    for (unsigned length = 1 + random.Below(5); length > 0; length--)
        text += random.Pick(kPieces);
    return text;
}

template<class Value, class String, class... Radix>
std::string readBack(const String& text, Radix... radix) {
    Value value = 0;
    const bool isRead = text.Value(value, radix...);
    return (isRead ? " " : " -") + std::string(textOf(Str(value)));
}

void printNumbers(ResultFile& results) {
    static constexpr int kRadixes[] = {0, 1, 2, 8, 10, 16, 36, 37};
    Random random(10);
    for (unsigned number = 0; number < kNumbers; number++) {
        const CString text(randomNumber(random).c_str());
        const CUnicodeString wide(text.Ptr(), 1252);
        const int radix = random.Pick(kRadixes);
        results.Add("number/8", number,
                    Quoted(textOf(text)) + " " + std::to_string(radix) + readBack<int>(text, radix) +
                        readBack<unsigned>(text, radix) + readBack<double>(text));
        results.Add("number/16", number,
                    Quoted(textOf(wide)) + " " + std::to_string(radix) + readBack<int>(wide, radix) +
                        readBack<unsigned>(wide, radix) + readBack<double>(wide));
        const auto integer = static_cast<Int64>(random.Next() >> random.Below(64));
        const auto word = static_cast<int>(integer);
        results.Add("number/text", number,
                    std::string(textOf(Str(word, radix))) + " " + std::string(textOf(Str(integer, radix))) +
                        " " + std::string(textOf(Str(std::bit_cast<double>(random.Next())))) + " " +
                        Quoted(textOf(UnicodeStr(static_cast<double>(integer) / 1000))));
    }
}

} // namespace

void PrintFormats(ResultFile& results) {
    Formatter<char>(results, "format/8", 8).Print();
    Formatter<char16_t>(results, "format/16", 16).Print();
    printNumbers(results);
}

} // namespace compare_ports
