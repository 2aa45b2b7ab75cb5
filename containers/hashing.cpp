#include <tarnkit/failures.h>
#include <tarnkit/hashing.h>

#include <climits>
#include <cstring>

namespace {

// The multiplicative hash of all keys; it wraps around.
constexpr unsigned nextHash(unsigned hash, unsigned value) { return hash * 33 + value; }

// Four units at a time: only one multiplication has to wait for the hash of those before. Each type of 16-bit
// text needs a function of its own: neither may be read as the other.
template<class Value, class Unit>
int textHash(const Unit* key) {
    unsigned hash = 0;
    for (;; key += 4) {
        unsigned part = 0; // the hash of the units that are read now
        unsigned factor = 1;
        for (int i = 0; i < 4; i++) {
            if (key[i] == 0)
                return static_cast<int>(hash * factor + part);
            part = nextHash(part, static_cast<unsigned>(static_cast<Value>(key[i])));
            factor *= 33;
        }
        hash = hash * factor + part;
    }
}

template<class Unit>
bool areWideTextsEqual(const Unit* a, const Unit* b) {
    for (; *a == *b; a++, b++)
        if (*a == 0)
            return true;
    return false;
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
        hash = nextHash(hash, word);
    }
    for (; size > 0; size--)
        hash = nextHash(hash, *bytes++);
    return static_cast<int>(hash);
}

} // namespace Tarn

int HashKey(const char* key) { return textHash<signed char>(key); }
int HashKey(const char16_t* key) { return textHash<char16_t>(key); }
int HashKey(const unsigned short* key) { return textHash<unsigned short>(key); }

bool AreHashTableKeysEqual(const char* a, const char* b) { return std::strcmp(a, b) == 0; }
bool AreHashTableKeysEqual(const char16_t* a, const char16_t* b) { return areWideTextsEqual(a, b); }
bool AreHashTableKeysEqual(const unsigned short* a, const unsigned short* b) {
    return areWideTextsEqual(a, b);
}

bool AreMapKeysEqual(const char* a, const char* b) { return AreHashTableKeysEqual(a, b); }
bool AreMapKeysEqual(const char16_t* a, const char16_t* b) { return AreHashTableKeysEqual(a, b); }
bool AreMapKeysEqual(const unsigned short* a, const unsigned short* b) { return AreHashTableKeysEqual(a, b); }
