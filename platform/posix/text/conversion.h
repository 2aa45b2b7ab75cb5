/// \file
/// What the conversions from and to code pages have in common: the output, and the short cut for runs of
/// ASCII.
#pragma once

#include "platform/platform.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Tarn::Platform::Posix {

/// Sets the last error of a conversion. Returns 0, the result of a failed conversion.
inline int FailConversion(DWORD code) {
    SetLastError(code);
    return 0;
}

template<class Unit>
constexpr bool IsAscii(Unit unit) {
    return (unit & ~Unit{0x7F}) == 0;
}

/// Sixteen units of text, which are read where they stand: the compiler would keep them on the stack.
template<class Unit>
class AsciiBlock {
public:
    static constexpr std::size_t kUnits = 16;

    explicit AsciiBlock(const Unit* units) : text(units) {}

    bool IsAscii() const {
        std::uint64_t all = 0;
        for (std::size_t i = 0; i < kUnits; i += sizeof(all) / sizeof(Unit)) {
            std::uint64_t word;
            std::memcpy(&word, text + i, sizeof(word));
            all |= word;
        }
        return (all & kBeyondAscii) == 0;
    }

    template<class To>
    void Write(To* to) const {
        for (std::size_t i = 0; i < kUnits; i += kAtOnce) {
            Vector<Unit> units;
            std::memcpy(&units, text + i, sizeof(units));
            const auto converted = __builtin_convertvector(units, Vector<To>);
            std::memcpy(to + i, &converted, sizeof(converted));
        }
    }

private:
    static constexpr std::size_t kAtOnce = 8;
    static constexpr std::uint64_t kBeyondAscii = sizeof(Unit) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;

    /// In the vector types of GCC and Clang.
    template<class T>
    using Vector [[gnu::vector_size(kAtOnce * sizeof(T))]] =
        std::conditional_t<sizeof(T) == 1, std::uint8_t, std::uint16_t>;

    const Unit* text;
};

/// The number of ASCII units from `text`, which must lie before `end`, to the first other unit.
template<class Unit>
std::size_t AsciiRun(const Unit* text, const Unit* end) {
    constexpr std::ptrdiff_t kStep = AsciiBlock<Unit>::kUnits;
    const Unit* at = text;
    while (end - at >= kStep && AsciiBlock<Unit>(at).IsAscii())
        at += kStep;
    while (at != end && IsAscii(*at))
        at++;
    return static_cast<std::size_t>(at - text);
}

/// Receives the units of a result: writes those that fit and counts all of them. Without a buffer it only
/// counts.
template<class Unit>
class Output {
public:
    Output(Unit* buffer, int roomUnits)
        : next(buffer), end(roomUnits == 0 ? buffer : buffer + roomUnits), room(roomUnits) {}

    void Put(Unit unit) {
        count++;
        if (next != end)
            *next++ = unit;
    }

    /// Adds the ASCII characters from `text` on and moves `text` past them.
    template<class Source>
    void PutAscii(const Source*& text, const Source* textEnd) {
        const auto length = static_cast<long long>(AsciiRun(text, textEnd));
        const auto fitting = std::min<long long>(length, end - next);
        for (long long i = 0; i < fitting; i++)
            next[i] = static_cast<Unit>(text[i]);
        if (fitting > 0)
            next += fitting;
        count += length;
        text += length;
    }

    /// Whether the buffer has room for that many units.
    bool HasRoomFor(long long units) const { return units <= room; }
    Unit* Buffer() const { return next; }

    /// The number of units; 0, with the last error, if there are too many for the buffer or for an `int`.
    int Finish() const {
        if (count > INT_MAX)
            return FailConversion(ERROR_INVALID_PARAMETER);
        if (room != 0 && count > room)
            return FailConversion(ERROR_INSUFFICIENT_BUFFER);
        return static_cast<int>(count);
    }

private:
    Unit* next;
    Unit* end;
    int room;
    long long count = 0;
};

/// The same for a buffer that has room for all that may come, so that nothing needs to be counted.
template<class Unit>
class RoomyOutput {
public:
    explicit RoomyOutput(Unit* buffer) : start(buffer), next(buffer) {}

    void Put(Unit unit) { *next++ = unit; }

    template<class Source>
    void PutAscii(const Source*& text, const Source* textEnd) {
        Unit* to = next;
        *to++ = static_cast<Unit>(*text++);
        if (text != textEnd && IsAscii(*text)) { // not a space between words of other letters
            constexpr std::ptrdiff_t kStep = AsciiBlock<Source>::kUnits;
            for (; textEnd - text >= kStep && AsciiBlock(text).IsAscii(); text += kStep, to += kStep)
                AsciiBlock(text).Write(to);
            while (text != textEnd && IsAscii(*text))
                *to++ = static_cast<Unit>(*text++);
        }
        next = to;
    }

    int Finish() const { return static_cast<int>(next - start); }

private:
    Unit* const start;
    Unit* next;
};

} // namespace Tarn::Platform::Posix
