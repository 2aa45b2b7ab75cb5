// The printf engine behind `FormatInto`, one template for both widths. The formats that it understands are
// described in tarnkit/text_of_values.h.
#pragma once

#include <cstdarg>
#include <string_view>

namespace Tarn {

template<class Unit>
class CPrintfFormatter {
public:
    CPrintfFormatter(Unit* outputBuffer, int outputSize, const Unit* formatText, va_list list);
    ~CPrintfFormatter();

    CPrintfFormatter(const CPrintfFormatter&) = delete;
    CPrintfFormatter& operator=(const CPrintfFormatter&) = delete;

    /// The number of units written, or -1 when they did not fit.
    int Run();

private:
    // The length modifiers of C, and `w`.
    enum class TLength {
        none,
        asChar,
        asShort,
        asLong,
        asLongLong,
        asPointer,
        asIntMax,
        asLongDouble,
        wide,
    };

    static constexpr int kNoPrecision = -1;

    // One conversion of the format, from its flags to its letter.
    struct CConversion {
        bool isLeft = false;
        bool hasPlus = false;
        bool hasBlank = false;
        bool isAlternate = false;
        bool hasZeros = false;
        int width = 0;
        int precision = kNoPrecision;
        TLength length = TLength::none;
        char letter = 0;
    };

    // The parts of a number in the order in which they are shown. The zeros that pad it to its width come
    // before the zeros that the number itself begins with.
    struct CNumberText {
        std::string_view prefix;
        int zeros = 0;
        std::string_view digits;
        int trailingZeros = 0;
        std::string_view exponent;
    };

    Unit* buffer;
    int size;
    int used = 0;
    bool isFull = false;
    const Unit* format;
    va_list arguments;

    bool parse(CConversion& conversion);
    bool parseFlag(CConversion& conversion);
    bool parseCount(int& count);
    void parseSize(CConversion& conversion);
    bool skip(std::string_view text);

    bool convert(const CConversion& conversion);
    void convertInteger(const CConversion& conversion);
    unsigned long long takeInteger(TLength length, bool isSigned);
    void convertFloat(const CConversion& conversion);
    void convertPointer(const CConversion& conversion);
    void convertUnit(const CConversion& conversion);
    void convertText(const CConversion& conversion);
    bool isWide(const CConversion& conversion) const;

    void putNumber(const CConversion& conversion, const CNumberText& number, bool mayPadWithZeros);
    template<class TextUnit>
    void putText(const CConversion& conversion, const TextUnit* text, int length);
    template<class TextUnit>
    void put(const TextUnit* text, int count);
    void put(std::string_view text) { put(text.data(), static_cast<int>(text.size())); }
    void fill(char unit, int count);
};

} // namespace Tarn
