// Containers. Both sides of a row do the same work. Sorted lists and sets are compared with what is expected
// before they are timed; the benchmarks of maps and sorted arrays look at their results as they go.
#include "malloc_memory.h"

#include <tarnkit/array.h>
#include <tarnkit/list.h>
#include <tarnkit/map.h>
#include <tarnkit/unicode_set.h>
#include <tarnkit/unicode_string.h>

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>
#include <boost/unordered_map.hpp>
#include <glib.h>
#include <unicode/uniset.h>

#include <QHash>
#include <QList>
#include <QString>
#include <algorithm>
#include <bitset>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <random>
#include <unordered_map>
#include <vector>

namespace {

template<class T>
using StandardVector = std::vector<T, MallocAllocator<T>>;

void require(bool isTrue) {
    if (!isTrue) {
        std::fputs("containers: the sides do not agree\n", stderr);
        std::abort();
    }
}

// Lists. ------------------------------------------------------------------------------------------------

enum class Order { Random, Sorted, Halves, HalvesOfEqual, FewKeys };

StandardVector<int> keysIn(Order order, int count) {
    StandardVector<int> keys(static_cast<std::size_t>(count));
    std::mt19937 random(1);
    for (int i = 0; i < count; i++) {
        const int half = i % (count / 2);
        keys[static_cast<std::size_t>(i)] = order == Order::Random   ? static_cast<int>(random() >> 1)
                                            : order == Order::Sorted ? i
                                            : order == Order::Halves ? 2 * half + (i < count / 2 ? 1 : 0)
                                            : order == Order::HalvesOfEqual
                                                ? half
                                                : static_cast<int>(random() % 100);
    }
    return keys;
}

struct Node : Tarn::CListNodeBase {
    int key = 0;

    static int Compare(const CListNodeBase* a, const CListNodeBase* b) {
        const int left = static_cast<const Node*>(a)->key, right = static_cast<const Node*>(b)->key;
        return left < right ? -1 : left > right;
    }
};

struct TarnkitList {
    std::unique_ptr<Node[]> nodes;
    std::size_t count;
    Tarn::CListBase list;

    explicit TarnkitList(const StandardVector<int>& keys) : nodes(new Node[keys.size()]), count(keys.size()) {
        for (std::size_t i = 0; i < count; i++)
            nodes[i].key = keys[i];
    }
    ~TarnkitList() { list.DetachAll(); }
    void Restore() {
        list.DetachAll();
        for (std::size_t i = 0; i < count; i++)
            list.AddLast(&nodes[i]);
    }
    void Sort() { list.QSort(Node::Compare); }
    StandardVector<int> Keys() const {
        StandardVector<int> keys;
        for (const Tarn::CListNodeBase* node = list.First(); node != nullptr; node = node->Next())
            keys.push_back(static_cast<const Node*>(node)->key);
        return keys;
    }
};

struct StandardList {
    using List = std::list<int, MallocAllocator<int>>;

    List list;
    StandardVector<List::iterator> nodes;

    explicit StandardList(const StandardVector<int>& keys) : list(keys.begin(), keys.end()) {
        for (auto place = list.begin(); place != list.end(); ++place)
            nodes.push_back(place);
    }
    void Restore() {
        for (const auto place : nodes)
            list.splice(list.end(), list, place);
    }
    void Sort() { list.sort(); }
    StandardVector<int> Keys() const { return {list.begin(), list.end()}; }
};

template<class List, Order order, int count>
void sortList(benchmark::State& state) {
    StandardVector<int> keys = keysIn(order, count);
    List list(keys);
    list.Restore();
    list.Sort();
    std::ranges::sort(keys);
    require(list.Keys() == keys);
    for (auto _ : state) {
        state.PauseTiming();
        list.Restore();
        state.ResumeTiming();
        list.Sort();
    }
}

#define SORTS(order, count)                                                                                  \
    BENCHMARK(sortList<TarnkitList, Order::order, count>)->Name("list/" #order "/" #count "/QSort");         \
    BENCHMARK(sortList<StandardList, Order::order, count>)->Name("list/" #order "/" #count "/std::list")
SORTS(Halves, 10000);
SORTS(HalvesOfEqual, 10000);
SORTS(Sorted, 1000);
SORTS(Sorted, 10000);
SORTS(Random, 1000);
SORTS(Random, 10000);
SORTS(Random, 100000);
SORTS(FewKeys, 10000);

// Sets. -------------------------------------------------------------------------------------------------

constexpr unsigned kUnits = 0x10000;
using Bits = std::bitset<kUnits>;

icu::UnicodeSet patternSet(const char16_t* pattern) {
    UErrorCode error = U_ZERO_ERROR;
    icu::UnicodeSet set(icu::UnicodeString(pattern), error);
    set.retain(0, kUnits - 1);
    require(U_SUCCESS(error));
    return set;
}

// Letters, and marks, digits and capitals, as each side holds them.
const icu::UnicodeSet& icuSet(int which) {
    static const icu::UnicodeSet sets[] = {patternSet(u"[:L:]"), patternSet(u"[[:M:][:N:][:Lu:]]")};
    return sets[which];
}

struct TarnkitSets {
    using Set = Tarn::CUnicodeSet;
    static void Add(Set& set, unsigned unit) { set |= static_cast<char16_t>(unit); }
    static bool Has(const Set& set, unsigned unit) { return set.Has(static_cast<char16_t>(unit)); }
    static Set Union(const Set& a, const Set& b) { return a | b; }
    static Set Intersection(const Set& a, const Set& b) { return a & b; }
    static Set Complement(const Set& a) { return ~a; }
};

struct StandardSets {
    using Set = Bits;
    static void Add(Set& set, unsigned unit) { set.set(unit); }
    static bool Has(const Set& set, unsigned unit) { return set[unit]; }
    static Set Union(const Set& a, const Set& b) { return a | b; }
    static Set Intersection(const Set& a, const Set& b) { return a & b; }
    static Set Complement(const Set& a) { return ~a; }
};

struct IcuSets {
    using Set = icu::UnicodeSet;
    static void Add(Set& set, unsigned unit) { set.add(static_cast<UChar32>(unit)); }
    static bool Has(const Set& set, unsigned unit) { return set.contains(static_cast<UChar32>(unit)); }
    static Set Union(const Set& a, const Set& b) { return Set(a).addAll(b); }
    static Set Intersection(const Set& a, const Set& b) { return Set(a).retainAll(b); }
    static Set Complement(const Set& a) { return Set(a).complement(); }
};

enum class Operation { Union, Intersection, Complement };

template<class Sets, Operation operation>
typename Sets::Set combined(const typename Sets::Set& a, const typename Sets::Set& b) {
    return operation == Operation::Union          ? Sets::Union(a, b)
           : operation == Operation::Intersection ? Sets::Intersection(a, b)
                                                  : Sets::Complement(a);
}

template<class Sets, Operation operation>
void combineSets(benchmark::State& state) {
    typename Sets::Set a, b;
    Bits left, right;
    for (unsigned unit = 0; unit < kUnits; unit++) {
        if (icuSet(0).contains(static_cast<UChar32>(unit)))
            Sets::Add(a, unit), left.set(unit);
        if (icuSet(1).contains(static_cast<UChar32>(unit)))
            Sets::Add(b, unit), right.set(unit);
    }
    const typename Sets::Set result = combined<Sets, operation>(a, b);
    const Bits expected = combined<StandardSets, operation>(left, right);
    for (unsigned unit = 0; unit < kUnits; unit++)
        require(Sets::Has(result, unit) == expected[unit]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(combined<Sets, operation>(a, b));
        benchmark::ClobberMemory();
    }
}

#define SETS(operation)                                                                                      \
    BENCHMARK(combineSets<TarnkitSets, Operation::operation>)->Name("set/" #operation "/CUnicodeSet");       \
    BENCHMARK(combineSets<IcuSets, Operation::operation>)->Name("set/" #operation "/icu::UnicodeSet");       \
    BENCHMARK(combineSets<StandardSets, Operation::operation>)->Name("set/" #operation "/std::bitset")
SETS(Union);
SETS(Intersection);
SETS(Complement);

// Arrays. -----------------------------------------------------------------------------------------------

void append(Tarn::CArray<int>& array, int value) { array.Add(value); }
void append(StandardVector<int>& array, int value) { array.push_back(value); }

template<class Array, int count>
void push(benchmark::State& state) {
    for (auto _ : state) {
        Array array;
        for (int i = 0; i < count; i++)
            append(array, i);
        benchmark::DoNotOptimize(array[count - 1]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

#define PUSHES(count)                                                                                        \
    BENCHMARK(push<Tarn::CArray<int>, count>)->Name("array/push/" #count "/CArray");                         \
    BENCHMARK(push<StandardVector<int>, count>)->Name("array/push/" #count "/std::vector")
PUSHES(10000);
PUSHES(100000);
PUSHES(1000000);

void prepend(Tarn::CArray<Tarn::CUnicodeString>& array, const Tarn::CUnicodeString& text) {
    array.InsertAt(0, text);
}
void prepend(StandardVector<Tarn::CUnicodeString>& array, const Tarn::CUnicodeString& text) {
    array.insert(array.begin(), text);
}
void prepend(QList<QString>& array, const QString& text) { array.prepend(text); }

template<class Array, class Text, int count>
void insertInFront(benchmark::State& state) {
    const Text text = Text(u"some text");
    for (auto _ : state) {
        Array array;
        for (int i = 0; i < count; i++)
            prepend(array, text);
        benchmark::DoNotOptimize(&array[0]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

struct QtText : QString {
    explicit QtText(const char16_t* text) : QString(QStringView(text).toString()) {}
};

#define INSERTIONS(count)                                                                                    \
    BENCHMARK(insertInFront<Tarn::CArray<Tarn::CUnicodeString>, Tarn::CUnicodeString, count>)                \
        ->Name("array/insert/" #count "/CArray");                                                            \
    BENCHMARK(insertInFront<StandardVector<Tarn::CUnicodeString>, Tarn::CUnicodeString, count>)              \
        ->Name("array/insert/" #count "/std::vector");                                                       \
    BENCHMARK(insertInFront<QList<QString>, QtText, count>)->Name("array/insert/" #count "/QList")
INSERTIONS(100);
INSERTIONS(1000);
INSERTIONS(10000);

int compareInts(const int* a, const int* b) { return *a < *b ? -1 : *a > *b; }

struct ByPointer {
    void operator()(Tarn::CArray<int>& array) const { array.Sort(compareInts); }
};
struct Inline {
    void operator()(Tarn::CArray<int>& array) const {
        array.Sort([](const int* a, const int* b) { return *a < *b ? -1 : *a > *b; });
    }
};
struct StandardByPointer {
    int (*volatile compare)(const int*, const int*) = compareInts;
    void operator()(Tarn::CArray<int>& array) const {
        std::sort(array.begin(), array.end(),
                  [compare = compare](const int& a, const int& b) { return compare(&a, &b) < 0; });
    }
};
struct StandardInline {
    void operator()(Tarn::CArray<int>& array) const { std::sort(array.begin(), array.end()); }
};

template<class Sort>
void sortArray(benchmark::State& state) {
    constexpr int count = 100'000;
    const StandardVector<int> keys = keysIn(Order::Random, count);
    Tarn::CArray<int> array(count);
    for (auto _ : state) {
        state.PauseTiming();
        std::ranges::copy(keys, array.begin());
        state.ResumeTiming();
        Sort()(array);
    }
    require(std::ranges::is_sorted(array));
}
BENCHMARK(sortArray<ByPointer>)->Name("array/sort/pointer/CArray");
BENCHMARK(sortArray<StandardByPointer>)->Name("array/sort/pointer/std::sort");
BENCHMARK(sortArray<Inline>)->Name("array/sort/inline/CArray");
BENCHMARK(sortArray<StandardInline>)->Name("array/sort/inline/std::sort");

// Maps. -------------------------------------------------------------------------------------------------

struct TarnkitMap : Tarn::CMap<int, int> {
    void Put(int key, int value) { Insert(key, value); }
    bool Erase(int key) { return Delete(key); }
    int At(int key) { return *Find(key); }
};

template<template<class...> class Map, class Hash>
struct MapOfPeer : Map<int, int, Hash, std::equal_to<int>, MallocAllocator<std::pair<const int, int>>> {
    void Put(int key, int value) { this->emplace(key, value); }
    bool Erase(int key) { return this->erase(key) > 0; }
    int At(int key) { return this->find(key)->second; }
};
using AbseilMap = MapOfPeer<absl::flat_hash_map, absl::Hash<int>>;
using BoostMap = MapOfPeer<boost::unordered_map, boost::hash<int>>;
using StandardMap = MapOfPeer<std::unordered_map, std::hash<int>>;

struct GlibMap {
    GHashTable* table = g_hash_table_new(g_direct_hash, g_direct_equal);

    GlibMap() = default;
    GlibMap(const GlibMap&) = delete;
    ~GlibMap() { g_hash_table_destroy(table); }
    void Put(int key, int value) { g_hash_table_insert(table, GINT_TO_POINTER(key), GINT_TO_POINTER(value)); }
    bool Erase(int key) { return g_hash_table_remove(table, GINT_TO_POINTER(key)) != FALSE; }
    int At(int key) { return GPOINTER_TO_INT(g_hash_table_lookup(table, GINT_TO_POINTER(key))); }
};

StandardVector<int> distinctKeys(int count, bool isShuffled) {
    StandardVector<int> keys(static_cast<std::size_t>(count));
    for (int i = 0; i < count; i++)
        keys[static_cast<std::size_t>(i)] =
            isShuffled ? static_cast<int>(static_cast<unsigned>(i) * 2654435761u) : i;
    return keys;
}

template<class Map, int count, bool isShuffled>
void insertInts(benchmark::State& state) {
    const StandardVector<int> keys = distinctKeys(count, isShuffled);
    for (auto _ : state) {
        state.PauseTiming();
        auto map = std::make_unique<Map>();
        state.ResumeTiming();
        for (const int key : keys)
            map->Put(key, key);
        state.PauseTiming();
        require(map->At(keys[7]) == keys[7]);
        map.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

template<class Map, int count, bool isShuffled>
void eraseInts(benchmark::State& state) {
    StandardVector<int> keys = distinctKeys(count, isShuffled);
    auto erased = keys;
    if (isShuffled)
        std::shuffle(erased.begin(), erased.end(), std::mt19937(3));
    for (auto _ : state) {
        state.PauseTiming();
        auto map = std::make_unique<Map>();
        for (const int key : keys)
            map->Put(key, key);
        state.ResumeTiming();
        for (const int key : erased)
            require(map->Erase(key));
        state.PauseTiming();
        map.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

template<class Map, int count, bool isShuffled>
void findInts(benchmark::State& state) {
    StandardVector<int> keys = distinctKeys(count, isShuffled);
    Map map;
    for (const int key : keys)
        map.Put(key, key);
    if (isShuffled)
        std::shuffle(keys.begin(), keys.end(), std::mt19937(3));
    for (auto _ : state)
        for (const int key : keys)
            benchmark::DoNotOptimize(map.At(key));
    state.SetItemsProcessed(state.iterations() * count);
}

#define MAP(Map, count, order, isShuffled, name)                                                             \
    BENCHMARK(insertInts<Map, count, isShuffled>)->Name("map/insert/" order "/" #count "/" name);            \
    BENCHMARK(eraseInts<Map, count, isShuffled>)->Name("map/erase/" order "/" #count "/" name);              \
    BENCHMARK(findInts<Map, count, isShuffled>)->Name("map/find/" order "/" #count "/" name)
#define MAPS(count, order, isShuffled)                                                                       \
    MAP(TarnkitMap, count, order, isShuffled, "CMap");                                                       \
    MAP(AbseilMap, count, order, isShuffled, "absl")
MAPS(1000000, "random", true);
MAPS(1000000, "rising", false);
MAPS(100000, "random", true);
MAPS(10000, "random", true);
MAP(BoostMap, 100000, "random", true, "boost");
MAP(StandardMap, 100000, "random", true, "std::unordered_map");
MAP(GlibMap, 100000, "random", true, "GHashTable");

struct TarnkitTexts : Tarn::CMap<Tarn::CUnicodeString, int> {
    using Text = Tarn::CUnicodeString;
    static Text Made(const char16_t* units, int) { return units; }
    void Put(const Text& key, int value) { Insert(key, value); }
    int At(const Text& key) { return *Find(key); }
};

struct QtTexts : QHash<QString, int> {
    using Text = QString;
    static Text Made(const char16_t* units, int length) { return QStringView(units, length).toString(); }
    void Put(const Text& key, int value) { insert(key, value); }
    int At(const Text& key) { return *constFind(key); }
};

// Looks for texts that are equal to the keys but not the same objects.
template<class Map, int count>
void findTexts(benchmark::State& state) {
    using Text = typename Map::Text;
    std::mt19937 random(5);
    Map map;
    StandardVector<Text> wanted;
    for (int i = 0; i < count; i++) {
        char16_t units[33];
        const int length = 8 + static_cast<int>(random() % 24);
        for (int k = 0; k < length; k++)
            units[k] = static_cast<char16_t>(u'a' + random() % 26);
        units[length] = 0;
        map.Put(Map::Made(units, length), i);
        wanted.push_back(Map::Made(units, length));
    }
    std::shuffle(wanted.begin(), wanted.end(), random);
    for (auto _ : state)
        for (const Text& text : wanted)
            benchmark::DoNotOptimize(map.At(text));
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(findTexts<TarnkitTexts, 1000>)->Name("map/texts/1000/CMap");
BENCHMARK(findTexts<QtTexts, 1000>)->Name("map/texts/1000/QHash");
BENCHMARK(findTexts<TarnkitTexts, 100000>)->Name("map/texts/100000/CMap");
BENCHMARK(findTexts<QtTexts, 100000>)->Name("map/texts/100000/QHash");

// Large blocks. -----------------------------------------------------------------------------------------

struct Routed {
    static void* Take(unsigned size) { return Tarn::doAlloc(size); }
    static void Give(void* block) { Tarn::doFree(block); }
};
struct Runtime {
    static void* Take(unsigned size) { return std::malloc(size); }
    static void Give(void* block) { std::free(block); }
};

// Takes, fills and frees blocks of 66 to 216 KB, several of them at a time.
template<class Rival, int atATime>
void fillLargeBlocks(benchmark::State& state) {
    constexpr int count = 64;
    std::mt19937 random(4);
    unsigned sizes[count];
    for (unsigned& size : sizes)
        size = 66'000 + static_cast<unsigned>(random() % 150'001);
    for (auto _ : state)
        for (int i = 0; i < count; i += atATime) {
            void* blocks[atATime];
            for (int k = 0; k < atATime; k++) {
                blocks[k] = Rival::Take(sizes[i + k]);
                std::memset(blocks[k], k, sizes[i + k]);
                benchmark::DoNotOptimize(blocks[k]);
                benchmark::ClobberMemory();
            }
            for (void* block : blocks)
                Rival::Give(block);
        }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(fillLargeBlocks<Routed, 1>)->Name("large/1/doAlloc");
BENCHMARK(fillLargeBlocks<Runtime, 1>)->Name("large/1/malloc");
BENCHMARK(fillLargeBlocks<Routed, 4>)->Name("large/4/doAlloc");
BENCHMARK(fillLargeBlocks<Runtime, 4>)->Name("large/4/malloc");

} // namespace
