// What happens when there is a hundred times as much. Each benchmark does the same for a number of elements
// that its name ends with, and gives the time for one of them: that of an operation in linear time stays as
// it is.
#include <tarnkit/archive.h>
#include <tarnkit/array.h>
#include <tarnkit/list.h>
#include <tarnkit/map.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/unicode_set.h>
#include <tarnkit/unicode_string.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>

using namespace Tarn;

namespace {

// Registers `use(n)` for n elements, and for ten and a hundred times as many.
template<class Use>
void grow(const std::string& name, int fewest, Use use) {
    for (int count = fewest; count <= 100 * fewest; count *= 10)
        benchmark::RegisterBenchmark(("growth/" + name + "/" + std::to_string(count)).c_str(),
                                     [use, count](benchmark::State& state) {
                                         for (auto _ : state)
                                             use(count);
                                         state.SetItemsProcessed(state.iterations() * count);
                                     });
}

struct CNumberedNode : CListNodeBase {
    unsigned number = 0;

    static int Compare(const CListNodeBase* a, const CListNodeBase* b) {
        const unsigned left = static_cast<const CNumberedNode*>(a)->number;
        const unsigned right = static_cast<const CNumberedNode*>(b)->number;
        return left < right ? -1 : left > right;
    }
};

// Sorts `count` nodes whose keys are `keyAt(i)`. The time includes making the list.
template<class KeyAt>
void sortList(int count, KeyAt keyAt) {
    const std::unique_ptr<CNumberedNode[]> nodes(new CNumberedNode[static_cast<std::size_t>(count)]);
    CListBase list;
    for (int i = 0; i < count; i++) {
        nodes[static_cast<std::size_t>(i)].number = keyAt(i);
        list.AddLast(&nodes[static_cast<std::size_t>(i)]);
    }
    list.QSort(CNumberedNode::Compare);
    list.DetachAll();
}

void storeInMemory(int count) {
    CMemoryFile file;
    CArchive archive(&file, CArchive::Storing);
    for (int i = 0; i < count; i++)
        archive << i << UnicodeStr(i);
    archive.Close();
}

[[maybe_unused]] const bool areRegistered = [] {
    grow("append-units", 10'000, [](int count) {
        CUnicodeString text;
        for (int i = 0; i < count; i++)
            text += u'x';
    });
    grow("find-hard", 1'000, [](int count) { // a text that begins everywhere and is nowhere
        const CUnicodeString text(u'a', count),
            wanted = CUnicodeString(u'a', count / 2) + CUnicodeString(u"b");
        benchmark::DoNotOptimize(text.Find(wanted.Ptr()));
    });
    grow("array", 10'000, [](int count) {
        CArray<int> array;
        for (int i = 0; i < count; i++)
            array.Add(i);
    });
    grow("map", 10'000, [](int count) {
        std::mt19937 random(1);
        CMap<unsigned, int> map;
        for (int i = 0; i < count; i++)
            map.Set(static_cast<unsigned>(random()), i);
    });
    grow("map-of-texts", 1'000, [](int count) {
        CMap<CUnicodeString, int> map;
        for (int i = 0; i < count; i++)
            map.Set(UnicodeStr(i), i);
    });
    grow("sort-random", 1'000, [](int count) {
        std::mt19937 random(1);
        sortList(count, [&](int) { return static_cast<unsigned>(random()); });
    });
    grow("sort-halves", 1'000,
         [](int count) { sortList(count, [&](int i) { return static_cast<unsigned>(i % (count / 2)); }); });
    grow("archive", 1'000, storeInMemory);
    grow("memory-file", 57, [](int count) {
        static const char step[1024] = {};
        CMemoryFile file;
        for (int i = 0; i < count; i++)
            file.Write(step, sizeof step);
    });
    return true;
}();

} // namespace
