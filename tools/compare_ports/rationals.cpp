// Arithmetic on fractions, their text, and fractions read from text.
#include "tools/compare_ports/results.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/messages.h>
#include <tarnkit/text_of_values.h>

#include <climits>

namespace compare_ports {

namespace {

using namespace Tarn;

constexpr unsigned kRationals = 20'000;

int randomTerm(Random& random) {
    static constexpr int kTerms[] = {0, 1, 2, 3, 7, 46341, 1 << 30, INT_MAX - 1, INT_MAX, INT_MIN};
    if (random.OneIn(2))
        return random.Pick(kTerms);
    const auto term = static_cast<int>(random.Next() >> (33 + random.Below(31)));
    return random.OneIn(2) ? -term : term;
}

std::string textOf(const rational& value) {
    return Words(value.Numerator(), value.Denominator(), Str(value).Ptr());
}

/// The result of `make`, or the error that it raises.
template<class Make>
std::string resultOf(Make make) {
    try {
        return textOf(make());
    } catch (CCheckException* e) {
        const std::u16string_view name = e->Error().Name();
        e->Delete();
        return std::string(name.begin(), name.end());
    }
}

rational readBack(int numerator, int denominator) {
    rational value(0);
    Format(u" %d /%d", numerator, denominator).Value(value);
    return value;
}

} // namespace

void PrintRationals(ResultFile& results) {
    Random random(20);
    for (unsigned number = 0; number < kRationals; number++) {
        const int terms[] = {randomTerm(random), randomTerm(random), randomTerm(random), randomTerm(random)};
        const auto first = [&] { return rational(terms[0], terms[1]); };
        // Compilers order operands as they like, and either may fail.
        const auto both = [&](auto calculate) {
            return resultOf([&] {
                const rational left = first();
                return calculate(left, rational(terms[2], terms[3]));
            });
        };
        results.Add("rational", number,
                    Words(terms[0], terms[1], terms[2], terms[3], "=", resultOf(first),
                          both([](rational a, rational b) { return a + b; }),
                          both([](rational a, rational b) { return a - b; }),
                          both([](rational a, rational b) { return a * b; }),
                          both([](rational a, rational b) { return a / b; }),
                          resultOf([&] { return first() / terms[2]; }),
                          resultOf([&] { return readBack(terms[0], terms[3]); })));
    }
}

} // namespace compare_ports
