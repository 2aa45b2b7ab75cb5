/// \file
/// CHashTable: a set of elements that are found by key. Its nodes and chains (CChainedNodes) also serve CMap.
///
/// A table owns copies of its elements. Their memory comes from the `Policy`, in chunks of nodes of which
/// each is half as large as all before, but of 64 KB at most unless a single node is larger. An element keeps
/// its address until it is deleted; its room then serves later insertions, and returns to the `Policy` when
/// all elements are deleted at once. Overloads of `HashKey` and `AreHashTableKeysEqual` (hashing.h) decide
/// which key finds an element: an element may be its own key, or a class that contains its key and can be
/// compared with a key alone. The number of buckets is a prime of `UpperPrimeNumber`; it rises to the next
/// prime before the elements outnumber the buckets.
///
/// Elements are visited in the order of their insertion. Inserting during an iteration is allowed, and new
/// elements are visited last; deleting an element invalidates only the iterators that point to it. Every
/// insertion either succeeds or changes nothing. Destructors of elements must not throw. Threads may use
/// different tables at the same time; several may use one table only if none of them changes it.
///
/// \code
/// struct CPerson {
///     CUnicodeString name;
///     int age;
/// };
/// int HashKey(const CPerson& person) { return HashOfKey(person.name); }
/// bool AreHashTableKeysEqual(const CPerson& a, const CPerson& b) { return a.name == b.name; }
/// bool AreHashTableKeysEqual(const CPerson& person, const char16_t* name) { return person.name == name; }
///
/// CHashTable<CPerson> people;
/// people.Insert({u"Ann", 30});
/// CPerson* ann = people.FindByKey(u"Ann");
/// const CHashTable<CUnicodeString> names{u"Ann", u"Bob"};
/// \endcode
#pragma once

#include <tarnkit/data_model.h>
#include <tarnkit/failures.h>
#include <tarnkit/hashing.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/poison.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace Tarn {

/// The default size of a table, which makes 31 buckets.
inline constexpr int kUsualTableSize = 30;

/// The hash of a key by the overloads for its type.
template<class Key>
int HashOfKey(const Key& key) {
    using ::HashKey;
    return HashKey(key);
}

/// The nodes of a table: in chains by hash, and in one list in the order of insertion. The table decides
/// which entries are the same.
template<class Entry, class Policy>
class CChainedNodes {
public:
    struct Node {
        Node* nextInChain = nullptr;
        Node* previous = nullptr;
        Node* next = nullptr;
        int hash;
        Entry entry;

        template<class... Arguments>
        explicit Node(int hashOfKey, Arguments&&... arguments)
            : hash(hashOfKey), entry{std::forward<Arguments>(arguments)...} {}
    };

    constexpr explicit CChainedNodes(int size) : wantedSize(size) {}
    CChainedNodes(const CChainedNodes& other) : CChainedNodes(other.wantedSize) {
        if (other.count > 0)
            rehash(other.bucketCount);
        for (const Node* node = other.first; node != nullptr; node = node->next)
            Insert(node->hash, node->entry);
    }
    CChainedNodes& operator=(const CChainedNodes&) = delete;
    ~CChainedNodes() { FreeBuffer(); }

    int Size() const { return count; }
    int BucketCount() const { return bucketCount; }
    Node* First() const { return first; }

    /// The node of this hash whose entry satisfies `isWanted`, or null.
    template<class Predicate>
    Node* Find(int hash, Predicate isWanted) const {
        if (count == 0)
            return nullptr;
        Node* node = *chainOf(hash);
        while (node != nullptr && !(node->hash == hash && isWanted(node->entry)))
            node = node->nextInChain;
        return node;
    }

    /// Adds an entry, which must not be equal to any other.
    template<class... Arguments>
    Node* Insert(int hash, Arguments&&... arguments) {
        if (count == INT_MAX)
            ThrowMemoryException();
        if (count == bucketCount)
            rehash(UpperPrimeNumber(buckets == nullptr ? wantedSize : bucketCount));
        void* room = takeRoom();
        Node* node;
        try {
            node = ::new (room) Node(hash, std::forward<Arguments>(arguments)...);
        } catch (...) {
            giveRoom(room);
            throw;
        }
        link(node);
        return node;
    }

    /// Removes and destroys a node of this table; returns the next one in the order of insertion.
    Node* Delete(Node* node) {
        Node* next = node->next;
        unlink(node);
        std::destroy_at(node);
        giveRoom(node);
        return next;
    }

    void DeleteAll() {
        for (int i = 0; i < bucketCount; i++)
            buckets[i] = nullptr;
        last = nullptr;
        count = 0;
        Node* node = std::exchange(first, nullptr);
        while (node != nullptr)
            std::destroy_at(std::exchange(node, node->next));
        CChunk* chunks = buckets != nullptr ? std::exchange(rooms(), {}).chunks : nullptr;
        while (CChunk* const chunk = chunks) {
            chunks = chunk->next;
            Unpoison(chunk->data(), chunk->size);
            Policy::Free(chunk);
        }
    }

    void FreeBuffer() {
        DeleteAll();
        bucketCount = 0;
        if (buckets != nullptr)
            Policy::Free(&rooms());
        buckets = nullptr;
    }

    void Swap(CChainedNodes& other) noexcept {
        std::swap(buckets, other.buckets);
        std::swap(bucketCount, other.bucketCount);
        std::swap(count, other.count);
        std::swap(wantedSize, other.wantedSize);
        std::swap(first, other.first);
        std::swap(last, other.last);
    }

private:
    // The header of a chunk; rooms for nodes follow.
    struct alignas(std::max_align_t) CChunk {
        CChunk* next;
        unsigned size; // of the rooms

        std::byte* data() { return reinterpret_cast<std::byte*>(this + 1); }
    };
    struct CFreeRoom {
        CFreeRoom* next;
    };
    // Stands in front of the buckets, in the same block: a table has no other place for it.
    struct CRooms {
        CChunk* chunks = nullptr;
        CFreeRoom* freed = nullptr;  // those of nodes that were deleted, the last one first
        std::byte* unused = nullptr; // the rest of the newest chunk
        std::byte* unusedEnd = nullptr;
        std::size_t count = 0; // of all chunks
    };

    static constexpr int kFirstChunk = 4; // nodes
    static constexpr unsigned kMostInChunk =
        std::max<unsigned>((kLargestSmallAllocation - sizeof(CChunk)) / sizeof(Node), 1);

    Node** buckets = nullptr;
    int bucketCount = 0;
    int count = 0;
    int wantedSize;
    Node* first = nullptr;
    Node* last = nullptr;

    static_assert(alignof(Node) <= alignof(std::max_align_t),
                  "over-aligned entries need a manager of their own");

    CRooms& rooms() const { return reinterpret_cast<CRooms*>(buckets)[-1]; }

    void* takeRoom() {
        CRooms& from = rooms();
        void* room = from.freed;
        if (room == nullptr) {
            if (from.unused == from.unusedEnd)
                addChunk(from);
            room = std::exchange(from.unused, from.unused + sizeof(Node));
            Unpoison(room, sizeof(Node));
        } else {
            Unpoison(room, sizeof(Node));
            from.freed = from.freed->next;
        }
        return room;
    }

    void giveRoom(void* place) {
        rooms().freed = ::new (place) CFreeRoom{rooms().freed};
        Poison(place, sizeof(Node));
    }

    static void addChunk(CRooms& to) {
        const std::size_t number =
            std::min<std::size_t>(std::max<std::size_t>(to.count / 2, kFirstChunk), kMostInChunk);
        const auto size = static_cast<unsigned>(number * sizeof(Node));
        auto* const chunk = static_cast<CChunk*>(Policy::Alloc(static_cast<unsigned>(sizeof(CChunk)) + size));
        *chunk = {to.chunks, size};
        to.chunks = chunk;
        to.unused = chunk->data();
        to.unusedEnd = to.unused + size;
        to.count += number;
        Poison(to.unused, size);
    }

    Node** chainOf(int hash) const {
        return &buckets[static_cast<unsigned>(hash) % static_cast<unsigned>(bucketCount)];
    }

    void rehash(int newCount) {
        constexpr unsigned header = sizeof(CRooms);
        if (static_cast<unsigned>(newCount) > (INT_MAX - header) / unsigned{kPointerSize})
            ThrowMemoryException();
        auto* const block = static_cast<CRooms*>(
            Policy::Alloc(header + static_cast<unsigned>(newCount) * unsigned{kPointerSize}));
        ::new (block) CRooms(buckets != nullptr ? rooms() : CRooms());
        CRooms* const old = buckets != nullptr ? &rooms() : nullptr;
        buckets = reinterpret_cast<Node**>(block + 1);
        std::uninitialized_fill_n(buckets, newCount, nullptr);
        bucketCount = newCount;
        for (Node* node = first; node != nullptr; node = node->next)
            linkInChain(node);
        if (old != nullptr)
            Policy::Free(old);
    }

    void linkInChain(Node* node) {
        Node** chain = chainOf(node->hash);
        node->nextInChain = *chain;
        *chain = node;
    }

    void link(Node* node) {
        linkInChain(node);
        node->previous = last;
        (last != nullptr ? last->next : first) = node;
        last = node;
        count++;
    }

    void unlink(Node* node) {
        Node** place = chainOf(node->hash);
        while (*place != node)
            place = &(*place)->nextInChain;
        *place = node->nextInChain;
        (node->previous != nullptr ? node->previous->next : first) = node->next;
        (node->next != nullptr ? node->next->previous : last) = node->previous;
        count--;
    }
};

/// A position in a table or map: null past the end.
template<class Node, class Entry>
class CTableIterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::remove_const_t<Entry>;
    using difference_type = std::ptrdiff_t;
    using pointer = Entry*;
    using reference = Entry&;

    CTableIterator() = default;
    /// At this place.
    explicit CTableIterator(Node* place) : node(place) {}
    /// A position that allows changes converts to one that does not.
    operator CTableIterator<Node, const Entry>() const { return CTableIterator<Node, const Entry>(node); }

    Entry& operator*() const { return node->entry; }
    Entry* operator->() const { return &node->entry; }
    CTableIterator& operator++() {
        node = node->next;
        return *this;
    }
    CTableIterator operator++(int) {
        CTableIterator before = *this;
        ++*this;
        return before;
    }
    friend bool operator==(CTableIterator a, CTableIterator b) { return a.node == b.node; }

    /// The node at this place; null past the end.
    Node* Place() const { return node; }

private:
    Node* node = nullptr;
};

/// A hash table; see the top of this header.
template<class Element, class Policy = CurrentMemoryManager>
class CHashTable {
    using Nodes = CChainedNodes<Element, Policy>;
    using Node = typename Nodes::Node;

public:
    /// Elements can be changed in place as long as their keys stay the same.
    using Iterator = CTableIterator<Node, Element>;
    /// The same without changes.
    using ConstIterator = CTableIterator<Node, const Element>;
    using key_type = Element;
    using value_type = Element;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = Element&;
    using const_reference = const Element&;
    using pointer = Element*;
    using const_pointer = const Element*;
    using iterator = Iterator;
    using const_iterator = ConstIterator;

    constexpr CHashTable() : nodes(kUsualTableSize) {}
    /// A table whose first insertion allocates `UpperPrimeNumber(size)` buckets.
    constexpr explicit CHashTable(int size) : nodes(size) {}
    /// Of equal elements the first is taken. For elements that a number can become there is no list: it would
    /// be mistaken for a size.
    CHashTable(std::initializer_list<Element> elements) requires(!std::is_convertible_v<int, Element>)
        : CHashTable(elements.begin(), elements.end()) {}
    /// From what elements can be made of; of equal ones the first is taken.
    template<std::input_iterator First, std::sentinel_for<First> Last>
    requires std::is_constructible_v<Element, std::iter_reference_t<First>> CHashTable(First from, Last end)
        : CHashTable() {
        for (; from != end; ++from)
            Insert(Element(*from));
    }
    CHashTable(const CHashTable&) = default;
    CHashTable(CHashTable&& other) noexcept : CHashTable() { Swap(other); }
    CHashTable& operator=(CHashTable other) noexcept {
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

    /// Adds `element` unless there is an equal one: then returns false and changes nothing.
    bool Insert(Element element) { return insert(std::move(element)); }
    template<CTextKeyOf<Element> Text>
    bool Insert(const Text& text) {
        return insert(text);
    }

    /// The element that equals `element`, which is inserted first if there is none.
    Element& FindOrInsert(Element element) { return findOrInsert(std::move(element)); }
    template<CTextKeyOf<Element> Text>
    Element& FindOrInsert(const Text& text) {
        return findOrInsert(text);
    }

    /// The element that equals `element`, or null. It can be changed in place as long as its key stays the
    /// same.
    Element* Find(const Element& element) { return FindByKey(element); }
    const Element* Find(const Element& element) const { return FindByKey(element); }
    /// Whether some element equals `element`.
    bool Has(const Element& element) const { return Find(element) != nullptr; }
    /// Deletes the element that equals `element`; false if there is none.
    bool Delete(const Element& element) { return DeleteByKey(element); }
    ///@{
    /// The same for what finds a string without becoming one.
    template<CTextKeyOf<Element> Text>
    Element* Find(const Text& text) {
        return FindByKey(text);
    }
    template<CTextKeyOf<Element> Text>
    const Element* Find(const Text& text) const {
        return FindByKey(text);
    }
    template<CTextKeyOf<Element> Text>
    bool Has(const Text& text) const {
        return FindByKey(text) != nullptr;
    }
    template<CTextKeyOf<Element> Text>
    bool Delete(const Text& text) {
        return DeleteByKey(text);
    }
    ///@}

    /// The same for any key that has the hash of its element and can be compared with elements.
    template<class Key>
    Element* FindByKey(const Key& key) {
        Node* node = findNode(HashOfKey(key), key);
        return node != nullptr ? &node->entry : nullptr;
    }
    template<class Key>
    const Element* FindByKey(const Key& key) const {
        const Node* node = findNode(HashOfKey(key), key);
        return node != nullptr ? &node->entry : nullptr;
    }
    /// Deletes the element that has the key; false if there is none.
    template<class Key>
    bool DeleteByKey(const Key& key) {
        Node* node = findNode(HashOfKey(key), key);
        if (node != nullptr)
            nodes.Delete(node);
        return node != nullptr;
    }

    /// Deletes the element at `position`, which must not be the end; returns the position after it.
    Iterator Delete(Iterator position) { return Iterator(nodes.Delete(position.Place())); }

    /// Deletes all elements and keeps the buckets.
    void DeleteAll() { nodes.DeleteAll(); }
    /// Deletes all elements and frees the buckets.
    void FreeBuffer() { nodes.FreeBuffer(); }

    void Swap(CHashTable& other) noexcept { nodes.Swap(other.nodes); }

    /// Whether each has what the other has, in whatever order.
    bool operator==(const CHashTable& other) const requires std::equality_comparable<Element> {
        if (Size() != other.Size())
            return false;
        for (const Element& element : *this) {
            const Element* const same = other.Find(element);
            if (same == nullptr || !(*same == element))
                return false;
        }
        return true;
    }

private:
    Nodes nodes;

    template<class Wanted>
    bool insert(Wanted&& wanted) {
        const int hash = HashOfKey(wanted);
        if (findNode(hash, wanted) != nullptr)
            return false;
        nodes.Insert(hash, std::forward<Wanted>(wanted));
        return true;
    }

    template<class Wanted>
    Element& findOrInsert(Wanted&& wanted) {
        const int hash = HashOfKey(wanted);
        Node* node = findNode(hash, wanted);
        if (node == nullptr)
            node = nodes.Insert(hash, std::forward<Wanted>(wanted));
        return node->entry;
    }

    template<class Key>
    Node* findNode(int hash, const Key& key) const {
        return nodes.Find(hash, [&key](const Element& element) {
            using ::AreHashTableKeysEqual;
            return AreHashTableKeysEqual(element, key);
        });
    }
};

} // namespace Tarn
