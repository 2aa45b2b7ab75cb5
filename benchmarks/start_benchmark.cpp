// From the start of a process to its end: of one that uses the library, of one that uses the peer, and of one
// that does nothing.
#include <benchmark/benchmark.h>

#include <spawn.h>
#include <string>
#include <sys/wait.h>

namespace {

void run(benchmark::State& state, const char* program) {
    for (auto _ : state) {
        char* arguments[] = {const_cast<char*>(program), nullptr};
        pid_t child = 0;
        int status = -1;
        if (posix_spawn(&child, program, nullptr, nullptr, arguments, environ) != 0 ||
            waitpid(child, &status, 0) != child || status != 0)
            return state.SkipWithError("the program did not run");
    }
    state.SetItemsProcessed(state.iterations()); // in elapsed time: the processor time is that of the program
}

[[maybe_unused]] const bool areRegistered = [] {
    for (const auto& [name, program] :
         {std::pair{"start/Tarnkit", TARNKIT_START_PROGRAM}, std::pair{"start/loaded", TARNKIT_START_LOADED},
          std::pair{"start/Qt", TARNKIT_START_PEER}, std::pair{"start/runtime", TARNKIT_START_RUNTIME},
          std::pair{"start/empty", TARNKIT_START_EMPTY}})
        benchmark::RegisterBenchmark(name, run, program)->UseRealTime()->Unit(benchmark::kMillisecond);
    return true;
}();

} // namespace
