#include <tarnkit/memory_manager.h>
#include <tarnkit/setup.h>

#include "settings/setup_cache.h"

#include <mutex>

namespace Tarn {

namespace {

constexpr char16_t kSeparator = u',';
constexpr char16_t kEscape = u'\\';

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

void CCacheSetupStringArray::Get(CArray<CUnicodeString, CurrentMemoryManager>& items) {
    const std::lock_guard guard(GetSetupCacheMutex());
    if (!isCached) {
        CMemoryManagerSwitcher toDefault(nullptr);
        ConvertFromString(GetString(), cachedItems);
        isCached = true;
    }
    items = cachedItems;
}

void CCacheSetupStringArray::Set(const CArray<CUnicodeString, CurrentMemoryManager>& items) {
    CMemoryManagerSwitcher toDefault(nullptr);
    const std::lock_guard guard(GetSetupCacheMutex());
    cachedItems = items;
    isCached = true;
    CSetupStringArray::Set(cachedItems);
}

void CCacheSetupStringArray::Reset() {
    const std::lock_guard guard(GetSetupCacheMutex());
    isCached = false;
}

} // namespace Tarn
