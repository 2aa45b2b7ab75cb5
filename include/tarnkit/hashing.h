// What the map and the hash table ask about their keys: a hash, and whether two keys are the same.
//
// The templates call `HashKey`, `AreHashTableKeysEqual` and `AreMapKeysEqual` by overloading. Text, numbers,
// enumerations and addresses are served here, and so is every class that converts to text (`CString`,
// `CUnicodeString`). A key type of your own brings a `HashKey` in the namespace of the type; where its `==`
// is not the right question, it brings the comparisons too. Equal keys must have equal hashes, and neither
// function may change anything. A key of type `const char*` or `const char16_t*` stands for its text, which
// must outlive the table; every other pointer stands for its address. Any thread.
#pragma once

#include <tarnkit/export.h>

#include <concepts>
#include <cstdint>
#include <type_traits>

namespace Tarn {

/// The smallest prime of the bucket-size table that is greater than `n`. Asserts when there is none.
TARNKIT_API int UpperPrimeNumber(int n);

/// The hash of `size` bytes, fastest on a block that is aligned to 4 bytes. The same on every target.
TARNKIT_API int HashMemoryBlock(const void* block, int size);

/// A class that converts to zero-terminated text of `Unit`.
template<class Key, class Unit>
concept CTextClass = std::is_class_v<Key> && std::is_convertible_v<const Key&, const Unit*>;

/// A key type whose `==` says whether two keys are the same.
template<class Key>
concept CPlainKey = !std::is_pointer_v<Key> && !std::is_array_v<Key> && !CTextClass<Key, char> &&
                    !CTextClass<Key, char16_t> && std::equality_comparable<Key>;

} // namespace Tarn

/// The hash of a zero-terminated text, which must not be null. ASCII text has the same hash in both widths.
TARNKIT_API int HashKey(const char* key);
TARNKIT_API int HashKey(const char16_t* key);

/// Exact, case-sensitive equality of two zero-terminated texts, which must not be null.
TARNKIT_API bool AreHashTableKeysEqual(const char* a, const char* b);
TARNKIT_API bool AreHashTableKeysEqual(const char16_t* a, const char16_t* b);
TARNKIT_API bool AreMapKeysEqual(const char* a, const char* b);
TARNKIT_API bool AreMapKeysEqual(const char16_t* a, const char16_t* b);

template<class Key>
requires std::integral<Key> || std::is_enum_v<Key>
constexpr int HashKey(Key key) {
    const auto bits = static_cast<std::uint64_t>(key);
    if constexpr (sizeof(Key) > sizeof(int))
        return static_cast<int>(static_cast<unsigned>(bits >> 32) * 33 + static_cast<unsigned>(bits));
    else
        return static_cast<int>(static_cast<unsigned>(bits));
}

inline int HashKey(const void* key) { return HashKey(reinterpret_cast<std::uintptr_t>(key)); }

template<class Key>
requires Tarn::CTextClass<Key, char> || Tarn::CTextClass<Key, char16_t>
int HashKey(const Key& key) {
    if constexpr (Tarn::CTextClass<Key, char>)
        return HashKey(static_cast<const char*>(key));
    else
        return HashKey(static_cast<const char16_t*>(key));
}

template<Tarn::CPlainKey Key>
bool AreHashTableKeysEqual(const Key& a, const Key& b) {
    return a == b;
}
inline bool AreHashTableKeysEqual(const void* a, const void* b) { return a == b; }

template<Tarn::CPlainKey Key>
bool AreMapKeysEqual(const Key& a, const Key& b) {
    return a == b;
}
inline bool AreMapKeysEqual(const void* a, const void* b) { return a == b; }
