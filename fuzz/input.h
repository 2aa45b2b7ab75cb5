// The input of a fuzzer, taken apart into values: under every compiler the same, so that each can run the
// corpus. What is asked for behind the end is zero.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

class FuzzInput {
public:
    FuzzInput(const unsigned char* data, std::size_t size)
        : next(reinterpret_cast<const char*>(data)), left(size) {}

    template<class Integer>
    Integer Take() {
        std::uint64_t bits = 0;
        for (unsigned shift = 0; shift < 8 * sizeof(Integer); shift += 8)
            bits |= std::uint64_t{takeByte()} << shift;
        return static_cast<Integer>(bits);
    }
    bool TakeBool() { return (takeByte() & 1) != 0; }
    double TakeDouble() {
        const auto bits = Take<std::uint64_t>();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    /// From `least` to `most`, which differ by less than 256.
    int TakeIn(int least, int most) { return least + takeByte() % (most - least + 1); }
    template<class Value, std::size_t count>
    const Value& Pick(const Value (&values)[count]) {
        return values[static_cast<std::size_t>(TakeIn(0, static_cast<int>(count) - 1))];
    }
    /// At most `most` bytes, after one that says how many.
    std::string TakeString(std::size_t most) { return take(takeByte() % (most + 1)); }
    std::string TakeRest() { return take(left); }
    bool IsAtEnd() const { return left == 0; }

private:
    const char* next;
    std::size_t left;

    unsigned char takeByte() {
        if (left == 0)
            return 0;
        left--;
        return static_cast<unsigned char>(*next++);
    }
    std::string take(std::size_t count) {
        count = count < left ? count : left;
        const std::string bytes(next, count);
        next += count;
        left -= count;
        return bytes;
    }
};
