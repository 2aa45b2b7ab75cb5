/// \file
/// What the conversions from and to code pages have in common: the output, and the short cut for runs of
/// ASCII.
#pragma once

#include "platform/platform.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Tarn::Platform::Posix {

/// Sets the last error of a conversion. Returns 0, the result of a failed conversion.
inline int FailConversion(DWORD code) {
    SetLastError(code);
    return 0;
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

    /// Adds `length` ASCII characters.
    template<class Source>
    void PutAscii(const Source* text, std::size_t length) {
        count += static_cast<long long>(length);
        std::size_t left = static_cast<std::size_t>(end - next);
        if (left < length)
            length = left;
        for (std::size_t i = 0; i < length; i++)
            next[i] = static_cast<Unit>(text[i]);
        if (length != 0)
            next += length;
    }

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

/// The number of ASCII units from `text`, which must lie before `end`, to the first other unit.
template<class Unit>
std::size_t AsciiRun(const Unit* text, const Unit* end) {
    const auto isAscii = [](Unit unit) { return (unit & ~Unit{0x7F}) == 0; };
    if (!isAscii(*text))
        return 0;
    constexpr std::size_t kAtOnce = sizeof(std::uint64_t) / sizeof(Unit);
    constexpr std::uint64_t kBeyondAscii = sizeof(Unit) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;
    const Unit* at = text;
    for (; static_cast<std::size_t>(end - at) >= kAtOnce; at += kAtOnce) {
        std::uint64_t word;
        std::memcpy(&word, at, sizeof(word));
        if ((word & kBeyondAscii) != 0)
            break;
    }
    while (at != end && isAscii(*at))
        at++;
    return static_cast<std::size_t>(at - text);
}

} // namespace Tarn::Platform::Posix
