#include <tarnkit/memory_manager.h>
#include <tarnkit/setup.h>

#include "settings/setup_cache.h"

#include <mutex>

namespace Tarn {

namespace {

constexpr char16_t kSeparator = u',';
constexpr char16_t kEscape = u'\\';

unsigned changes = 0; // of all cached lists; under the lock of the cache

CUnicodeString escaped(const CUnicodeString& item) {
    CUnicodeString result;
    for (int i = 0; i < item.GetLength(); i++) {
        if (item[i] == kSeparator || item[i] == kEscape)
            result += kEscape;
        result += item[i];
    }
    return result;
}

CUnicodeString unescaped(const CUnicodeString& piece) {
    CUnicodeString result;
    for (int i = 0; i < piece.GetLength(); i++) {
        if (piece[i] == kEscape && ++i == piece.GetLength())
            break;
        result += piece[i];
    }
    return result;
}

// The first separator from `start` on, or -1. A comma separates unless a backslash stands directly before it.
int findSeparator(const CUnicodeString& text, int start) {
    int comma = text.Find(kSeparator, start);
    while (comma > 0 && text[comma - 1] == kEscape)
        comma = text.Find(kSeparator, comma + 1);
    return comma;
}

} // namespace

CSetupStringArray::CSetupStringArray(const CUnicodeString& keyPath, const CUnicodeString& name,
                                     TSetupType setupType)
    : CSetupBase(keyPath, name, setupType) {}

CSetupStringArray::~CSetupStringArray() = default;

CUnicodeString CSetupStringArray::GetDefaultString() const { return CUnicodeString(); }

void CSetupStringArray::Get(CArray<CUnicodeString, CurrentMemoryManager>& items) {
    ConvertFromString(GetString(), items);
}

void CSetupStringArray::Set(const CArray<CUnicodeString, CurrentMemoryManager>& items) {
    SetString(ConvertToString(items));
}

void CSetupStringArray::ConvertFromString(CUnicodeString text,
                                          CArray<CUnicodeString, CurrentMemoryManager>& items) const {
    items.DeleteAll();
    if (text.IsEmpty())
        return;
    int start = 0;
    for (int end; (end = findSeparator(text, start)) >= 0; start = end + 1)
        items.Add(unescaped(text.Mid(start, end - start)));
    items.Add(unescaped(text.Mid(start)));
}

CUnicodeString
CSetupStringArray::ConvertToString(const CArray<CUnicodeString, CurrentMemoryManager>& items) const {
    CUnicodeString text;
    for (int i = 0; i < items.Size(); i++) {
        CUnicodeString item = items[i];
        item.Trim();
        if (i > 0)
            text += kSeparator;
        text += escaped(item);
    }
    return text;
}

void CSetupStringArray::SetDefault() { Set(CArray<CUnicodeString, CurrentMemoryManager>()); }

CCacheSetupStringArray::CCacheSetupStringArray(const CUnicodeString& keyPath, const CUnicodeString& name,
                                               TSetupType setupType)
    : CSetupStringArray(keyPath, name, setupType) {}

CCacheSetupStringArray::CCacheSetupStringArray(const CCacheSetupStringArray& other)
    : CSetupStringArray(other) {
    CMemoryManagerSwitcher toDefault(nullptr);
    const std::lock_guard guard(GetSetupCacheMutex());
    isCached = other.isCached;
    cachedItems = other.cachedItems;
}

CCacheSetupStringArray& CCacheSetupStringArray::operator=(const CCacheSetupStringArray& other) {
    CMemoryManagerSwitcher toDefault(nullptr);
    const std::lock_guard guard(GetSetupCacheMutex());
    cachedItems = other.cachedItems;
    CSetupStringArray::operator=(other);
    isCached = other.isCached;
    return *this;
}

CCacheSetupStringArray::~CCacheSetupStringArray() = default;

// What was read is cached only if no list was set or reset since then.
void CCacheSetupStringArray::Get(CArray<CUnicodeString, CurrentMemoryManager>& items) {
    std::unique_lock lock(GetSetupCacheMutex());
    while (!isCached) {
        const unsigned changesBefore = changes;
        lock.unlock();
        CMemoryManagerSwitcher toDefault(nullptr);
        bool isKnown;
        CArray<CUnicodeString, CurrentMemoryManager> found;
        ConvertFromString(CSetupAccess::Read(*this, isKnown), found);
        lock.lock();
        if (isCached || changes != changesBefore)
            continue;
        cachedItems = found;
        isCached = isKnown;
        break;
    }
    items = cachedItems;
}

void CCacheSetupStringArray::Set(const CArray<CUnicodeString, CurrentMemoryManager>& items) {
    CMemoryManagerSwitcher toDefault(nullptr);
    const auto keep = [&] {
        cachedItems = items;
        isCached = true;
        changes++;
    };
    std::unique_lock lock(GetSetupCacheMutex());
    keep(); // even if the list cannot be converted, which is reported
    lock.unlock();
    const CUnicodeString text = ConvertToString(items);
    CSetupAccess access(*this);
    lock.lock();
    keep();
    access.Store(text);
    lock.unlock();
    access.Report();
}

void CCacheSetupStringArray::Reset() {
    const std::lock_guard guard(GetSetupCacheMutex());
    isCached = false;
    changes++;
}

} // namespace Tarn
