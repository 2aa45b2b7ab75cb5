// The present time, its parts, and its text.
#include <tarnkit/time.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <string>

namespace {

using namespace Tarn;

constexpr const char* kZone = "Europe/Berlin";

void setZone() {
    setenv("TZ", kZone, 1);
    tzset();
}

void nowTarnkit(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(CTime::GetCurrentTime());
}

void nowStandard(benchmark::State& state) {
    using namespace std::chrono;
    for (auto _ : state)
        benchmark::DoNotOptimize(floor<milliseconds>(system_clock::now()));
}

void partsTarnkit(benchmark::State& state) {
    setZone();
    const CTime now = CTime::GetCurrentTime();
    for (auto _ : state) {
        SYSTEMTIME parts;
        now.GetAsSystemTime(parts);
        benchmark::DoNotOptimize(parts);
    }
}

void hourTarnkit(benchmark::State& state) {
    setZone();
    const CTime now = CTime::GetCurrentTime();
    for (auto _ : state)
        benchmark::DoNotOptimize(now.GetHour());
}

void partsStandard(benchmark::State& state) {
    setZone();
    const std::time_t now = std::time(nullptr);
    std::tm check;
    localtime_r(&now, &check);
    const CTime time = CTime::GetCurrentTime();
    if (time.GetHour() != check.tm_hour || time.GetDay() != check.tm_mday)
        state.SkipWithError("the parts differ");
    for (auto _ : state) {
        std::tm parts;
        localtime_r(&now, &parts);
        benchmark::DoNotOptimize(parts);
    }
}

void formatTarnkit(benchmark::State& state, const char16_t* format) {
    setZone();
    const CTime now = CTime::GetCurrentTime();
    for (auto _ : state)
        benchmark::DoNotOptimize(now.UnicodeFormat(format));
}

// The same text, made of the time of `localtime_r`.
void formatStandard(benchmark::State& state, const char* format, const char16_t* ours) {
    setZone();
    const std::time_t now = std::time(nullptr);
    std::string expected;
    for (auto _ : state) {
        std::tm parts;
        localtime_r(&now, &parts);
        char text[128];
        const std::size_t length = std::strftime(text, sizeof(text), format, &parts);
        benchmark::DoNotOptimize(text);
        if (expected.empty()) {
            expected.assign(text, length);
            if (CTime::GetCurrentTime().UnicodeFormat(ours).CreateString(65001).Ptr() != expected)
                state.SkipWithError("the texts differ");
        }
    }
}

} // namespace

BENCHMARK(nowTarnkit)->Name("times/now/CTime");
BENCHMARK(nowStandard)->Name("times/now/system_clock");
BENCHMARK(partsTarnkit)->Name("times/parts/CTime");
BENCHMARK(hourTarnkit)->Name("times/hour/CTime");
BENCHMARK(partsStandard)->Name("times/parts/localtime_r");
BENCHMARK_CAPTURE(formatTarnkit, names, u"%A %a %B %b")->Name("times/names/CTime");
BENCHMARK_CAPTURE(formatStandard, names, "%A %a %B %b", u"%A %a %B %b")->Name("times/names/strftime");
BENCHMARK_CAPTURE(formatTarnkit, zone, u"%Z")->Name("times/zone/CTime");
BENCHMARK_CAPTURE(formatStandard, zone, "%Z", u"%Z")->Name("times/zone/strftime");
BENCHMARK_CAPTURE(formatTarnkit, numbers, u"%d.%m.%Y %H:%M")->Name("times/numbers/CTime");
BENCHMARK_CAPTURE(formatStandard, numbers, "%d.%m.%Y %H:%M", u"%d.%m.%Y %H:%M")
    ->Name("times/numbers/strftime");
BENCHMARK_CAPTURE(formatTarnkit, date, u"%c")->Name("times/date/CTime");
BENCHMARK_CAPTURE(formatStandard, date, "MM/dd/yy HH:mm:ss", u"%c")->Name("times/date/strftime");
