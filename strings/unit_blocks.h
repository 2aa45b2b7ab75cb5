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

/// What holds for which unit of a block: all bits of the unit are set where it does.
using CCondition [[gnu::vector_size(16)]] = std::int16_t;

inline CBlock EachUnit(char16_t unit) { return CBlock{} + static_cast<std::uint16_t>(unit); }

/// Where a block has one of two units, each given as a block that has no other.
inline CCondition IsEither(CBlock block, CBlock unit, CBlock other) {
    return (block == unit) | (block == other);
}
/// Where two blocks differ or the first one has a zero.
inline CCondition AreDifferentOrZero(CBlock a, CBlock b) { return (a != b) | (a == CBlock{}); }

inline bool Any(CCondition condition) {
    using CWords [[gnu::vector_size(16)]] = std::uint64_t;
    const auto words = std::bit_cast<CWords>(condition);
    return (words[0] | words[1]) != 0;
}

inline CBlockMask MaskOf(CCondition condition) {
    using CBytes [[gnu::vector_size(kBlockUnits)]] = std::int8_t;
    return inOrder(std::bit_cast<CBlockMask>(__builtin_convertvector(condition, CBytes)));
}

#else

inline constexpr CBlock kEachUnit = 0x0001000100010001;
inline constexpr CBlock kLowBits = 0x7FFF * kEachUnit;

// The highest bit of each unit that is not zero. No sum carries into the next unit.
inline CBlock whereNotZero(CBlock block) { return (((block & kLowBits) + kLowBits) | block) & ~kLowBits; }

/// The highest bit of the unit is set.
using CCondition = std::uint64_t;

inline CBlock EachUnit(char16_t unit) { return unit * kEachUnit; }

inline CCondition IsEither(CBlock block, CBlock unit, CBlock other) {
    return ~(whereNotZero(block ^ unit) & whereNotZero(block ^ other)) & ~kLowBits;
}
inline CCondition AreDifferentOrZero(CBlock a, CBlock b) {
    return whereNotZero(a ^ b) | (~whereNotZero(a) & ~kLowBits);
}

inline bool Any(CCondition condition) { return condition != 0; }
inline CBlockMask MaskOf(CCondition condition) { return inOrder(condition); }

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
