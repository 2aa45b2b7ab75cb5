/// \file
/// What the map and the hash table need to know of their keys: a hash, and whether two keys are equal.
///
/// The templates call `HashKey`, `AreHashTableKeysEqual` and `AreMapKeysEqual`, found by overloading. This
/// header has them for text, numbers, enumerations and addresses, and for every class that converts to text
/// (`CString`, `CUnicodeString`). For a key type of your own, declare a `HashKey` in the namespace of the
/// type, and both comparisons too if its `==` is not the right test. Equal keys must have equal hashes, and
/// neither function may change anything.
///
/// A pointer to 8-bit or 16-bit text (`char`, `char16_t`, `unsigned short`, `wchar_t` where it has 16 bits)
/// stands for its text, which must outlive the table; every other pointer stands for its address. A view or a
/// standard string has the hash of the same text in a string, so that it finds one (text_view.h). Any thread.
///
/// \code
/// struct CPlace { int page, line; bool operator==(const CPlace&) const = default; };
/// int HashKey(const CPlace& place) { return place.page * 100 + place.line; }
/// CMap<CPlace, CUnicodeString> notes;
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/text_view.h>
#include <tarnkit/wide_text.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Tarn {

/// The smallest prime of the bucket-size table that is greater than `n`. Asserts when there is none.
TARNKIT_API int UpperPrimeNumber(int n);

/// The hash of `size` bytes. It is the same on every target, and fastest for a block aligned to 4 bytes.
TARNKIT_API int HashMemoryBlock(const void* block, int size);

/// A class that converts to zero-terminated text of `Unit`.
template<class Key, class Unit>
concept CTextClass = std::is_class_v<Key> && std::is_convertible_v<const Key&, const Unit*>;

/// The hash of at most `size` units of a text, up to its first NUL; it is that of the text alone.
TARNKIT_API int HashText(const char* text, std::size_t size);
TARNKIT_API int HashText(const char16_t* text, std::size_t size);

/// A key type whose `==` says whether two keys are the same.
template<class Key>
concept CPlainKey = !std::is_pointer_v<Key> && !std::is_array_v<Key> && !CTextClass<Key, char> &&
                    !CTextClass<Key, char16_t> && std::equality_comparable<Key>;

} // namespace Tarn

/// The hash of a zero-terminated text, which must not be null. ASCII text has the same hash in both widths.
TARNKIT_API int HashKey(const char* key);
TARNKIT_API int HashKey(const char16_t* key);
TARNKIT_API int HashKey(const unsigned short* key);
template<Tarn::CWideUnit Wide>
int HashKey(const Wide* key) {
    return HashKey(Tarn::FromWide(key));
}

/// Exact, case-sensitive equality of two zero-terminated texts, which must not be null.
TARNKIT_API bool AreHashTableKeysEqual(const char* a, const char* b);
TARNKIT_API bool AreHashTableKeysEqual(const char16_t* a, const char16_t* b);
TARNKIT_API bool AreHashTableKeysEqual(const unsigned short* a, const unsigned short* b);
template<Tarn::CWideUnit Wide>
bool AreHashTableKeysEqual(const Wide* a, const Wide* b) {
    return AreHashTableKeysEqual(Tarn::FromWide(a), Tarn::FromWide(b));
}
///@{
/// The same for the keys of maps.
TARNKIT_API bool AreMapKeysEqual(const char* a, const char* b);
TARNKIT_API bool AreMapKeysEqual(const char16_t* a, const char16_t* b);
TARNKIT_API bool AreMapKeysEqual(const unsigned short* a, const unsigned short* b);
template<Tarn::CWideUnit Wide>
bool AreMapKeysEqual(const Wide* a, const Wide* b) {
    return AreMapKeysEqual(Tarn::FromWide(a), Tarn::FromWide(b));
}
///@}

/// The hash of a number: the number itself, folded if it does not fit into 32 bits. It is the same on every
/// system, so a `char` counts as signed, as in texts.
template<class Key>
requires std::integral<Key> || std::is_enum_v<Key>
constexpr int HashKey(Key key) {
    if constexpr (std::is_same_v<Key, char>)
        return static_cast<signed char>(key);
    const auto bits = static_cast<std::uint64_t>(key);
    const auto low = static_cast<int>(static_cast<unsigned>(bits));
    if constexpr (sizeof(Key) <= sizeof(int))
        return low;
    else if (static_cast<std::int64_t>(low) ==
             static_cast<std::int64_t>(bits)) // a `long` may have 32 bits elsewhere
        return low;
    else
        return static_cast<int>(static_cast<unsigned>(bits >> 32) * 33 + static_cast<unsigned>(bits));
}

/// The hash of an address.
inline int HashKey(const void* key) { return HashKey(reinterpret_cast<std::uintptr_t>(key)); }

/// The hash of the text that the object converts to.
template<class Key>
requires Tarn::CTextClass<Key, char> || Tarn::CTextClass<Key, char16_t>
int HashKey(const Key& key) {
    if constexpr (Tarn::CTextClass<Key, char>)
        return HashKey(static_cast<const char*>(key));
    else
        return HashKey(static_cast<const char16_t*>(key));
}

/// The hash of the text of a view or standard string.
template<class Text>
requires Tarn::CForeignText<Text, char> || Tarn::CForeignText<Text, char16_t>
int HashKey(const Text& text) {
    using Unit = std::conditional_t<Tarn::CForeignText<Text, char>, char, char16_t>;
    const auto view = Tarn::ViewOf<Unit>(text);
    return Tarn::HashText(view.data(), view.size());
}

namespace Tarn {

/// The same for two strings, which know how long their texts are.
template<class Unit, class Key>
bool AreSizedTextsEqual(const Key& a, const Key& b) {
    const Unit* const left = a;
    const Unit* const right = b;
    const int length = a.GetLength();
    if (length == b.GetLength() &&
        std::memcmp(left, right, static_cast<std::size_t>(length) * sizeof(Unit)) == 0)
        return true;
    return ::AreMapKeysEqual(left, right); // only a text that contains zeros may still be equal
}

class CString;
class CUnicodeString;

/// A string of this library.
template<class Key>
concept CSizedText = std::same_as<Key, CString> || std::same_as<Key, CUnicodeString>;

/// The type of its units.
template<CSizedText Key>
using CUnitOf = std::conditional_t<std::same_as<Key, CString>, char, char16_t>;

/// What finds a string in a table without becoming one: a pointer to text, a view, a standard string.
template<class Text, class Key>
concept CTextKeyOf =
    CSizedText<Key> && !std::same_as<Text, Key> &&
    (CForeignText<Text, CUnitOf<Key>> || std::is_convertible_v<const Text&, const CUnitOf<Key>*>);

} // namespace Tarn

///@{
/// Compares a string with what finds it.
template<Tarn::CSizedText Key, Tarn::CForeignText<Tarn::CUnitOf<Key>> Text>
bool AreMapKeysEqual(const Key& a, const Text& b) {
    return a == b;
}
template<Tarn::CSizedText Key, Tarn::CForeignText<Tarn::CUnitOf<Key>> Text>
bool AreHashTableKeysEqual(const Key& a, const Text& b) {
    return a == b;
}
///@}

///@{
/// Whether two strings have the same text, up to the first zero.
template<Tarn::CSizedText Key>
bool AreMapKeysEqual(const Key& a, const Key& b) {
    return Tarn::AreSizedTextsEqual<Tarn::CUnitOf<Key>>(a, b);
}
template<Tarn::CSizedText Key>
bool AreHashTableKeysEqual(const Key& a, const Key& b) {
    return AreMapKeysEqual(a, b);
}
///@}

/// By `==`; pointers by address.
template<Tarn::CPlainKey Key>
bool AreHashTableKeysEqual(const Key& a, const Key& b) {
    return a == b;
}
inline bool AreHashTableKeysEqual(const void* a, const void* b) { return a == b; }

/// The same for the keys of maps.
template<Tarn::CPlainKey Key>
bool AreMapKeysEqual(const Key& a, const Key& b) {
    return a == b;
}
inline bool AreMapKeysEqual(const void* a, const void* b) { return a == b; }
