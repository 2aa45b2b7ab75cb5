#include "platform/posix/registry/cache.h"

namespace Tarn::Platform::Posix {

std::size_t RegistryCache::placeOf(const Question& question) {
    constexpr std::uint32_t kFactor = 0x01000193;
    auto hash = static_cast<std::uint32_t>(question.key) * 2 + static_cast<std::uint32_t>(question.kind);
    for (const char16_t unit : question.text)
        hash = (hash ^ unit) * kFactor;
    return (hash ^ hash >> 16) % kPlaces;
}

bool RegistryCache::Find(std::uint64_t version, const Question& question, Answer* answer) const {
    if (table == nullptr || question.text.size() > kLongestText)
        return false;
    const Item& item = table->items[placeOf(question)];
    if (item.version != version || item.kind != question.kind || item.key != question.key ||
        item.text != question.text)
        return false;
    *answer = item.answer;
    answer->data = item.data;
    return true;
}

void RegistryCache::Keep(std::uint64_t version, const Question& question, const Answer& answer) {
    if (question.text.size() > kLongestText || answer.data.size() > kLongestData)
        return;
    if (table == nullptr && (table = New<Table>()) == nullptr)
        return;
    Item& item = table->items[placeOf(question)];
    item.version = 0;
    try {
        item.text = question.text;
        item.data = answer.data;
    } catch (const std::bad_alloc&) {
        return; // it will be read again
    }
    item.kind = question.kind;
    item.key = question.key;
    item.answer = answer;
    item.version = version;
}

void RegistryCache::Clear() {
    Delete(table);
    table = nullptr;
}

} // namespace Tarn::Platform::Posix
