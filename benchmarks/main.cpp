// Runs the benchmarks and fails if any of them fails.
#include <tarnkit/exceptions.h>

#include <benchmark/benchmark.h>

#include <cstdio>

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    try {
        return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
    } catch (Tarn::CException* e) {
        std::fprintf(stderr, "benchmark: %s\n", e->MessageText().CreateString(65001).Ptr());
        e->Delete();
        return 1;
    }
}
