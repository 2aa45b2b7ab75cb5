#include "platform/posix/registry/store.h"

#include <tarnkit/byte_order.h>

#include "platform/platform.h"
#include "platform/posix/registry/repair.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace Tarn::Platform::Posix {

namespace {

using Use = RegistryDatabase::Use;

constexpr int kMaxDepth = 512;

constexpr LSTATUS kFound = ERROR_SUCCESS;
constexpr LSTATUS kNoRow = ERROR_NO_MORE_ITEMS;
constexpr LSTATUS kMissing = ERROR_FILE_NOT_FOUND;
constexpr LSTATUS kDamaged = ERROR_BADDB;

// Whether this is what the store holds, rather than why it cannot be read.
bool isAnswer(LSTATUS result) {
    return result == kFound || result == kMissing || result == static_cast<LSTATUS>(ERROR_KEY_DELETED);
}

String bytesOf(const char16_t* units, std::size_t length) {
    String bytes;
    bytes.reserve(2 * length);
    for (std::size_t i = 0; i < length; i++) {
        bytes += static_cast<char>(units[i] >> 8);
        bytes += static_cast<char>(units[i] & 0xFF);
    }
    return bytes;
}

// The columns of a list item.
enum { kPlaceColumn, kIsInPlaceColumn, kNameColumn, kTypeColumn, kDataColumn };

// How much of a list is read at a time.
constexpr std::size_t kMostItems = 128;
constexpr std::size_t kMostBytes = 16384;

// How much is kept of a list that does not change.
constexpr std::size_t kMostKeptItems = 1024;
constexpr std::size_t kMostKeptBytes = 65536;

enum class NameKind { Key, Value };

// Rejects what cannot be a name. As the name of a sub-key it would lead elsewhere: an empty one to the key
// that is being listed.
LSTATUS deliverName(const String& bytes, NameKind kind, const RegistryNameBuffer& name) {
    const std::size_t length = bytes.size() / 2;
    const bool isKey = kind == NameKind::Key;
    if (bytes.size() % 2 != 0 || length > (isKey ? kMaxKeyName : kMaxValueName) || (isKey && length == 0))
        return kDamaged;
    if (*name.length <= length)
        return ERROR_MORE_DATA;
    for (std::size_t i = 0; i < length; i++) {
        const auto high = static_cast<unsigned char>(bytes[2 * i]);
        const auto low = static_cast<unsigned char>(bytes[2 * i + 1]);
        const auto unit = static_cast<char16_t>(high << 8 | low);
        if (unit == 0 || (isKey && unit == u'\\'))
            return kDamaged;
        name.units[i] = unit;
    }
    name.units[length] = 0;
    *name.length = static_cast<DWORD>(length);
    return 0;
}

// `bytes` is only looked at if there is a buffer for them.
LSTATUS deliverValue(DWORD type, const char* bytes, DWORD size, const RegistryValueBuffer& value) {
    if (value.type != nullptr)
        *value.type = type;
    LSTATUS result = 0;
    if (value.data != nullptr && *value.size < size)
        result = ERROR_MORE_DATA;
    else if (value.data != nullptr && size > 0) {
        if (bytes == nullptr)
            return ERROR_NOT_ENOUGH_MEMORY;
        std::memcpy(value.data, bytes, size);
        TurnLittleEndian(type, value.data, size);
    }
    if (value.size != nullptr)
        *value.size = size;
    return result;
}

// The bytes of a column, which are few or needed. Throws if there is no memory for them.
std::string_view bytesAt(const RegistryStatement& row, int column) {
    const char* const bytes = row.Bytes(column);
    const DWORD size = row.Size(column);
    if (bytes == nullptr && size > 0)
        throw std::bad_alloc();
    return {bytes, size};
}

} // namespace

RegistryName::RegistryName(const char16_t* units, std::size_t length) : text(bytesOf(units, length)) {
    U16String upper(units, length);
    CharUpperBuffW(upper.data(), static_cast<DWORD>(length));
    folded = bytesOf(upper.data(), length);
}

bool RegistryStore::FindKnownKey(RegistryKeyId parent, std::u16string_view text, RegistryKeyId* key,
                                 LSTATUS* result) {
    RegistryCache::Answer answer;
    if (open(Use::Read, parent, ERROR_FILE_NOT_FOUND) != 0 ||
        !cache.Find(database.Version(), {RegistryCache::Kind::Path, parent, text}, &answer))
        return false;
    *key = answer.key;
    *result = answer.result;
    return true;
}

LSTATUS RegistryStore::FindKey(RegistryKeyId parent, const RegistryPath& path, std::u16string_view text,
                               RegistryKeyId* key) {
    const LSTATUS failure = open(Use::Read, parent, ERROR_FILE_NOT_FOUND);
    if (failure != 0)
        return failure;
    const LSTATUS result = findPath(parent, path, key);
    if (isAnswer(result))
        cache.Keep(database.Version(), {RegistryCache::Kind::Path, parent, text},
                   {result, result == 0 ? *key : kEmptyKey, 0, {}});
    return result;
}

LSTATUS RegistryStore::CreateKey(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key,
                                 bool* isNew) {
    *isNew = false;
    const LSTATUS failureToRead = open(Use::Read, parent, ERROR_FILE_NOT_FOUND);
    const LSTATUS found = failureToRead != 0 ? failureToRead : findPath(parent, path, key);
    if (found != kMissing)
        return found;
    LSTATUS failure = open(parent == kRootKey ? Use::Create : Use::Write, parent, ERROR_FILE_NOT_FOUND);
    if (failure != 0)
        return failure;
    RegistryTransaction transaction(database);
    failure = transaction.Begin();
    if (failure == 0)
        failure = addPath(parent, path, key, isNew);
    return failure != 0 ? failure : transaction.Commit();
}

LSTATUS RegistryStore::DeleteKey(RegistryKeyId parent, const RegistryPath& path) {
    if (path.empty() && parent <= kRootKey)
        return ERROR_ACCESS_DENIED;
    RegistryKeyId key;
    LSTATUS failure = open(Use::Read, parent, ERROR_FILE_NOT_FOUND);
    if (failure == 0)
        failure = findPath(parent, path, &key);
    if (failure == 0)
        failure = open(Use::Write, key, ERROR_FILE_NOT_FOUND);
    if (failure != 0)
        return failure;
    RegistryTransaction transaction(database);
    failure = transaction.Begin();
    if (failure != 0)
        return failure;
    const LSTATUS subKey = RegistryStatement(database, RegistryQuery::FindAnySubKey).Bind(key).Step();
    if (subKey != kNoRow)
        return subKey == kFound ? static_cast<LSTATUS>(ERROR_ACCESS_DENIED) : subKey;
    forgetAll();
    failure = RegistryStatement(database, RegistryQuery::DeleteValuesOfKey).Bind(key).Run();
    if (failure != 0)
        return failure;
    {
        RegistryStatement deletion(database, RegistryQuery::DeleteKey);
        failure = deletion.Bind(key).Run();
        if (failure == 0 && deletion.Changes() == 0)
            failure = path.empty() ? ERROR_KEY_DELETED : ERROR_FILE_NOT_FOUND;
    }
    return failure != 0 ? failure : transaction.Commit();
}

LSTATUS RegistryStore::CheckKey(RegistryKeyId key) {
    const LSTATUS failure = open(Use::Read, key, ERROR_NO_MORE_ITEMS);
    if (failure != 0)
        return failure == kNoRow ? 0 : failure;
    const RegistryCache::Question question = {RegistryCache::Kind::Path, key, {}};
    RegistryCache::Answer answer;
    if (cache.Find(database.Version(), question, &answer))
        return answer.result;
    const LSTATUS result = whyMissing(key, ERROR_SUCCESS);
    if (isAnswer(result))
        cache.Keep(database.Version(), question, {result, key, 0, {}});
    return result;
}

// Counts them unless nobody has changed this key, nor another process anything, since they were counted.
LSTATUS RegistryStore::GetSizes(RegistryKeyId key, RegistryKeySizes* sizes) {
    *sizes = RegistryKeySizes();
    LSTATUS result = open(Use::Read, key, ERROR_NO_MORE_ITEMS);
    if (result != 0)
        return result == kNoRow ? 0 : result;
    sqlite3_int64 mark;
    result = database.GetChangeMark(&mark);
    if (result == 0 && known.key == key && known.mark == mark)
        *sizes = known.sizes;
    else if (result == 0) {
        result = countSizes(key, sizes);
        if (result == 0)
            known = {key, mark, *sizes};
    }
    return result;
}

LSTATUS RegistryStore::countSizes(RegistryKeyId key, RegistryKeySizes* sizes) {
    RegistryStatement query(database, RegistryQuery::Sizes);
    const LSTATUS result = query.Bind(key).Step();
    if (result != kFound)
        return result;
    auto number = [&query](int column) { return static_cast<DWORD>(query.Integer(column)); };
    *sizes = {number(0), number(1) / 2, number(2), number(3) / 2, number(4)};
    if (sizes->longestSubKey > kMaxKeyName || sizes->longestValueName > kMaxValueName)
        return kDamaged;
    const bool isEmpty = sizes->subKeys == 0 && sizes->values == 0;
    return isEmpty ? whyMissing(key, ERROR_SUCCESS) : result;
}

LSTATUS RegistryStore::GetSubKeyName(RegistryKeyId key, DWORD index, const RegistryNameBuffer& name) {
    ListItem* item;
    const LSTATUS failure = findItem(subKeys, key, index, 0, &item);
    return failure != 0 ? failure : deliverName(item->name, NameKind::Key, name);
}

LSTATUS RegistryStore::GetValue(RegistryKeyId key, std::u16string_view name,
                                const RegistryValueBuffer& value) {
    const LSTATUS failure = open(Use::Read, key, ERROR_FILE_NOT_FOUND);
    return failure != 0 ? failure : GetValueOfFound(key, name, value);
}

LSTATUS RegistryStore::GetValueOfFound(RegistryKeyId key, std::u16string_view name,
                                       const RegistryValueBuffer& value) {
    if (!database.IsOpen()) // the search could not be ended
        return GetValue(key, name, value);
    const RegistryCache::Question question = {RegistryCache::Kind::Value, key, name};
    RegistryCache::Answer answer;
    if (cache.Find(database.Version(), question, &answer))
        return answer.result != 0 ? answer.result
                                  : deliverValue(answer.type, answer.data.data(),
                                                 static_cast<DWORD>(answer.data.size()), value);
    const RegistryName spelled(name.data(), name.size());
    RegistryStatement query(database, RegistryQuery::GetValue);
    const LSTATUS found = query.Bind(key).Bind(spelled.folded).Step();
    const LSTATUS result = found == kNoRow ? whyMissing(key, ERROR_FILE_NOT_FOUND) : found;
    if (result != 0) {
        if (isAnswer(result))
            cache.Keep(database.Version(), question, {result, key, 0, {}});
        return result;
    }
    const auto type = static_cast<DWORD>(query.Integer(0));
    const DWORD size = query.Size(1);
    const bool isSmall = size <= RegistryCache::kLongestData;
    const char* const bytes = isSmall || value.data != nullptr ? query.Bytes(1) : nullptr;
    if (isSmall && (bytes != nullptr || size == 0))
        cache.Keep(database.Version(), question, {0, key, type, {bytes, size}});
    return deliverValue(type, bytes, size, value);
}

LSTATUS RegistryStore::GetValueAt(RegistryKeyId key, DWORD index, const RegistryNameBuffer& name,
                                  const RegistryValueBuffer& value) {
    ListItem* item;
    const LSTATUS failure = findItem(values, key, index, value.data == nullptr ? 0 : *value.size, &item);
    if (failure != 0)
        return failure;
    const LSTATUS nameResult = deliverName(item->name, NameKind::Value, name);
    const LSTATUS valueResult = deliverValue(item->type, item->data.data(), item->size, value);
    if (item->data.size() > kMostBytes)
        item->data = String();
    return nameResult != 0 ? nameResult : valueResult;
}

LSTATUS RegistryStore::SetValue(RegistryKeyId key, const RegistryName& name, DWORD type, const void* data,
                                DWORD size) {
    const LSTATUS failure = open(key == kRootKey ? Use::Create : Use::Write, key, ERROR_FILE_NOT_FOUND);
    if (failure != 0)
        return failure;
    forgetSizes(key);
    String stored;
    if constexpr (!kIsLittleEndian) { // the store has it as Windows has it
        stored.assign(static_cast<const char*>(data), size);
        TurnLittleEndian(type, stored.data(), size);
        data = stored.data();
    }
    RegistryStatement setting(database, RegistryQuery::SetValue);
    const LSTATUS result =
        setting.Bind(key).Bind(name.folded).Bind(name.text).Bind(type).Bind(data, size).Run();
    return result == 0 && setting.Changes() == 0 ? static_cast<LSTATUS>(ERROR_KEY_DELETED) : result;
}

LSTATUS RegistryStore::DeleteValue(RegistryKeyId key, const RegistryName& name) {
    const LSTATUS failure = open(Use::Write, key, ERROR_FILE_NOT_FOUND);
    if (failure != 0)
        return failure;
    forgetSizes(key);
    forgetList(values, key);
    RegistryStatement deletion(database, RegistryQuery::DeleteValue);
    const LSTATUS result = deletion.Bind(key).Bind(name.folded).Run();
    return result == 0 && deletion.Changes() == 0 ? whyMissing(key, ERROR_FILE_NOT_FOUND) : result;
}

void RegistryStore::Close() {
    forgetAll();
    cache.Clear();
    database.Close();
}

LSTATUS RegistryStore::Check(const String& file, RegistryStoreState* state) {
    Close();
    const LSTATUS result = CheckRegistryFile(database, file, state);
    Close();
    return result;
}

LSTATUS RegistryStore::Repair(const String& file, RegistryStoreState* state, String* oldFile) {
    Close();
    return RepairRegistryFile(database, file, state, oldFile);
}

void RegistryStore::Suspend() {
    forgetAll();
    database.Suspend();
}

// What this process changes is forgotten before: its own changes do not change the mark. A value that is
// added comes last and moves no other one.
void RegistryStore::forgetList(Enumeration& list, RegistryKeyId key) {
    if (list.section != nullptr && list.section->key == key) {
        Delete(list.section);
        list.section = nullptr;
    }
}

void RegistryStore::forgetSizes(RegistryKeyId key) {
    if (known.key == key)
        known = {};
}

void RegistryStore::forgetAll() {
    for (Enumeration* list : {&subKeys, &values})
        if (list->section != nullptr)
            forgetList(*list, list->section->key);
    known = {};
}

// Makes the database ready. If there is none, a predefined key is empty, which gives `codeWhenEmpty`, and any
// other key no longer exists.
LSTATUS RegistryStore::open(Use use, RegistryKeyId key, DWORD codeWhenEmpty) {
    const LSTATUS result = database.Open(use);
    if (result == kMissing)
        return static_cast<LSTATUS>(key > kRootKey ? ERROR_KEY_DELETED : codeWhenEmpty);
    return result;
}

// The result if a search below `key` found nothing: the key itself may have been deleted.
LSTATUS RegistryStore::whyMissing(RegistryKeyId key, DWORD codeWhenPresent) {
    int depth;
    const LSTATUS result = getDepth(key, &depth);
    return result == 0 ? static_cast<LSTATUS>(codeWhenPresent) : result;
}

LSTATUS RegistryStore::getDepth(RegistryKeyId key, int* depth) {
    *depth = 0;
    if (key <= kRootKey)
        return 0;
    RegistryStatement query(database, RegistryQuery::KeyDepth);
    const LSTATUS result = query.Bind(key).Step();
    if (result == kFound)
        *depth = static_cast<int>(query.Integer(0));
    return result == kNoRow ? static_cast<LSTATUS>(ERROR_KEY_DELETED) : result;
}

LSTATUS RegistryStore::findChild(RegistryKeyId parent, const RegistryName& name, RegistryKeyId* key) {
    RegistryStatement query(database, RegistryQuery::FindKey);
    const LSTATUS result = query.Bind(parent).Bind(name.folded).Step();
    if (result != kFound)
        return result == kNoRow ? kMissing : result;
    *key = query.Integer(0);
    const bool hasRightDepth = query.Integer(1) != 0;
    return hasRightDepth ? kFound : kDamaged;
}

LSTATUS RegistryStore::findPath(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key) {
    RegistryTransaction moment(database);
    if (path.size() > 1)
        if (const LSTATUS failure = moment.Begin(RegistryQuery::BeginReading); failure != 0)
            return failure;
    RegistryKeyId found = parent;
    for (const RegistryName& name : path) {
        const LSTATUS result = findChild(found, name, &found);
        if (result != kFound)
            return result == kMissing ? whyMissing(parent, ERROR_FILE_NOT_FOUND) : result;
    }
    *key = found;
    return path.empty() ? whyMissing(parent, ERROR_SUCCESS) : kFound;
}

LSTATUS RegistryStore::addPath(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key,
                               bool* isNew) {
    int depth;
    if (const LSTATUS failure = getDepth(parent, &depth); failure != 0)
        return failure;
    *key = parent;
    for (const RegistryName& name : path) {
        depth++;
        LSTATUS result = findChild(*key, name, key);
        if (result == kMissing) {
            result = addChild(*key, name, depth, key);
            *isNew = true;
        }
        if (result != 0)
            return result;
    }
    return 0;
}

LSTATUS RegistryStore::addChild(RegistryKeyId parent, const RegistryName& name, int depth,
                                RegistryKeyId* key) {
    if (depth > kMaxDepth)
        return ERROR_INVALID_PARAMETER;
    forgetSizes(parent);
    forgetList(subKeys, parent);
    RegistryStatement insertion(database, RegistryQuery::AddKey);
    const LSTATUS result = insertion.Bind(parent).Bind(name.folded).Bind(name.text).Bind(depth).Run();
    if (result == 0)
        *key = insertion.InsertedRow();
    return result;
}

// A list that goes on while nothing changes is not interrupted by a look at the name of the file.
LSTATUS RegistryStore::findItem(Enumeration& list, RegistryKeyId key, DWORD index, DWORD room,
                                ListItem** item) {
    if (list.section == nullptr && (list.section = New<Section>()) == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    const auto isAtHand = [&] {
        *item = list.section->Find(key, index);
        return *item != nullptr && ((*item)->size > room || (*item)->size == (*item)->data.size());
    };
    if (index == 0 || !isAtHand() || !database.HasVersion(list.section->version)) {
        const LSTATUS failure = open(Use::Read, key, ERROR_NO_MORE_ITEMS);
        if (failure != 0)
            return failure;
        if (!isAtHand() || list.section->version != database.Version())
            if (const LSTATUS result = readItems(list, key, index, room); result != 0)
                return result;
        *item = list.section->Find(key, index);
    }
    return (*item)->isInPlace ? ERROR_SUCCESS : kDamaged;
}

// Continues after the item that was listed before this one if neither this process has changed the list nor
// another one anything, and otherwise counts from the start. The more was listed without any change, the more
// is read, and kept with what was read before. Each item must come after those of earlier queries, so that a
// list ends whatever the store contains.
LSTATUS RegistryStore::readItems(Enumeration& list, RegistryKeyId key, DWORD index, DWORD room) {
    sqlite3_int64 mark;
    LSTATUS result = database.GetChangeMark(&mark);
    if (result != 0)
        return result;
    Section& section = *list.section;
    const bool isValues = &list == &values;
    const ListItem* const before = index > 0 && section.mark == mark ? section.Find(key, index - 1) : nullptr;
    const bool isNext = before != nullptr && (isValues || before->place != nullptr);
    const bool isUnchanged = isNext && section.version == database.Version();
    const std::size_t count = isUnchanged ? std::min(section.items.size(), kMostItems) : 1;
    RegistryStatement query(database, isNext ? list.byPredecessor : list.byIndex);
    query.Bind(key);
    if (!isNext)
        query.Bind(index);
    else if (isValues)
        query.Bind(before->id);
    else
        query.Bind(before->place.get());
    query.Bind(static_cast<sqlite3_int64>(count));

    Section read = {key, index, database.Version(), mark, 0, {}};
    while (read.bytes < kMostBytes && (result = query.Step()) == kFound) {
        read.items.push_back(itemOf(query, isValues, room));
        read.bytes += read.items.back().name.size() + read.items.back().data.size();
    }
    if (read.items.empty())
        return result == kNoRow ? whyMissing(key, ERROR_NO_MORE_ITEMS) : result;
    const bool isAppended = isUnchanged && before == &section.items.back() &&
                            section.items.size() < kMostKeptItems && section.bytes < kMostKeptBytes;
    if (!isAppended)
        section = std::move(read);
    else {
        section.items.insert(section.items.end(), std::move_iterator(read.items.begin()),
                             std::move_iterator(read.items.end()));
        section.bytes += read.bytes;
    }
    return 0;
}

RegistryStore::ListItem RegistryStore::itemOf(const RegistryStatement& row, bool isValue, DWORD room) {
    ListItem item = {0, nullptr, row.Integer(kIsInPlaceColumn) != 0, String(bytesAt(row, kNameColumn)), 0,
                     0, {}};
    if (!isValue) {
        item.place.reset(row.Copy(kPlaceColumn));
        return item;
    }
    item.id = row.Integer(kPlaceColumn);
    item.type = static_cast<DWORD>(row.Integer(kTypeColumn));
    item.size = row.Size(kDataColumn);
    if (item.size <= room)
        item.data = bytesAt(row, kDataColumn);
    return item;
}

} // namespace Tarn::Platform::Posix
