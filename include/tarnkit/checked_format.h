/// \file
/// `CheckedFormat`: the formats of `Format` (text_of_values.h), checked when the program is compiled.
///
/// A format is a literal, or another constant. A call does not compile if a conversion is none, if an
/// argument is missing or left over, or is not of the kind and size that its conversion reads. Strings,
/// standard strings and views are arguments of `%s` as they are; text for `%S` has the other width.
///
/// \code
/// const CUnicodeString name(u"Ann");
/// const CUnicodeString line = CheckedFormat(u"%-8s %3d", name, 30);
/// CheckedFormat(u"%d", name);      // does not compile: a number is wanted
/// CheckedFormat(u"%s: %d", name);  // does not compile: the number is missing
/// \endcode
#pragma once

#include <tarnkit/data_model.h>
#include <tarnkit/string.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/unicode_string.h>

#include <climits>
#include <cstddef>
#include <string_view>
#include <type_traits>

namespace Tarn {

/// What is wrong with a format and its arguments.
enum class TFormatFault { none, unknownConversion, missingArgument, unusedArgument, wrongArgument };

/// What an argument is to a format.
struct CFormatArgumentKind {
    bool isInteger = false, isReal = false, isLongReal = false, isPointer = false;
    int unitSize = 0; // of a character, as an integer is one too
    int textSize = 0; // of the units of a text
    int size = 0;     // of an integer, as it is passed
    bool isNull = false;

    template<class T>
    static constexpr int UnitSize() {
        return std::is_same_v<T, char> ? 1 : std::is_same_v<T, char16_t> || CWideUnit<T> ? 2 : 0;
    }

    template<class T>
    static constexpr CFormatArgumentKind Of() {
        CFormatArgumentKind kind;
        kind.isInteger = std::is_integral_v<T> || std::is_enum_v<T>;
        kind.size = kind.isInteger && sizeof(T) > sizeof(int) ? int{sizeof(T)} : int{sizeof(int)};
        kind.isReal = std::is_same_v<T, float> || std::is_same_v<T, double>;
        kind.isLongReal = std::is_same_v<T, long double>;
        kind.isNull = std::is_null_pointer_v<T>;
        kind.isPointer = std::is_pointer_v<T> || kind.isNull;
        kind.unitSize = UnitSize<T>();
        if constexpr (std::is_pointer_v<T>)
            kind.textSize = UnitSize<std::remove_cv_t<std::remove_pointer_t<T>>>();
        else if constexpr (std::is_same_v<T, CString> || CForeignText<T, char>)
            kind.textSize = 1;
        else if constexpr (std::is_same_v<T, CUnicodeString> || CForeignText<T, char16_t>)
            kind.textSize = 2;
        kind.isOtherCharacter = CharacterType<T> && kind.unitSize == 0;
        kind.isBool = std::is_same_v<T, bool>;
        return kind;
    }

    bool isOtherCharacter = false, isBool = false; // neither is a character to a format

    constexpr bool IsUnit(int wantedSize) const {
        if (!isInteger || isOtherCharacter || isBool)
            return false;
        return unitSize == wantedSize || (unitSize == 0 && size == int{sizeof(int)});
    }
    constexpr bool IsText(int wantedSize) const { return textSize == wantedSize || isNull; }
};

/// Reads a format as `Format` does, and compares it with its arguments.
template<class Unit>
class CFormatCheck {
public:
    constexpr CFormatCheck(const Unit* formatText, const CFormatArgumentKind* argumentKinds, int number)
        : format(formatText), kinds(argumentKinds), count(number) {}

    constexpr TFormatFault Run() {
        while (fault == TFormatFault::none && *format != 0)
            if (*format++ == '%')
                checkConversion();
        if (fault == TFormatFault::none && used < count)
            fault = TFormatFault::unusedArgument;
        return fault;
    }

private:
    const Unit* format;
    const CFormatArgumentKind* kinds;
    int count;
    int used = 0;
    TFormatFault fault = TFormatFault::none;

    static constexpr int kOwnSize = sizeof(Unit);

    constexpr bool isOneOf(std::string_view letters) const {
        return *format != 0 && *format <= 'z' && letters.find(static_cast<char>(*format)) != letters.npos;
    }
    constexpr bool skip(std::string_view text) {
        for (std::size_t i = 0; i < text.size(); i++)
            if (format[i] != static_cast<Unit>(text[i]))
                return false;
        format += text.size();
        return true;
    }
    constexpr void fail(TFormatFault found) {
        if (fault == TFormatFault::none)
            fault = found;
    }

    // Takes the next argument, which must satisfy `isWanted`.
    template<class Wanted>
    constexpr void take(Wanted isWanted) {
        if (used == count)
            fail(TFormatFault::missingArgument);
        else if (!isWanted(kinds[used++]))
            fail(TFormatFault::wrongArgument);
    }
    constexpr void takeInteger(int size) {
        take([size](const CFormatArgumentKind& kind) { return kind.isInteger && kind.size == size; });
    }

    constexpr void readCount() {
        if (skip("*"))
            return takeInteger(sizeof(int));
        long long value = 0;
        for (; *format >= '0' && *format <= '9' && value <= INT_MAX; format++)
            value = value * 10 + (*format - '0');
        if (value > INT_MAX)
            fail(TFormatFault::unknownConversion);
    }

    constexpr void checkConversion() {
        while (isOneOf("-+ #0"))
            format++;
        readCount();
        if (skip("."))
            readCount();
        if (skip("hh") || skip("h"))
            convert(sizeof(int), 1, false);
        else if (skip("ll") || skip("I64") || skip("j"))
            convert(sizeof(long long), 0, false);
        else if (skip("l"))
            convert(sizeof(long), 2, false);
        else if (skip("w"))
            convert(sizeof(int), 2, false);
        else if (skip("L"))
            convert(sizeof(long long), 0, true);
        else if (skip("I32"))
            convert(sizeof(int), 0, false);
        else if (skip("I") || skip("z") || skip("t"))
            convert(kPointerSize, 0, false);
        else
            convert(sizeof(int), 0, false);
    }

    // `unitSize` is 0 where the letter of the conversion decides.
    constexpr void convert(int integerSize, int unitSize, bool isLong) {
        if (unitSize == 0)
            unitSize = isOneOf("CS") ? 3 - kOwnSize : kOwnSize;
        if (isOneOf("diuoxX"))
            takeInteger(integerSize);
        else if (isOneOf("fFeEgGaA"))
            take(
                [isLong](const CFormatArgumentKind& kind) { return isLong ? kind.isLongReal : kind.isReal; });
        else if (isOneOf("cC"))
            take([unitSize](const CFormatArgumentKind& kind) { return kind.IsUnit(unitSize); });
        else if (isOneOf("sS"))
            take([unitSize](const CFormatArgumentKind& kind) { return kind.IsText(unitSize); });
        else if (isOneOf("p"))
            take([](const CFormatArgumentKind& kind) { return kind.isPointer; });
        else if (!isOneOf("%"))
            fail(TFormatFault::unknownConversion);
        if (fault == TFormatFault::none)
            format++;
    }
};

/// What is wrong with `format` for arguments of these types.
template<class... Arguments, class Unit>
constexpr TFormatFault FaultOfFormat(const Unit* format) {
    const CFormatArgumentKind kinds[sizeof...(Arguments) + 1] = {
        CFormatArgumentKind::Of<std::decay_t<Arguments>>()...};
    return CFormatCheck<Unit>(format, kinds, int{sizeof...(Arguments)}).Run();
}

///@{
/// Compilers name these where a format is wrong. They have no bodies.
void TheFormatHasAnUnknownConversion();
void TheFormatHasMoreConversionsThanArguments();
void TheFormatHasMoreArgumentsThanConversions();
void TheFormatHasAnArgumentOfAnotherKind();
///@}

/// A format that suits arguments of these types: nothing else can be made of a literal.
template<class Unit, class... Arguments>
class CCheckedFormat {
public:
    /// Does not compile, and says why, if the format does not suit the arguments.
    consteval CCheckedFormat(const Unit* format) : text(format) {
        switch (FaultOfFormat<Arguments...>(format)) {
        case TFormatFault::none:
            break;
        case TFormatFault::unknownConversion:
            TheFormatHasAnUnknownConversion();
            break;
        case TFormatFault::missingArgument:
            TheFormatHasMoreConversionsThanArguments();
            break;
        case TFormatFault::unusedArgument:
            TheFormatHasMoreArgumentsThanConversions();
            break;
        case TFormatFault::wrongArgument:
            TheFormatHasAnArgumentOfAnotherKind();
        }
    }

    /// The format itself.
    const Unit* Ptr() const { return text; }

private:
    const Unit* text;
};

/// An argument in the form in which `...` passes it, for the duration of a call.
template<class T>
class CPassedArgument {
public:
    explicit CPassedArgument(const T& argument) : value(argument) {}
    auto Value() const {
        if constexpr (std::is_enum_v<T>)
            return static_cast<std::underlying_type_t<T>>(value);
        else if constexpr (std::is_same_v<T, CString> || std::is_same_v<T, CUnicodeString>)
            return value.Ptr();
        else
            return std::decay_t<T>(value);
    }

private:
    const T& value;
};
template<class T>
requires CForeignText<T, char> || CForeignText<T, char16_t>
class CPassedArgument<T> {
public:
    explicit CPassedArgument(const T& argument) : text(argument) {}
    auto Value() const { return text.Ptr(); }

private:
    std::conditional_t<CForeignText<T, char>, CString, CUnicodeString> text; // which has a terminator
};

/// Formats as `Format` does; strings, views and standard strings can be passed as they are.
template<class... Arguments>
CString CheckedFormat(CCheckedFormat<char, std::type_identity_t<Arguments>...> format,
                      const Arguments&... arguments) {
    return Format(format.Ptr(), CPassedArgument<Arguments>(arguments).Value()...);
}
template<class... Arguments>
CUnicodeString CheckedFormat(CCheckedFormat<char16_t, std::type_identity_t<Arguments>...> format,
                             const Arguments&... arguments) {
    return Format(format.Ptr(), CPassedArgument<Arguments>(arguments).Value()...);
}

} // namespace Tarn
