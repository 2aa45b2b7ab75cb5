// What strings and blocks cost in a process with several threads. The names of these benchmarks contain
// "threads", so that they can run in a process of their own: counts are plain numbers while a process has one
// thread.
#include "malloc_memory.h"

#include <tarnkit/memory_manager.h>
#include <tarnkit/unicode_string.h>

#include <QString>
#include <benchmark/benchmark.h>

#include <atomic>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace {

// Makes sure that counts are atomic.
class CSecondThread {
public:
    CSecondThread() : thread([this] { isOver.wait(false); }) {}
    ~CSecondThread() {
        isOver = true;
        isOver.notify_all();
        thread.join();
    }

private:
    std::atomic<bool> isOver{false};
    std::thread thread;
};

void startSecondThread() { static CSecondThread secondThread; }

using Tarn::CUnicodeString;
using StandardString = std::basic_string<char16_t, std::char_traits<char16_t>, MallocAllocator<char16_t>>;

constexpr int kCopiedLength = 100;

template<class String>
void copyAndDestroy(benchmark::State& state, const String& text) {
    startSecondThread();
    for (auto _ : state) {
        String copy(text);
        benchmark::DoNotOptimize(&copy);
        benchmark::ClobberMemory();
    }
}

void copyTarnkit(benchmark::State& state) { copyAndDestroy(state, CUnicodeString(u'x', kCopiedLength)); }
void copyQt(benchmark::State& state) { copyAndDestroy(state, QString(kCopiedLength, u'x')); }

constexpr char16_t kShortText[] = u"twenty units of text";

// No side knows the length before.
const char16_t* shortText() {
    const char16_t* text = kShortText;
    benchmark::DoNotOptimize(text);
    return text;
}

QString makeQString() { return QString::fromUtf16(shortText()); }

template<class Maker>
void buildAndDrop(benchmark::State& state, Maker make) {
    startSecondThread();
    for (auto _ : state) {
        auto text = make();
        benchmark::DoNotOptimize(&text);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

void buildTarnkit(benchmark::State& state) {
    buildAndDrop(state, [] { return CUnicodeString(shortText()); });
}
void buildStandard(benchmark::State& state) {
    buildAndDrop(state, [] { return StandardString(shortText()); });
}
void buildQt(benchmark::State& state) { buildAndDrop(state, makeQString); }

// What is made on one thread and dropped on the other. The objects travel in batches, so that their cost is
// measured and not that of the queue.

constexpr int kBatch = 1000;
constexpr unsigned kBlockSize = 64;

struct CRoutedBlock {
    void* block = Tarn::doAlloc(kBlockSize);
    ~CRoutedBlock() { Tarn::doFree(block); }
};
struct CRuntimeBlock {
    void* block = std::malloc(kBlockSize);
    ~CRuntimeBlock() { std::free(block); }
};
struct CTarnkitText {
    CUnicodeString text{shortText()};
};
struct CStandardText {
    StandardString text{shortText()};
};

template<class Object>
class CHandOver {
public:
    CHandOver() : consumer([this] { consume(); }) {}
    ~CHandOver() {
        state.store(kOver);
        consumer.join();
    }

    void Send() {
        while (state.load(std::memory_order_acquire) != kEmpty) {
        }
        for (int i = 0; i < kBatch; i++)
            ::new (static_cast<void*>(object(i))) Object;
        state.store(kFull, std::memory_order_release);
    }

    void WaitUntilEmpty() {
        while (state.load(std::memory_order_acquire) != kEmpty) {
        }
    }

private:
    enum : int { kEmpty, kFull, kOver };

    alignas(Object) unsigned char storage[kBatch * sizeof(Object)];
    std::atomic<int> state{kEmpty};
    std::thread consumer;

    Object* object(int index) { return reinterpret_cast<Object*>(storage) + index; }

    void consume() {
        for (;;) {
            const int now = state.load(std::memory_order_acquire);
            if (now == kOver)
                return;
            if (now == kEmpty)
                continue;
            for (int i = 0; i < kBatch; i++)
                object(i)->~Object();
            state.store(kEmpty, std::memory_order_release);
        }
    }
};

template<class Object>
void handOver(benchmark::State& state) {
    CHandOver<Object> handOver;
    for (auto _ : state) {
        handOver.Send();
        handOver.WaitUntilEmpty();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

} // namespace

BENCHMARK(copyTarnkit)->Name("threads/copy/CUnicodeString");
BENCHMARK(copyQt)->Name("threads/copy/QString");
BENCHMARK(buildTarnkit)->Name("threads/build/CUnicodeString")->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(buildStandard)->Name("threads/build/std::u16string")->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(buildQt)->Name("threads/build/QString")->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(handOver<CRoutedBlock>)->Name("threads/hand-over/doAlloc")->UseRealTime();
BENCHMARK(handOver<CRuntimeBlock>)->Name("threads/hand-over/malloc")->UseRealTime();
BENCHMARK(handOver<CTarnkitText>)->Name("threads/hand-over/CUnicodeString")->UseRealTime();
BENCHMARK(handOver<CStandardText>)->Name("threads/hand-over/std::u16string")->UseRealTime();
