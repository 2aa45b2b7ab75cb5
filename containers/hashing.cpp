#include <tarnkit/byte_order.h>
#include <tarnkit/failures.h>
#include <tarnkit/hashing.h>

#include "strings/text_units.h"

#include <climits>
#include <cstring>

namespace {

// The multiplicative hash of all keys; it wraps around.
constexpr unsigned nextHash(unsigned hash, unsigned value) { return hash * 33 + value; }

template<class Unit>
unsigned valueOf(Unit unit) {
    if constexpr (sizeof(Unit) == 1)
        return static_cast<unsigned>(static_cast<signed char>(unit));
    else
        return unsigned{unit};
}

// The hash of a text, four units at a time: the products do not wait for each other.
template<class Unit>
int hashOf(const Unit* key) {
    constexpr unsigned k1 = 33, k2 = k1 * k1, k3 = k2 * k1, k4 = k3 * k1;
    unsigned hash = 0;
    for (; key[0] != 0 && key[1] != 0 && key[2] != 0 && key[3] != 0; key += 4)
        hash =
            hash * k4 + valueOf(key[0]) * k3 + valueOf(key[1]) * k2 + valueOf(key[2]) * k1 + valueOf(key[3]);
    for (; *key != 0; key++)
        hash = nextHash(hash, valueOf(*key));
    return static_cast<int>(hash);
}

// The same of a text that may end before its first NUL.
template<class Unit>
int hashOf(const Unit* key, const Unit* end) {
    unsigned hash = 0;
    for (; key != end && *key != 0; key++)
        hash = nextHash(hash, valueOf(*key));
    return static_cast<int>(hash);
}

} // namespace

namespace Tarn {

int UpperPrimeNumber(int n) {
    static constexpr int primes[] = {
        31,      53,       97,       193,      389,       769,       1543,      3079,      6151,
        12289,   24593,    49157,    98317,    196613,    393241,    786433,    1572869,   3145739,
        6291469, 12582917, 25165843, 50331653, 100663319, 201326611, 402653189, 805306457, 1610612741};
    for (const int prime : primes)
        if (prime > n)
            return prime;
    GenAssert(u"Map", 27);
    return INT_MAX;
}

int HashMemoryBlock(const void* block, int size) {
    const auto* bytes = static_cast<const unsigned char*>(block);
    constexpr int wordSize = 4;
    unsigned hash = 0;
    for (; size >= wordSize; size -= wordSize, bytes += wordSize) {
        std::uint32_t word;
        std::memcpy(&word, bytes, sizeof(word));
        hash = nextHash(hash, LittleEndian(word));
    }
    for (; size > 0; size--)
        hash = nextHash(hash, *bytes++);
    return static_cast<int>(hash);
}

int HashText(const char* text, std::size_t size) { return hashOf(text, text + size); }
int HashText(const char16_t* text, std::size_t size) { return hashOf(text, text + size); }

} // namespace Tarn

// Each type of 16-bit text needs functions of its own: neither may be read as the other.
int HashKey(const char* key) { return hashOf(key); }
int HashKey(const char16_t* key) { return hashOf(key); }
int HashKey(const unsigned short* key) { return hashOf(key); }

bool AreHashTableKeysEqual(const char* a, const char* b) { return std::strcmp(a, b) == 0; }
bool AreHashTableKeysEqual(const char16_t* a, const char16_t* b) {
    return Tarn::TextUnits::Compare(a, b) == 0;
}
bool AreHashTableKeysEqual(const unsigned short* a, const unsigned short* b) {
    for (; *a == *b; a++, b++)
        if (*a == 0)
            return true;
    return false;
}

bool AreMapKeysEqual(const char* a, const char* b) { return AreHashTableKeysEqual(a, b); }
bool AreMapKeysEqual(const char16_t* a, const char16_t* b) { return AreHashTableKeysEqual(a, b); }
bool AreMapKeysEqual(const unsigned short* a, const unsigned short* b) { return AreHashTableKeysEqual(a, b); }
