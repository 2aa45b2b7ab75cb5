// How much memory a process needs at most for what it makes, per element. Each side works in a process of its
// own, which has nothing of what others have freed. The result stands in the place of a time: a byte for a
// nanosecond.
#include "malloc_memory.h"
#include "scratch_folder.h"

#include <tarnkit/array.h>
#include <tarnkit/map.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/unicode_string.h>

#include <QBuffer>
#include <QHash>
#include <QList>
#include <QString>
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <malloc.h>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

namespace {

using namespace Tarn;

constexpr int kMany = 1'000'000;
constexpr int kTexts = 200'000;

double largest() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return 1024.0 * static_cast<double>(usage.ru_maxrss);
}

void report(benchmark::State& state, double bytes, int count) {
    state.SetIterationTime(bytes / 1e9);
    state.SetItemsProcessed(state.items_processed() + count);
}

// Registers `make()`, which makes `count` elements.
template<class Make>
void measure(const char* name, int count, Make make) {
    const auto run = [count, make](benchmark::State& state) {
        for (auto _ : state) {
            malloc_trim(0);
            int ends[2];
            double bytes = 0;
            must(pipe(ends) == 0, "pipe");
            const pid_t child = fork();
            if (child == 0) {
                const double before = largest();
                make();
                bytes = largest() - before;
                _exit(write(ends[1], &bytes, sizeof bytes) == sizeof bytes ? 0 : 1);
            }
            int status = -1;
            must(child > 0 && read(ends[0], &bytes, sizeof bytes) == sizeof bytes, "the other process");
            must(waitpid(child, &status, 0) == child && status == 0, "the other process");
            close(ends[0]);
            close(ends[1]);
            report(state, bytes, count);
        }
    };
    benchmark::RegisterBenchmark((std::string("space/") + name).c_str(), run)->UseManualTime()->Iterations(1);
}

void runProgram(benchmark::State& state, const char* program) {
    for (auto _ : state) {
        std::FILE* const answer = popen((std::string(program) + " memory").c_str(), "r");
        unsigned long bytes = 0;
        must(answer != nullptr && fscanf(answer, "%lu", &bytes) == 1 && pclose(answer) == 0, "a program");
        report(state, static_cast<double>(bytes), 1);
    }
}

template<class T>
T* kept(T* object) {
    benchmark::DoNotOptimize(object);
    return object;
}

template<class Map>
void fillMap(Map& map) {
    std::mt19937 random(1);
    for (int i = 0; i < kMany; i++) {
        const unsigned key = static_cast<unsigned>(random());
        if constexpr (requires { map.Set(key, i); })
            map.Set(key, i);
        else
            map[key] = i;
    }
}

const QString& numbered(int i) {
    static QString text;
    return text = QStringLiteral("a text, number ") + QString::number(i);
}

CUnicodeString ours(int i) { return CUnicodeString(u"a text, number ") + UnicodeStr(i); }

[[maybe_unused]] const bool areRegistered = [] {
    using StandardMap = absl::flat_hash_map<unsigned, int, absl::flat_hash_map<unsigned, int>::hasher,
                                            std::equal_to<>, MallocAllocator<std::pair<const unsigned, int>>>;
    measure("map/CMap", kMany, [] { fillMap(*kept(new CMap<unsigned, int>)); });
    measure("map/absl", kMany, [] { fillMap(*kept(new StandardMap)); });
    measure("map-of-texts/CMap", kTexts, [] {
        auto* const map = kept(new CMap<CUnicodeString, int>);
        for (int i = 0; i < kTexts; i++)
            map->Set(ours(i), i);
    });
    measure("map-of-texts/QHash", kTexts, [] {
        auto* const map = kept(new QHash<QString, int>);
        for (int i = 0; i < kTexts; i++)
            map->insert(numbered(i), i);
    });
    measure("texts/CArray", kTexts, [] {
        auto* const texts = kept(new CArray<CUnicodeString>);
        for (int i = 0; i < kTexts; i++)
            texts->Add(ours(i));
    });
    measure("texts/QList", kTexts, [] {
        auto* const texts = kept(new QList<QString>);
        for (int i = 0; i < kTexts; i++)
            texts->append(numbered(i));
    });
    measure("array/CArray", kMany, [] {
        auto* const array = kept(new CArray<int>);
        for (int i = 0; i < kMany; i++)
            array->Add(i);
    });
    measure("array/std::vector", kMany, [] {
        auto* const array = kept(new std::vector<int, MallocAllocator<int>>);
        for (int i = 0; i < kMany; i++)
            array->push_back(i);
    });
    measure("text/CUnicodeString", kMany, [] {
        auto* const text = kept(new CUnicodeString);
        for (int i = 0; i < kMany; i++)
            *text += u'x';
    });
    measure("text/QString", kMany, [] {
        auto* const text = kept(new QString);
        for (int i = 0; i < kMany; i++)
            *text += u'x';
    });
    static const char step[1024] = {1};
    measure("memory-file/CMemoryFile", 5700, [] {
        auto* const file = kept(new CMemoryFile);
        for (int i = 0; i < 5700; i++)
            file->Write(step, sizeof step);
    });
    measure("memory-file/QBuffer", 5700, [] {
        auto* const file = kept(new QBuffer);
        must(file->open(QIODevice::WriteOnly), "QBuffer");
        for (int i = 0; i < 5700; i++)
            file->write(step, sizeof step);
    });
    for (const auto& [name, program] : {std::pair{"space/process/Tarnkit", TARNKIT_START_PROGRAM},
                                        std::pair{"space/process/Qt", TARNKIT_START_PEER},
                                        std::pair{"space/process/runtime", TARNKIT_START_RUNTIME},
                                        std::pair{"space/process/empty", TARNKIT_START_EMPTY}})
        benchmark::RegisterBenchmark(name, runProgram, program)->UseManualTime()->Iterations(1);
    return true;
}();

} // namespace
