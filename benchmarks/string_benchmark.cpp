// Copying and destroying a text.
#include "malloc_memory.h"

#include <tarnkit/unicode_string.h>

#include <benchmark/benchmark.h>

#include <string>

namespace {

constexpr int kLength = 100;

using StandardString = std::basic_string<char16_t, std::char_traits<char16_t>, MallocAllocator<char16_t>>;

template<class String>
void copyAndDestroy(benchmark::State& state, const String& text) {
    for (auto _ : state) {
        String copy(text);
        benchmark::DoNotOptimize(&copy);
        benchmark::ClobberMemory();
    }
}

void copyTarnkit(benchmark::State& state) { copyAndDestroy(state, Tarn::CUnicodeString(u'x', kLength)); }
void copyStandard(benchmark::State& state) { copyAndDestroy(state, StandardString(kLength, u'x')); }

} // namespace

BENCHMARK(copyTarnkit)->Name("copy/CUnicodeString");
BENCHMARK(copyStandard)->Name("copy/std::u16string");
