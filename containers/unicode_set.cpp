#include <tarnkit/unicode_set.h>

#include <tarnkit/immortal.h>
#include <tarnkit/pool_allocators.h>

namespace Tarn {

namespace {

constexpr int kSetPageSize = 1024 / 8; // bytes for the bits of a page of CUnicodeBitSet
constexpr int kPoolPageSize = 0x10000;

constinit Immortal<CBlockManager> setPagePool{kSetPageSize, kPoolPageSize};

} // namespace

template class CPagedBitSet<0x10000, 1024, CUnicodeSetAllocator>;

CBlockManager& GetSetPagePool() { return setPagePool.object; }

void ReleaseSetPagePool() { setPagePool.object.ReleaseIfUnused(); }

void* CUnicodeSetAllocator::Alloc(unsigned int) { return GetSetPagePool().Alloc(); }

void* CUnicodeSetAllocator::Alloc(unsigned int size, const char*, int) { return Alloc(size); }

void CUnicodeSetAllocator::Free(void* block) { GetSetPagePool().Free(block); }

void CUnicodeSetAllocator::Reset() { GetSetPagePool().Reset(); }

CUnicodeSet::CUnicodeSet(const char16_t* text) {
    for (; *text != 0; text++)
        *this |= *text;
}

const char16_t* CUnicodeSet::FirstIncluding(const char16_t* text) const {
    for (; *text != 0; text++)
        if (Has(*text))
            return text;
    return nullptr;
}

const char16_t* CUnicodeSet::FirstExcluding(const char16_t* text) const {
    for (; *text != 0; text++)
        if (!Has(*text))
            return text;
    return nullptr;
}

} // namespace Tarn
