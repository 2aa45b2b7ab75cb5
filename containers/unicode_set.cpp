#include <tarnkit/unicode_set.h>

#include <tarnkit/pool_allocators.h>

namespace Tarn {

template class CPagedBitSet<0x10000, 1024, CUnicodeSetAllocator>;

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
