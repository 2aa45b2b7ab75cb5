// The digits of whole numbers.
#pragma once

#include <charconv>
#include <climits>
#include <cstring>
#include <iterator>

namespace Tarn {

/// The digits of a number in a radix from 2 to 36, letters in lower case, without a terminator.
class CIntegerDigits {
public:
    CIntegerDigits(unsigned long long value, int radix) {
        if (radix != 10) {
            first = text + 1;
            last = std::to_chars(first, std::end(text), value, radix).ptr;
            return;
        }
        last = std::end(text);
        // Division takes longer for 64 bits, above all where a register has 32.
        first = value <= UINT_MAX ? putBefore(last, static_cast<unsigned>(value)) : putBefore(last, value);
    }
    CIntegerDigits(const CIntegerDigits&) = delete;
    CIntegerDigits& operator=(const CIntegerDigits&) = delete;

    char* begin() { return first; }
    char* end() { return last; }

    /// Puts a minus in front, once.
    void PutMinus() { *--first = '-'; }

private:
    char text[1 + 64]; // with the minus
    char* first;
    char* last;

    // Two decimal digits at a time and from the last, so that they need not be counted first.
    template<class Number>
    static char* putBefore(char* end, Number value) {
        static constexpr char kPairs[] = "00010203040506070809101112131415161718192021222324"
                                         "25262728293031323334353637383940414243444546474849"
                                         "50515253545556575859606162636465666768697071727374"
                                         "75767778798081828384858687888990919293949596979899";
        for (; value >= 100; value /= 100)
            std::memcpy(end -= 2, kPairs + 2 * (value % 100), 2);
        if (value >= 10)
            std::memcpy(end -= 2, kPairs + 2 * value, 2);
        else
            *--end = static_cast<char>('0' + value);
        return end;
    }
};

} // namespace Tarn
