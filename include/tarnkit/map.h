// CMap: values found by key.
//
// A map owns copies of its keys and values; their memory comes from the `Policy`, one node for each pair, and
// a pair keeps its address until it is deleted. Keys are told apart by overloads of `HashKey` and
// `AreMapKeysEqual` (hashing.h). Pairs are visited in the order in which their keys were first inserted;
// changing the map while iterating has the same rules as for a hash table (hash_table.h), and so have
// failures: an insertion succeeds or changes nothing. One thread at a time.
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
    /// A map whose first insertion makes `UpperPrimeNumber(size)` buckets.
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

    /// Gives `key` the value, whether it had one or not; returns where the value now lives.
    Value& Set(const Key& key, Value value) {
        const int hash = HashOfKey(key);
        if (Node* node = findNode(hash, key))
            return node->entry.value = std::move(value);
        return nodes.Insert(hash, key, std::move(value))->entry.value;
    }

    /// Gives `key` the value; false, with nothing changed, when it has one already.
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

    /// Deletes `key` with its value; false when it has none.
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
    /// Deletes all pairs and gives the buckets back.
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
