#include <tarnkit/unicode_set.h>

#include <tarnkit/immortal.h>
#include <tarnkit/pool_allocators.h>

#include "memory/spin_lock.h"
#include "platform/fork.h"

#include <mutex>

namespace Tarn {

namespace {

constexpr int kSetPageSize = 1024 / 8; // bytes for the bits of a page of CUnicodeBitSet
constexpr int kPoolPageSize = 0x10000;

constinit Immortal<CBlockManager> setPagePool{kSetPageSize, kPoolPageSize};
constinit CSpinLock poolLock; // the sets of all threads share the pool

} // namespace

template class CPagedBitSet<0x10000, 1024, CUnicodeSetAllocator>;

CBlockManager& GetSetPagePool() { return setPagePool.object; }

void AttachSetPagePool() { Platform::KeepUsableAfterFork<poolLock>(); }

void ReleaseSetPagePool() { setPagePool.object.ReleaseIfUnused(); }

void* CUnicodeSetAllocator::Alloc(unsigned int) {
    std::lock_guard guard(poolLock);
    return GetSetPagePool().Alloc();
}

void* CUnicodeSetAllocator::Alloc(unsigned int size, const char*, int) { return Alloc(size); }

void CUnicodeSetAllocator::Free(void* block) {
    std::lock_guard guard(poolLock);
    GetSetPagePool().Free(block);
}

void CUnicodeSetAllocator::AllocAll(void** blocks, unsigned int count) {
    std::lock_guard guard(poolLock);
    setPagePool.object.AllocAll(blocks, static_cast<int>(count));
}

void CUnicodeSetAllocator::FreeAll(void* const* blocks, unsigned int count) {
    std::lock_guard guard(poolLock);
    setPagePool.object.FreeAll(blocks, static_cast<int>(count));
}

void CUnicodeSetAllocator::Reset() {
    std::lock_guard guard(poolLock);
    GetSetPagePool().Reset();
}

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
