/// \file
/// The order of bytes in files. Files, archives and registries hold numbers and UTF-16 little-endian, the
/// least significant byte first, on every machine; what depends on the machine's own order is in this header.
#pragma once

#include <tarnkit/types.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace Tarn {

static_assert(std::endian::native == std::endian::little || std::endian::native == std::endian::big);
/// Whether the machine has them in the order of files.
inline constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;

/// A number as a file has it, from the number as the machine has it, and the other way round.
template<class T>
T LittleEndian(T value) {
    if constexpr (!kIsLittleEndian && sizeof(T) > 1) {
        auto bytes = std::bit_cast<std::array<std::byte, sizeof(T)>>(value);
        std::reverse(bytes.begin(), bytes.end());
        return std::bit_cast<T>(bytes);
    } else
        return value;
}

/// Exchanges the bytes of each unit.
inline void SwapUnits(char16_t* units, std::size_t count) {
    for (; count > 0; count--, units++)
        *units = static_cast<char16_t>(*units << 8 | *units >> 8);
}

/// Puts the bytes of numbers or text into the other order where that of files is not the machine's.
template<class Unit>
void TurnLittleEndian(Unit* units, std::size_t count) {
    if constexpr (!kIsLittleEndian && sizeof(Unit) > 1)
        std::transform(units, units + count, units, LittleEndian<Unit>);
}

/// Calls `write(bytes, size)` with the bytes that a file has of a text; in pieces where they are not those in
/// memory.
template<class Unit, class Write>
void WriteLittleEndian(const Unit* text, std::size_t count, Write write) {
    if constexpr (kIsLittleEndian || sizeof(Unit) == 1)
        write(text, static_cast<int>(count * sizeof(Unit)));
    else {
        Unit piece[512];
        for (std::size_t size; count > 0; text += size, count -= size) {
            size = std::min(count, std::size(piece));
            std::copy_n(text, size, piece);
            TurnLittleEndian(piece, size);
            write(piece, static_cast<int>(size * sizeof(Unit)));
        }
    }
}

/// The same for the data of a registry value in place: its type says of what they consist. Bytes that are no
/// whole unit stay as they are.
inline void TurnLittleEndian(DWORD type, void* data, std::size_t size) {
    if constexpr (!kIsLittleEndian) {
        const bool isText =
            type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ || type == REG_LINK;
        const bool isNumber = (type == REG_DWORD && size == 4) || (type == REG_QWORD && size == 8);
        const std::size_t unit = isText ? sizeof(char16_t) : size;
        if (!isText && !isNumber)
            return;
        for (auto bytes = static_cast<char*>(data); size >= unit; bytes += unit, size -= unit)
            std::reverse(bytes, bytes + unit);
    }
}

} // namespace Tarn
