/// \file
/// CMap: values found by key.
///
/// A map owns copies of its keys and values. Their memory comes from the `Policy` as that of a hash table
/// does, and a pair keeps its address until it is deleted. Overloads of `HashKey` and `AreMapKeysEqual`
/// (hashing.h) decide which keys are the same. Pairs are visited in the order in which their keys were first
/// inserted. The rules for changes during an iteration and for failures are those of a hash table
/// (hash_table.h): an insertion succeeds or changes nothing. Threads may use different maps at the same time;
/// several may use one map only if none of them changes it.
///
/// \code
/// CMap<CUnicodeString, int> ages;
/// ages.Set(u"Ann", 30);
/// if (const int* age = ages.Find(u"Ann"))
///     Trace(UnicodeStr(*age));
/// for (auto& [name, age] : ages)
///     age++;
/// \endcode
#pragma once

#include <tarnkit/hash_table.h>

namespace Tarn {

/// A pair of a map: `for (auto& [key, value] : map)`.
template<class Key, class Value>
struct CMapEntry {
    const Key key;
    Value value;
};

template<class Key, class Value, class Policy = CurrentMemoryManager>
class CMap {
public:
    using Entry = CMapEntry<Key, Value>;

private:
    using Nodes = CChainedNodes<Entry, Policy>;
    using Node = typename Nodes::Node;

public:
    using Iterator = CTableIterator<Node, Entry>;
    using ConstIterator = CTableIterator<Node, const Entry>;

    constexpr CMap() : nodes(kUsualTableSize) {}
    /// A map whose first insertion allocates `UpperPrimeNumber(size)` buckets.
    constexpr explicit CMap(int size) : nodes(size) {}
    CMap(const CMap&) = default;
    CMap(CMap&& other) noexcept : CMap() { Swap(other); }
    CMap& operator=(CMap other) noexcept {
        Swap(other);
        return *this;
    }

    int Size() const { return nodes.Size(); }
    bool IsEmpty() const { return Size() == 0; }
    /// 0 before the first insertion.
    int BucketCount() const { return nodes.BucketCount(); }

    Iterator begin() { return Iterator(nodes.First()); }
    Iterator end() { return Iterator(); }
    ConstIterator begin() const { return ConstIterator(nodes.First()); }
    ConstIterator end() const { return ConstIterator(); }

    /// Adds or replaces the value of `key`; returns a reference to the value in the map.
    Value& Set(const Key& key, Value value) {
        const int hash = HashOfKey(key);
        if (Node* node = findNode(hash, key))
            return node->entry.value = std::move(value);
        return nodes.Insert(hash, key, std::move(value))->entry.value;
    }

    /// Sets the value of `key` unless it has one already: then returns false and changes nothing.
    bool Insert(const Key& key, Value value) {
        const int hash = HashOfKey(key);
        if (findNode(hash, key) != nullptr)
            return false;
        nodes.Insert(hash, key, std::move(value));
        return true;
    }

    /// The value of `key`, or null.
    Value* Find(const Key& key) {
        Node* node = findNode(HashOfKey(key), key);
        return node != nullptr ? &node->entry.value : nullptr;
    }
    const Value* Find(const Key& key) const {
        const Node* node = findNode(HashOfKey(key), key);
        return node != nullptr ? &node->entry.value : nullptr;
    }
    bool Has(const Key& key) const { return Find(key) != nullptr; }

    /// Deletes `key` and its value; false if the map does not have it.
    bool Delete(const Key& key) {
        Node* node = findNode(HashOfKey(key), key);
        if (node != nullptr)
            nodes.Delete(node);
        return node != nullptr;
    }
    /// Deletes the pair at `position`, which must not be the end; returns the position after it.
    Iterator Delete(Iterator position) { return Iterator(nodes.Delete(position.Place())); }

    /// Deletes all pairs and keeps the buckets.
    void DeleteAll() { nodes.DeleteAll(); }
    /// Deletes all pairs and frees the buckets.
    void FreeBuffer() { nodes.FreeBuffer(); }

    void Swap(CMap& other) noexcept { nodes.Swap(other.nodes); }

private:
    Nodes nodes;

    Node* findNode(int hash, const Key& key) const {
        return nodes.Find(hash, [&key](const Entry& entry) {
            using ::AreMapKeysEqual;
            return AreMapKeysEqual(entry.key, key);
        });
    }
};

} // namespace Tarn
