#include "faults.h"

#include <tarnkit/tree.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

using namespace Tarn;

namespace {

std::vector<int> deleted; // the numbers of the items destroyed so far

// A tree node, by which the operations of lists are tested too: its children are a list.
struct CItem : CTreeBase {
    explicit CItem(int itemNumber, int itemKey = 0) : number(itemNumber), key(itemKey) {}
    ~CItem() noexcept(false) override {
        deleted.push_back(number);
        if (key < 0)
            throw std::runtime_error("an item that cannot be closed");
    }

    static int ByKey(const CTreeBase* a, const CTreeBase* b) {
        return static_cast<const CItem*>(a)->key - static_cast<const CItem*>(b)->key;
    }
    static int Failing(const CTreeBase* a, const CTreeBase* b) {
        return Random(100) == 0 ? throw std::runtime_error("cannot compare") : ByKey(a, b);
    }

    int number;
    int key;
};

/// The children of `parent` from the first to the last, after a look at every link.
std::vector<CItem*> itemsOf(CTreeBase& parent) {
    std::vector<CItem*> items;
    CTreeBase* previous = nullptr;
    for (CTreeBase* node = parent.First(); node != nullptr; previous = node, node = node->Next()) {
        EXPECT_TRUE(node->Prev() == previous && parent.HasChild(node));
        items.push_back(static_cast<CItem*>(node));
    }
    EXPECT_EQ(parent.Last(), previous);
    EXPECT_EQ(parent.NumberOfChildren(), static_cast<int>(items.size()));
    return items;
}

void expectNumbers(CTreeBase& parent, const std::vector<int>& expected) {
    EXPECT_TRUE(std::ranges::equal(itemsOf(parent), expected, {}, &CItem::number));
}

void fill(CTreeBase& parent, int count, int greatestKey) {
    for (int i = 0; i < count; i++)
        parent.AddLast(new CItem(i, Random(greatestKey)));
}

} // namespace

TEST(List, LinksAndUnlinksAtTheEndsAndBetween) {
    CTreeBase list, other;
    list.AddFirst(new CItem(2));
    list.First()->InsertPrev(new CItem(0));
    list.Last()->InsertNext(new CItem(5));
    list.Last()->InsertPrev(new CItem(4));
    list.First()->InsertNext(new CItem(1));
    list.First()->Next()->Next()->InsertNext(new CItem(3));
    expectNumbers(list, {0, 1, 2, 3, 4, 5});
    delete list.Last();
    delete list.First();
    delete list.First()->Next();
    other.AddTreeLast(list);
    list.AddTreeLast(list);
    expectNumbers(list, {});
    list.AddLast(new CItem(6));
    list.AddTreeFirst(other);
    list.AddTreeFirst(other);
    other.AddFirst(new CItem(7));
    list.AddTreeLast(other);
    list.AddTreeFirst(list);
    expectNumbers(list, {1, 3, 4, 6, 7});
}

TEST(List, SortsAgreeWithAStableSort) {
    for (const int count : {0, 1, 2, 8, 9, 100, 256, 257, 1000})
        for (const int greatestKey : {0, 3, 1'000'000}) {
            CTreeBase list;
            fill(list, count, greatestKey);
            std::vector<CItem*> expected = itemsOf(list);
            std::ranges::stable_sort(expected, {}, &CItem::key);
            list.Sort(CItem::ByKey);
            EXPECT_EQ(itemsOf(list), expected) << count << " " << greatestKey;
            for (int order = 0; order < 3; order++) {
                for (CItem* item : itemsOf(list)) // downward, upward, at random
                    item->key = order < 2 ? 1000'000 - item->key : Random(greatestKey);
                list.QSort(CItem::ByKey);
                EXPECT_TRUE(std::ranges::is_sorted(itemsOf(list), {}, &CItem::key)) << count;
            }
            EXPECT_TRUE(std::ranges::is_permutation(itemsOf(list), expected));
        }
}

TEST(List, ASortThatFailsLosesNoNode) {
    CRefusingManager manager;
    CTreeBase list;
    fill(list, 256, 1000);
    { // `deleted`, which outlives the manager, grows when the list goes
        CMemoryManagerSwitcher switcher(&manager);
        EXPECT_TRUE(manager.TryWith(0, [&] { list.QSort(CItem::ByKey); }));
        list.AddFirst(new CItem(256, 5000));
        const std::vector<CItem*> before = itemsOf(list);
        EXPECT_FALSE(manager.TryWith(0, [&] { list.QSort(CItem::ByKey); }));
        EXPECT_THROW(list.QSort(CItem::Failing), std::runtime_error);
        EXPECT_EQ(itemsOf(list), before);
        EXPECT_THROW(list.Sort(CItem::Failing), std::runtime_error);
        EXPECT_TRUE(std::ranges::is_permutation(itemsOf(list), before));
    }
}

TEST(Tree, ANodeTakesItsSubtreeWithItUnlessItIsDetached) {
    CItem root(0), survivor(9);
    fill(root, 4, 0);
    CTreeBase* two = root.First()->Next()->Next();
    for (int i = 4; i < 7; i++)
        two->AddLast(new CItem(i));
    two->First()->AddFirst(&survivor);
    two->First()->DetachAll();
    EXPECT_TRUE(survivor.Parent() == nullptr && two->First()->IsEmpty());
    survivor.Detach();
    two->First()->Next()->AddFirst(new CItem(7, -1));
    EXPECT_TRUE(two->First()->Next()->First()->Parent()->Parent() == two && !root.HasChild(two->Last()));
    deleted.clear();
    EXPECT_THROW(two->DeleteAll(), std::runtime_error);
    delete two;
    EXPECT_EQ(deleted, (std::vector{4, 5, 7, 6, 2})) << "one that fails does not keep the others";
    expectNumbers(root, {0, 1, 3});
}
