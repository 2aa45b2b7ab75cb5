// Several 16-bit units at a time: eight where the processor has vectors of 128 bits, otherwise the four of a
// 64-bit word. The vector types are those of GCC and Clang.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Tarn::TextUnits {

#if defined(__SSE2__) || defined(__ARM_NEON)

inline constexpr std::size_t kBlockUnits = 8;
using CBlock [[gnu::vector_size(16)]] = std::uint16_t;
/// The same in memory that holds a text, at a multiple of its size.
using CTextBlock [[gnu::vector_size(16), gnu::may_alias]] = std::uint16_t;

#else

inline constexpr std::size_t kBlockUnits = 4;
using CBlock = std::uint64_t;
using CTextBlock [[gnu::may_alias]] = std::uint64_t;

#endif

/// For each unit a field of bits, the first unit's lowest; some are set where a condition holds, none
/// elsewhere.
using CBlockMask = std::uint64_t;
inline constexpr int kMaskBits = 64 / kBlockUnits;

inline CBlock LoadBlock(const char16_t* units) {
    CBlock block;
    std::memcpy(&block, units, sizeof block);
    return block;
}

inline CBlockMask inOrder(CBlockMask mask) {
    return std::endian::native == std::endian::little ? mask : __builtin_bswap64(mask);
}

#if defined(__SSE2__) || defined(__ARM_NEON)

template<class Condition>
CBlockMask maskOf(Condition condition) {
    using CBytes [[gnu::vector_size(kBlockUnits)]] = std::int8_t;
    return inOrder(std::bit_cast<CBlockMask>(__builtin_convertvector(condition, CBytes)));
}

/// Where a block has one of two units.
inline CBlockMask WhereEither(CBlock block, char16_t unit, char16_t other) {
    // In vectors, for Clang 14 crashes where one is compared with a number.
    const CBlock units = CBlock{} + static_cast<std::uint16_t>(unit);
    const CBlock others = CBlock{} + static_cast<std::uint16_t>(other);
    return maskOf((block == units) | (block == others));
}
/// Where two blocks differ or the first one has a zero.
inline CBlockMask WhereDifferentOrZero(CBlock a, CBlock b) { return maskOf((a != b) | (a == 0)); }

#else

inline constexpr CBlock kEachUnit = 0x0001000100010001;
inline constexpr CBlock kLowBits = 0x7FFF * kEachUnit;

// The highest bit of each unit that is not zero. No sum carries into the next unit.
inline CBlock whereNotZero(CBlock block) { return (((block & kLowBits) + kLowBits) | block) & ~kLowBits; }

inline CBlockMask WhereEither(CBlock block, char16_t unit, char16_t other) {
    const CBlock neither = whereNotZero(block ^ unit * kEachUnit) & whereNotZero(block ^ other * kEachUnit);
    return inOrder(~neither & ~kLowBits);
}
inline CBlockMask WhereDifferentOrZero(CBlock a, CBlock b) {
    return inOrder(whereNotZero(a ^ b) | (~whereNotZero(a) & ~kLowBits));
}

#endif

/// The index of the first unit of a mask that is not empty.
inline std::size_t FirstOf(CBlockMask mask) {
    return static_cast<std::size_t>(std::countr_zero(mask) / kMaskBits);
}
/// The index of the last one.
inline std::size_t LastOf(CBlockMask mask) {
    return kBlockUnits - 1 - static_cast<std::size_t>(std::countl_zero(mask) / kMaskBits);
}

} // namespace Tarn::TextUnits
