/// \file
/// CMap: values found by key.
///
/// A map owns copies of its keys and values. Their memory comes from the `Policy` as that of a hash table
/// does, and a pair keeps its address until it is deleted. Overloads of `HashKey` and `AreMapKeysEqual`
/// (hashing.h) decide which keys are the same. Pairs are visited in the order in which their keys were first
/// inserted. The rules for changes during an iteration and for failures are those of a hash table
/// (hash_table.h): an insertion succeeds or changes nothing. Strings are found by pointers, views and
/// standard strings too, without another string being made. Two maps are equal if they have equal values for
/// the same keys, in whatever order. Threads may use different maps at the same time; several may use one map
/// only if none of them changes it.
///
/// \code
/// CMap<CUnicodeString, int> ages{{u"Ann", 30}, {u"Bob", 41}};
/// ages.Set(u"Bob", 42);
/// ages[u"Eve"]++;                         // 1: what is missing begins with 0
/// if (const int* age = ages.Find(u"Ann")) // makes no string
///     Trace(UnicodeStr(*age));
/// for (auto& [name, age] : ages)
///     age++;
/// \endcode
#pragma once

#include <tarnkit/hash_table.h>

#include <concepts>
#include <initializer_list>

namespace Tarn {

/// A pair of a map: `for (auto& [key, value] : map)`.
template<class Key, class Value>
struct CMapEntry {
    const Key key; ///< what finds the pair
    Value value;   ///< can be changed in place
};

/// Values by key; see the top of this header.
template<class Key, class Value, class Policy = CurrentMemoryManager>
class CMap {
public:
    /// A pair of key and value.
    using Entry = CMapEntry<Key, Value>;

private:
    using Nodes = CChainedNodes<Entry, Policy>;
    using Node = typename Nodes::Node;

public:
    /// Keys cannot be changed, values can.
    using Iterator = CTableIterator<Node, Entry>;
    /// Nothing can be changed.
    using ConstIterator = CTableIterator<Node, const Entry>;
    using key_type = Key;
    using mapped_type = Value;
    using value_type = Entry;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = Entry&;
    using const_reference = const Entry&;
    using pointer = Entry*;
    using const_pointer = const Entry*;
    using iterator = Iterator;
    using const_iterator = ConstIterator;

    constexpr CMap() : nodes(kUsualTableSize) {}
    /// A map whose first insertion allocates `UpperPrimeNumber(size)` buckets.
    constexpr explicit CMap(int size) : nodes(size) {}
    /// Of entries with the same key the first is taken, as `Insert` does.
    CMap(std::initializer_list<Entry> entries) : CMap(entries.begin(), entries.end()) {}
    /// From entries, pairs, or whatever else consists of a key and a value.
    template<std::input_iterator First, std::sentinel_for<First> Last>
    CMap(First from, Last end) : CMap() {
        for (; from != end; ++from) {
            const auto& [key, value] = *from;
            Insert(key, value);
        }
    }
    CMap(const CMap&) = default;
    CMap(CMap&& other) noexcept : CMap() { Swap(other); }
    CMap& operator=(CMap other) noexcept {
        Swap(other);
        return *this;
    }

    int Size() const { return nodes.Size(); }
    bool IsEmpty() const { return Size() == 0; }
    size_type size() const { return static_cast<size_type>(Size()); }
    bool empty() const { return IsEmpty(); }
    /// 0 before the first insertion.
    int BucketCount() const { return nodes.BucketCount(); }

    Iterator begin() { return Iterator(nodes.First()); }
    Iterator end() { return Iterator(); }
    ConstIterator begin() const { return ConstIterator(nodes.First()); }
    ConstIterator end() const { return ConstIterator(); }

    /// Adds or replaces the value of `key`; returns a reference to the value in the map.
    Value& Set(const Key& key, Value value) { return set(key, std::move(value)); }
    template<CTextKeyOf<Key> Text>
    Value& Set(const Text& key, Value value) {
        return set(key, std::move(value));
    }

    /// Sets the value of `key` unless it has one already: then returns false and changes nothing.
    bool Insert(const Key& key, Value value) { return insert(key, std::move(value)); }
    template<CTextKeyOf<Key> Text>
    bool Insert(const Text& key, Value value) {
        return insert(key, std::move(value));
    }

    /// The value of `key`; if there is none, one made of the other arguments is inserted first.
    template<class... Arguments>
    Value& FindOrInsert(const Key& key, Arguments&&... arguments) {
        return findOrInsert(key, std::forward<Arguments>(arguments)...);
    }
    template<CTextKeyOf<Key> Text, class... Arguments>
    Value& FindOrInsert(const Text& key, Arguments&&... arguments) {
        return findOrInsert(key, std::forward<Arguments>(arguments)...);
    }
    ///@{
    /// The value of `key`; if there is none, a value-initialised one is inserted first.
    Value& operator[](const Key& key) { return findOrInsert(key); }
    template<CTextKeyOf<Key> Text>
    Value& operator[](const Text& key) {
        return findOrInsert(key);
    }
    ///@}

    /// The value of `key`, or null.
    Value* Find(const Key& key) { return valueOf(findNode(HashOfKey(key), key)); }
    const Value* Find(const Key& key) const { return valueOf(findNode(HashOfKey(key), key)); }
    /// Whether there is a value for `key`.
    bool Has(const Key& key) const { return Find(key) != nullptr; }
    /// The same for what finds a string without becoming one.
    template<CTextKeyOf<Key> Text>
    Value* Find(const Text& key) {
        return valueOf(findNode(HashOfKey(key), key));
    }
    /// The same for what finds a string without becoming one.
    template<CTextKeyOf<Key> Text>
    const Value* Find(const Text& key) const {
        return valueOf(findNode(HashOfKey(key), key));
    }
    /// The same for what finds a string without becoming one.
    template<CTextKeyOf<Key> Text>
    bool Has(const Text& key) const {
        return Find(key) != nullptr;
    }

    /// Deletes `key` and its value; false if the map does not have it.
    bool Delete(const Key& key) { return deleteNode(findNode(HashOfKey(key), key)); }
    template<CTextKeyOf<Key> Text>
    bool Delete(const Text& key) {
        return deleteNode(findNode(HashOfKey(key), key));
    }
    /// Deletes the pair at `position`, which must not be the end; returns the position after it.
    Iterator Delete(Iterator position) { return Iterator(nodes.Delete(position.Place())); }

    /// Deletes all pairs and keeps the buckets.
    void DeleteAll() { nodes.DeleteAll(); }
    /// Deletes all pairs and frees the buckets.
    void FreeBuffer() { nodes.FreeBuffer(); }

    void Swap(CMap& other) noexcept { nodes.Swap(other.nodes); }

    bool operator==(const CMap& other) const requires std::equality_comparable<Value> {
        if (Size() != other.Size())
            return false;
        for (const Node* node = nodes.First(); node != nullptr; node = node->next) {
            const Node* const same = other.findNode(node->hash, node->entry.key);
            if (same == nullptr || !(same->entry.value == node->entry.value))
                return false;
        }
        return true;
    }

private:
    Nodes nodes;

    static Value* valueOf(Node* node) { return node != nullptr ? &node->entry.value : nullptr; }

    bool deleteNode(Node* node) {
        if (node != nullptr)
            nodes.Delete(node);
        return node != nullptr;
    }

    template<class Wanted>
    Value& set(const Wanted& key, Value&& value) {
        const int hash = HashOfKey(key);
        if (Node* node = findNode(hash, key))
            return node->entry.value = std::move(value);
        return nodes.Insert(hash, key, std::move(value))->entry.value;
    }

    template<class Wanted>
    bool insert(const Wanted& key, Value&& value) {
        const int hash = HashOfKey(key);
        if (findNode(hash, key) != nullptr)
            return false;
        nodes.Insert(hash, key, std::move(value));
        return true;
    }

    template<class Wanted, class... Arguments>
    Value& findOrInsert(const Wanted& key, Arguments&&... arguments) {
        const int hash = HashOfKey(key);
        Node* node = findNode(hash, key);
        if (node == nullptr)
            node = nodes.Insert(hash, Key(key), Value(std::forward<Arguments>(arguments)...));
        return node->entry.value;
    }

    template<class Wanted>
    Node* findNode(int hash, const Wanted& key) const {
        return nodes.Find(hash, [&key](const Entry& entry) {
            using ::AreMapKeysEqual;
            return AreMapKeysEqual(entry.key, key);
        });
    }
};

} // namespace Tarn
