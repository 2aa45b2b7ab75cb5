// Bodies for text that comes from another code page.
#pragma once

#include "platform/platform.h"
#include "strings/text_units.h"

#include <tarnkit/string.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

namespace Tarn {

/// Whether ASCII has the same bytes in this code page: in UTF-8 and in the pages of Windows for alphabets.
constexpr bool KeepsAscii(unsigned codePage) {
    return codePage == CP_UTF8 || (codePage >= 1250 && codePage <= 1258);
}

/// Calls `take(i)` for parts of `kStep` units, at i, that together are all `length` units; the last two may
/// overlap. False as soon as `take` is.
template<int kStep, class Take>
bool TakeInParts(int length, Take take) {
    for (int i = 0; i + kStep < length; i += kStep)
        if (!take(i))
            return false;
    return take(length - kStep);
}

/// `count` numbers in the vector types of GCC and Clang.
template<class T, int count>
using CVector [[gnu::vector_size(count * sizeof(T))]] = T;

/// Whether `kStep` units are ASCII, and none of them is a NUL.
template<int kStep, class Unit>
bool AreAscii(const Unit* units) {
    constexpr std::uint64_t kEachUnit = sizeof(Unit) == 1 ? 0x0101010101010101 : 0x0001000100010001;
    constexpr std::uint64_t kOutside = 0x7F * kEachUnit ^ ~std::uint64_t{0};
    constexpr int kWords = std::min<int>(kStep * sizeof(Unit), 16) / sizeof(std::uint64_t);
    using CWords = CVector<std::uint64_t, kWords>;
    CWords all = {};
    for (int i = 0; i < kStep; i += sizeof(CWords) / sizeof(Unit)) {
        CWords words;
        std::memcpy(&words, units + i, sizeof words);
        all |= (words - kEachUnit) | words; // taking 1 from a unit that is 0 sets all its bits
    }
    std::uint64_t any = all[0];
    if constexpr (kWords > 1)
        any |= all[1];
    return (any & kOutside) == 0;
}

/// Copies `kStep` units.
template<int kStep, class To, class From>
void WidenOrNarrow(To* to, const From* from) {
    using CFrom = std::conditional_t<sizeof(From) == 1, std::uint8_t, std::uint16_t>;
    using CTo = std::conditional_t<sizeof(To) == 1, std::uint8_t, std::uint16_t>;
    constexpr int kAtOnce = 8;
    for (int i = 0; i < kStep; i += kAtOnce) {
        CVector<CFrom, kAtOnce> units;
        std::memcpy(&units, from + i, sizeof units);
        const auto converted = __builtin_convertvector(units, CVector<CTo, kAtOnce>);
        std::memcpy(to + i, &converted, sizeof converted);
    }
}

/// Makes a body of a text that is nothing but ASCII and has no NUL; null if it has anything else or is very
/// short.
template<class Unit, class From>
CStringBodyOf<Unit>* MakeAsciiBody(const From* text, int length) {
    const auto make = [&]<int kStep>(std::integral_constant<int, kStep>) -> CStringBodyOf<Unit>* {
        if (!TakeInParts<kStep>(length, [&](int i) { return AreAscii<kStep>(text + i); }))
            return nullptr;
        CStringBodyOf<Unit>* const body = CStringBodyOf<Unit>::MakeNew(length);
        TakeInParts<kStep>(length, [&](int i) {
            WidenOrNarrow<kStep>(body->Body() + i, text + i);
            return true;
        });
        body->Body()[length] = 0;
        return body;
    };
    return length >= 32  ? make(std::integral_constant<int, 32>())
           : length >= 8 ? make(std::integral_constant<int, 8>())
                         : nullptr;
}

/// Makes a body of what `convert(buffer, size)` writes; without a buffer, it returns the number of units that
/// it would write, and 0 when it fails. A NUL ends the text, unless `hasNoNul` says that there is none. Null
/// if nothing can be converted. Text is converted once, into room for `likelySize` units, and moved. Only
/// what turns out to be larger, or is too large to be held twice, is converted another time to find its size
/// first.
template<class Unit, class Convert>
CStringBodyOf<Unit>* MakeConvertedBody(Int64 likelySize, bool hasNoNul, Convert convert) {
    using Body = CStringBodyOf<Unit>;
    const auto finish = [hasNoNul](Body* body, int count) {
        body->Body()[count] = 0;
        body->SetLength(hasNoNul ? count : TextUnits::LengthUpTo(body->Body(), count));
        return body;
    };
    const auto tryOnce = [&](Unit* buffer, int size) -> Body* {
        const int count = buffer != nullptr ? convert(buffer, size) : 0;
        if (count <= 0)
            return nullptr;
        Body* body = Body::MakeNew(count);
        std::copy_n(buffer, count, body->Body());
        return finish(body, count);
    };
    constexpr int kShort = 8192 / sizeof(Unit); // what a stack has room for
    constexpr int kLong = 0x40000;
    Body* body = nullptr;
    if (likelySize <= kShort) {
        Unit buffer[kShort];
        body = tryOnce(buffer, kShort);
    } else if (likelySize <= kLong) {
        const int size = static_cast<int>(likelySize);
        const auto free = [](void* memory) { Platform::HeapFree(Platform::GetProcessHeap(), memory); };
        const std::unique_ptr<void, decltype(free)> buffer(
            Platform::HeapAlloc(Platform::GetProcessHeap(),
                                static_cast<std::size_t>(likelySize) * sizeof(Unit)),
            free);
        body = tryOnce(static_cast<Unit*>(buffer.get()), size);
    }
    if (body != nullptr)
        return body;
    const int size = convert(nullptr, 0);
    if (size <= 0)
        return nullptr;
    body = Body::MakeNew(size);
    return finish(body, convert(body->Body(), size));
}

} // namespace Tarn
