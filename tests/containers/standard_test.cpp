#include <tarnkit/tarnkit.h>

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <ranges>
#include <span>

namespace Tarn {
namespace {

// The member types of a container of the standard library are those of its iterators.
template<class Container>
concept CHasMemberTypes = std::ranges::forward_range<Container> && requires {
    requires std::is_same_v<typename Container::value_type, std::iter_value_t<typename Container::iterator>>;
    requires std::is_same_v<typename Container::reference,
                            std::iter_reference_t<typename Container::iterator>>;
    requires std::is_same_v<typename Container::const_reference,
                            std::iter_reference_t<typename Container::const_iterator>>;
    requires std::is_same_v<typename Container::pointer,
                            typename std::iterator_traits<typename Container::iterator>::pointer>;
    requires std::is_same_v<typename Container::const_pointer,
                            typename std::iterator_traits<typename Container::const_iterator>::pointer>;
    requires std::is_same_v<typename Container::size_type, std::size_t>;
    requires std::is_same_v<typename Container::difference_type,
                            std::iter_difference_t<typename Container::iterator>>;
};
static_assert(CHasMemberTypes<CArray<int>> && CHasMemberTypes<CPointerArray<int>> &&
              CHasMemberTypes<CMap<int, CString>> && CHasMemberTypes<CHashTable<CString>>);
static_assert(CHasMemberTypes<CListBase> && CHasMemberTypes<CTreeBase> &&
              CHasMemberTypes<CListNodes<CTreeBase>> && CHasMemberTypes<CListNodes<const CTreeBase>>);
static_assert(CHasMemberTypes<CUnicodeSet> && CHasMemberTypes<CUnicodeBitSet> && CHasMemberTypes<CString> &&
              CHasMemberTypes<CUnicodeString>);

TEST(PointerArray, IsASpanOfPointers) {
    std::array numbers{0, 1, 2};
    CPointerArray<int> array;
    EXPECT_EQ(array.emplace_back(&numbers[2]), &numbers[2]);
    EXPECT_EQ(array.emplace_back(), nullptr);
    array.emplace_back(nullptr) = &numbers[0];
    std::span<int*>{array}[1] = &numbers[1];
    const std::span<int* const> all = std::as_const(array);
    EXPECT_EQ(all.size(), 3u);
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(array.data()[i], &numbers[2 - static_cast<std::size_t>(i)]);
    EXPECT_EQ(std::as_const(array).data(), all.data());
    EXPECT_EQ(CPointerArray<int>().data(), nullptr);
}

// These calls make no string of the text unless they add it.
template<class String, class Text>
concept CFindsByText = requires(CHashTable<String>& table, const CHashTable<String>& same, const Text& text) {
    table.template Find<Text>(text)->Empty();
    same.template Has<Text>(text) && same.template Find<Text>(text) && table.template Delete<Text>(text);
    table.template FindOrInsert<Text>(text).Empty();
    table.template Insert<Text>(text) && table.Insert({}) && table.Insert(String());
};
template<class String, class Text>
concept CAddsByText = requires(CMap<String, int>& map, const Text& text) {
    map.template Set<Text>(text, 1) + map.template FindOrInsert<Text>(text, 2) + map[text];
    map.template Insert<Text>(text, 3) && map.Insert({}, 4) && map.Insert(String(), 5);
};
static_assert(CAddsByText<CUnicodeString, std::u16string_view> && CAddsByText<CString, char[4]> &&
              !CAddsByText<CString, std::u16string_view>);
static_assert(CFindsByText<CUnicodeString, std::u16string_view> && CFindsByText<CString, std::string> &&
              CFindsByText<CString, char[4]> && !CFindsByText<CString, std::u16string_view>);

TEST(HashTable, FindsStringsByTheirTextAsAMapDoes) {
    CHashTable<CUnicodeString> table{u"ab", u"c", u""};
    const struct {
        std::u16string_view text;
        bool isFound;
    } cases[] = {{u"ab", true}, {u"a", false}, {{}, true}, {{u"c\0d", 3}, true}, {u"d", false}};
    for (const auto& [text, isFound] : cases) {
        EXPECT_EQ(table.Has(text), isFound);
        CUnicodeString& found = table.FindOrInsert(text);
        EXPECT_TRUE(found == text && table.Find(text) == &found && std::as_const(table).Find(text) == &found);
        EXPECT_TRUE(table.Delete(text) && !table.Has(text) && !table.Delete(text));
        EXPECT_TRUE(table.Insert(text) && !table.Insert(text) && table.FindOrInsert(text) == text);
    }
    EXPECT_EQ(table, (CHashTable<CUnicodeString>{u"", u"a", u"ab", u"c", u"d"}));
}

} // namespace
} // namespace Tarn
