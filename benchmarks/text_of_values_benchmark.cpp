// Numbers and formats as text, numbers read from text, and fractions.
#include "malloc_memory.h"

#include <tarnkit/rational.h>
#include <tarnkit/text_of_values.h>

#include <QString>
#include <benchmark/benchmark.h>
#include <boost/rational.hpp>
#include <fmt/format.h>
#include <fmt/xchar.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using Tarn::CString;
using Tarn::CUnicodeString;

constexpr int kNumber = -12345678;
constexpr double kDouble = 12345.678901;

template<class Work>
void measure(benchmark::State& state, Work work) {
    for (auto _ : state)
        benchmark::DoNotOptimize(work());
}

// Numbers differ from one to the next, so that no side can prepare for them.
int next() {
    static unsigned seed = 1;
    seed = seed * 1664525 + 1013904223;
    return static_cast<int>(seed);
}

void competeAt(const char* name, auto work) {
    benchmark::RegisterBenchmark(name, [work](benchmark::State& state) { measure(state, work); });
}

void check(const CUnicodeString& ours, const QString& theirs) {
    if (QString::fromUtf16(ours.Ptr(), ours.GetLength()) == theirs)
        return;
    std::fprintf(stderr, "The texts of a value differ: %s\n", theirs.toUtf8().data());
    std::exit(1);
}

// As `fmt::format`, whose text comes from `operator new`.
template<class... Arguments>
MallocString<char> formatted(fmt::string_view format, const Arguments&... arguments) {
    fmt::memory_buffer buffer;
    fmt::vformat_to(std::back_inserter(buffer), format, fmt::make_format_args(arguments...));
    return {buffer.data(), buffer.size()};
}

void registerNumbers() {
    check(Tarn::UnicodeStr(kNumber), QString::number(kNumber));
    check(Tarn::UnicodeStr(kDouble), QString::number(kDouble, 'g', 10));
    competeAt("number/8/Str", [] { return Tarn::Str(next()).GetLength(); });
    competeAt("number/8/fmt", [] { return fmt::to_string(next()).size(); });
    competeAt("number/16/UnicodeStr", [] { return Tarn::UnicodeStr(next()).GetLength(); });
    competeAt("number/16/QString", [] { return QString::number(next()).size(); });
    competeAt("double/8/Str", [] { return Tarn::Str(next() * 1e-3).GetLength(); });
    competeAt("double/8/fmt", [] { return formatted("{:.10g}", next() * 1e-3).size(); });
    competeAt("double/16/UnicodeStr", [] { return Tarn::UnicodeStr(next() * 1e-3).GetLength(); });
    competeAt("double/16/QString", [] { return QString::number(next() * 1e-3, 'g', 10).size(); });
}

void registerValues() {
    static const CUnicodeString ourInt = Tarn::UnicodeStr(kNumber), ourDouble = Tarn::UnicodeStr(kDouble);
    static const QString theirInt = QString::number(kNumber), theirDouble = QString::number(kDouble, 'g', 10);
    static const CString ourBytes = Tarn::Str(kNumber);
    static const std::string theirBytes = std::to_string(kNumber);
    competeAt("value/int/8/Value", [] {
        int value = 0;
        return ourBytes.Value(value) ? value : 0;
    });
    competeAt("value/int/8/from_chars", [] {
        int value = 0;
        std::from_chars(theirBytes.data(), theirBytes.data() + theirBytes.size(), value);
        return value;
    });
    competeAt("value/int/16/Value", [] {
        int value = 0;
        return ourInt.Value(value) ? value : 0;
    });
    competeAt("value/int/16/QString", [] { return theirInt.toInt(); });
    competeAt("value/double/16/Value", [] {
        double value = 0;
        return ourDouble.Value(value) ? value : 0;
    });
    competeAt("value/double/16/QString", [] { return theirDouble.toDouble(); });
    competeAt("value/rational/16/Value", [] {
        static const CUnicodeString text(u"-1234/5677");
        Tarn::rational value(0);
        return text.Value(value) ? value.Numerator() + value.Denominator() : 0;
    });
    competeAt("value/rational/16/QString", [] {
        static const QStringView text(u"-1234/5677");
        const auto slash = text.indexOf(u'/');
        return text.left(slash).toInt() + text.mid(slash + 1).toInt();
    });
}

void registerFormats() {
    check(Tarn::Format(u"%d files in %s", kNumber, u"a folder"),
          QString::fromStdU16String(fmt::format(u"{} files in {}", kNumber, u"a folder")));
    competeAt("format/8/Format",
              [] { return Tarn::Format("%d of %d files in %s", next(), 7, "a folder").GetLength(); });
    competeAt("format/8/fmt", [] { return formatted("{} of {} files in {}", next(), 7, "a folder").size(); });
    competeAt("format/8/snprintf", [] {
        char text[256];
        const int length = std::snprintf(text, sizeof text, "%d of %d files in %s", next(), 7, "a folder");
        return MallocString<char>(text, static_cast<std::size_t>(length)).size();
    });
    competeAt("format/16/Format",
              [] { return Tarn::Format(u"%d of %d files in %s", next(), 7, u"a folder").GetLength(); });
    competeAt("format/16/fmt",
              [] { return fmt::format(u"{} of {} files in {}", next(), 7, u"a folder").size(); });
    competeAt("format/double/Format", [] { return Tarn::Format("%.3f", next() * 1e-3).GetLength(); });
    competeAt("format/double/fmt", [] { return formatted("{:.3f}", next() * 1e-3).size(); });
}

// Sums and products that stay small, and comparisons.
template<class Rational>
struct Fractions {
    Rational values[64];

    Fractions() {
        for (int i = 0; i < 64; i++)
            values[i] = Rational(i * 37 % 61 - 30, i * 23 % 29 + 1);
    }
    Rational Combined(int i) const {
        return (values[i] + values[(i + 1) % 64]) * values[(i + 2) % 64] - values[(i + 3) % 64];
    }
    bool IsLess(int i) const { return values[i] < values[(i + 1) % 64]; }
};

void registerFractions() {
    static const Fractions<Tarn::rational> ours;
    static const Fractions<boost::rational<int>> theirs;
    for (int i = 0; i < 64; i++) {
        const auto our = ours.Combined(i);
        const auto their = theirs.Combined(i);
        if (std::int64_t{our.Numerator()} * their.denominator() !=
                std::int64_t{their.numerator()} * our.Denominator() ||
            ours.IsLess(i) != theirs.IsLess(i)) {
            std::fputs("The fractions differ.\n", stderr);
            std::exit(1);
        }
    }
    competeAt("fractions/combine/rational", [] { return ours.Combined(next() & 63); });
    competeAt("fractions/combine/boost", [] { return theirs.Combined(next() & 63); });
    competeAt("fractions/compare/rational", [] { return ours.IsLess(next() & 63); });
    competeAt("fractions/compare/boost", [] { return theirs.IsLess(next() & 63); });
}

[[maybe_unused]] const bool areRegistered = [] {
    registerNumbers();
    registerValues();
    registerFormats();
    registerFractions();
    return true;
}();

} // namespace
