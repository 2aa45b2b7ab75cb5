#include "faults.h"
#include "tests/errors/reports.h"

#include <tarnkit/non_throwing.h>
#include <tarnkit/tree.h>

#include <bit>

using namespace Tarn;

namespace {

std::vector<int> deleted; // the numbers of the items destroyed so far

int comparisons;

// A class whose destructor must not throw.
struct CClientBase {
    virtual ~CClientBase() = default;
};

// A tree node. It also serves to test lists, since its children are a list.
struct CItem : CClientBase, CTreeBase {
    explicit CItem(int itemNumber, int itemKey = 0) : number(itemNumber), key(itemKey) {}
    ~CItem() override {
        if (key == kDeletesItsFirst)
            delete First();
        deleted.push_back(number);
        if (key < 0)
            GenAssert(u"item", number);
    }

    static int ByKey(const CTreeBase* a, const CTreeBase* b) {
        comparisons++;
        return static_cast<const CItem*>(a)->key - static_cast<const CItem*>(b)->key;
    }
    static int ByKey(const CListNodeBase* a, const CListNodeBase* b) {
        return ByKey(static_cast<const CTreeBase*>(a), static_cast<const CTreeBase*>(b));
    }
    static int Failing(const CTreeBase* a, const CTreeBase* b) {
        return Random(100) == 0 ? throw std::runtime_error("cannot compare") : ByKey(a, b);
    }

    static constexpr int kDeletesItsFirst = 2'000'000;

    int number;
    int key;
};

/// The children of `parent` in order, with every link checked.
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
    expectNumbers(list, {});
    list.AddLast(new CItem(6));
    list.AddTreeFirst(other);
    list.AddTreeFirst(other);
    other.AddFirst(new CItem(7));
    list.AddTreeLast(other);
    list.AddTreeFirst(list);
    list.AddTreeLast(list);
    expectNumbers(list, {1, 3, 4, 6, 7});
}

TEST(List, SortsAgreeWithAStableSortAndNoOrderMakesQSortSlow) {
    for (const int count : {0, 1, 2, 8, 9, 100, 256, 257, 1000})
        for (const int greatestKey : {0, 3, 1'000'000}) {
            CTreeBase list;
            fill(list, count, greatestKey);
            std::vector<CItem*> expected = itemsOf(list);
            std::ranges::stable_sort(expected, {}, &CItem::key);
            int asked = 0;
            const auto byKey = [&asked](const CItem* a, const CItem* b) {
                asked++;
                return CItem::ByKey(a, b);
            };
            count % 2 == 0  ? list.Sort(CItem::ByKey)
            : count % 3 > 0 ? list.CListBase::Sort(CItem::ByKey)
                            : list.Sort<CItem>(byKey);
            EXPECT_EQ(itemsOf(list), expected) << count << " " << greatestKey;
            EXPECT_TRUE(
                std::ranges::equal(list.Nodes<CItem>(), expected, {}, [](CItem& item) { return &item; }));
            for (int order = 0; order < 5; order++) {
                int i = 0;
                for (CItem* item : itemsOf(list)) {
                    const int keys[] = {i, count - i, std::min(i, count - i), i % (count / 2 + 1),
                                        Random(greatestKey)};
                    item->key = keys[order];
                    i++;
                }
                comparisons = 0;
                count % 2 == 0  ? list.QSort(CItem::ByKey)
                : count % 3 > 0 ? list.CListBase::QSort(CItem::ByKey)
                                : list.QSort<CItem>(byKey);
                EXPECT_LE(comparisons, 6 * count * std::bit_width(static_cast<unsigned>(count))) << order;
                EXPECT_TRUE(std::ranges::is_sorted(itemsOf(list), {}, &CItem::key)) << count;
            }
            EXPECT_TRUE(std::ranges::is_permutation(itemsOf(list), expected));
        }
}

static_assert(std::ranges::bidirectional_range<CListBase> &&
              std::ranges::bidirectional_range<const CTreeBase> &&
              std::is_same_v<std::ranges::range_reference_t<CTreeBase>, CTreeBase&>);

TEST(List, IsARangeInBothDirections) {
    CTreeBase list;
    fill(list, 5, 0);
    std::vector<int> numbers;
    for (const CItem& item : std::as_const(list).Nodes<CItem>())
        numbers.push_back(item.number);
    for (CTreeBase& node : std::views::reverse(list))
        numbers.push_back(static_cast<CItem&>(node).number);
    for (const CListNodeBase& node : static_cast<const CListBase&>(list))
        numbers.push_back(static_cast<const CItem&>(node).number);
    EXPECT_EQ(numbers, (std::vector{0, 1, 2, 3, 4, 4, 3, 2, 1, 0, 0, 1, 2, 3, 4}));
    EXPECT_TRUE(std::ranges::empty(CListBase()));
}

TEST(List, QSortPutsEqualNodesInTheOrderOfAQuickSortEvenIfItMergesRuns) {
    CTreeBase list;
    for (int i = 0; i < 20; i++)
        list.AddLast(new CItem(i, i / 5));
    list.QSort(CItem::ByKey);
    expectNumbers(list, {0, 1, 2, 3, 4, 8, 9, 6, 7, 5, 13, 14, 10, 12, 11, 15, 16, 17, 18, 19});
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
    CTreeBase* five = two->First()->Next();
    static_cast<CItem*>(five)->key = CItem::kDeletesItsFirst;
    five->AddFirst(new CItem(7));
    five->First()->AddFirst(new CItem(8));
    EXPECT_TRUE(five->First()->Parent()->Parent() == two && !root.HasChild(two->Last()));
    deleted.clear();
    delete two;
    EXPECT_EQ(deleted, (std::vector{2, 4, 7, 8, 5, 6}))
        << "children after their parent, unless it deletes them";
    expectNumbers(root, {0, 1, 3});
}

TEST(Tree, ADeepTreeIsDestroyedOnAShallowStack) {
    constexpr int depth = 200'000;
    CItem root(0);
    CTreeBase* deepest = &root;
    for (int i = 0; i < depth; i++, deepest = deepest->First())
        deepest->AddFirst(new CItem(i));
    deleted.clear();
    root.DeleteAll();
    EXPECT_EQ(deleted.size(), std::size_t{depth});
}

TEST(List, ShowsWhatFailsInTheDestructorsOfNodes) {
    struct CFailing {
        ~CFailing() noexcept(false) { GenAssert(u"member", 4); }
    };
    struct CNode : CListNodeBase {
        CNonThrowing<CFailing> member;
    };
    CRecordingHandler handler;
    CMessageHandlerSwitcher switcher(&handler);
    CTreeBase tree;
    tree.AddFirst(new CItem(1, -1));
    tree.First()->AddFirst(new CItem(2, -1));
    tree.DeleteAll();
    ASSERT_EQ(handler.shown.size(), 2u);
    EXPECT_TRUE(handler.shown[1].text.ends_with(u"\nitem, 2."));
    EXPECT_TRUE(GetErrorFlag() && !IsInsideStaticPart());
    SetErrorFlag(false);
    delete new CNode;
    ASSERT_EQ(handler.shown.size(), 3u);
    EXPECT_TRUE(handler.shown[2].text.ends_with(u"\nmember, 4."));
    EXPECT_FALSE(GetErrorFlag()) << "it was thrown, and shown as a warning";
}
