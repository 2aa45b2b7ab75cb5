#include "platform/posix/registry/store.h"

#include "platform/platform.h"

#include <cstring>

namespace Tarn::Platform::Posix {

namespace {

using Use = RegistryDatabase::Use;

constexpr int kMaxDepth = 512;

constexpr LSTATUS kFound = ERROR_SUCCESS;
constexpr LSTATUS kNoRow = ERROR_NO_MORE_ITEMS;
constexpr LSTATUS kMissing = ERROR_FILE_NOT_FOUND;
constexpr LSTATUS kDamaged = ERROR_BADDB;

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
enum { kPlaceColumn, kIsInPlaceColumn, kNameColumn };

enum class NameKind { Key, Value };

// Rejects what cannot be a name. As the name of a sub-key it would lead elsewhere: an empty one to the key
// that is being listed.
LSTATUS deliverName(const RegistryStatement& row, int column, NameKind kind, const RegistryNameBuffer& name) {
    const auto* bytes = static_cast<const unsigned char*>(row.Bytes(column));
    const DWORD size = row.Size(column);
    const DWORD length = size / 2;
    const bool isKey = kind == NameKind::Key;
    if (size % 2 != 0 || length > (isKey ? kMaxKeyName : kMaxValueName) || (isKey && length == 0))
        return kDamaged;
    if (*name.length <= length)
        return ERROR_MORE_DATA;
    if (length > 0 && bytes == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    for (DWORD i = 0; i < length; i++) {
        const auto unit = static_cast<char16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
        if (unit == 0 || (isKey && unit == u'\\'))
            return kDamaged;
        name.units[i] = unit;
    }
    name.units[length] = 0;
    *name.length = length;
    return 0;
}

LSTATUS deliverValue(const RegistryStatement& row, int typeColumn, const RegistryValueBuffer& value) {
    const int dataColumn = typeColumn + 1;
    const DWORD size = row.Size(dataColumn);
    if (value.type != nullptr)
        *value.type = static_cast<DWORD>(row.Integer(typeColumn));
    LSTATUS result = 0;
    if (value.data != nullptr && *value.size < size)
        result = ERROR_MORE_DATA;
    else if (value.data != nullptr && size > 0) {
        const void* bytes = row.Bytes(dataColumn);
        if (bytes == nullptr)
            return ERROR_NOT_ENOUGH_MEMORY;
        std::memcpy(value.data, bytes, size);
    }
    if (value.size != nullptr)
        *value.size = size;
    return result;
}

} // namespace

void RegistryStore::Cursor::MoveTo(const Cursor& other) {
    sqlite3_value_free(place);
    *this = other;
}

RegistryName::RegistryName(const char16_t* units, std::size_t length) : text(bytesOf(units, length)) {
    U16String upper(units, length);
    CharUpperBuffW(upper.data(), static_cast<DWORD>(length));
    folded = bytesOf(upper.data(), length);
}

LSTATUS RegistryStore::FindKey(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key) {
    const LSTATUS failure = open(Use::Read, parent, ERROR_FILE_NOT_FOUND);
    return failure != 0 ? failure : findPath(parent, path, key);
}

LSTATUS RegistryStore::CreateKey(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key,
                                 bool* isNew) {
    *isNew = false;
    if (const LSTATUS found = FindKey(parent, path, key); found != kMissing)
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
    LSTATUS failure = FindKey(parent, path, &key);
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

LSTATUS RegistryStore::GetSizes(RegistryKeyId key, RegistryKeySizes* sizes) {
    *sizes = RegistryKeySizes();
    const LSTATUS failure = open(Use::Read, key, ERROR_NO_MORE_ITEMS);
    if (failure != 0)
        return failure == kNoRow ? 0 : failure;
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
    return enumerate(subKeys, key, index, [&](const RegistryStatement& row) {
        return deliverName(row, kNameColumn, NameKind::Key, name);
    });
}

LSTATUS RegistryStore::GetValue(RegistryKeyId key, const RegistryName& name,
                                const RegistryValueBuffer& value) {
    const LSTATUS failure = open(Use::Read, key, ERROR_FILE_NOT_FOUND);
    if (failure != 0)
        return failure;
    RegistryStatement query(database, RegistryQuery::GetValue);
    const LSTATUS result = query.Bind(key).Bind(name.folded).Step();
    if (result == kNoRow)
        return whyMissing(key, ERROR_FILE_NOT_FOUND);
    return result != kFound ? result : deliverValue(query, 0, value);
}

LSTATUS RegistryStore::GetValueAt(RegistryKeyId key, DWORD index, const RegistryNameBuffer& name,
                                  const RegistryValueBuffer& value) {
    return enumerate(values, key, index, [&](const RegistryStatement& row) {
        const LSTATUS nameResult = deliverName(row, kNameColumn, NameKind::Value, name);
        const LSTATUS valueResult = deliverValue(row, kNameColumn + 1, value);
        return nameResult != 0 ? nameResult : valueResult;
    });
}

LSTATUS RegistryStore::SetValue(RegistryKeyId key, const RegistryName& name, DWORD type, const void* data,
                                DWORD size) {
    const LSTATUS failure = open(key == kRootKey ? Use::Create : Use::Write, key, ERROR_FILE_NOT_FOUND);
    if (failure != 0)
        return failure;
    RegistryStatement setting(database, RegistryQuery::SetValue);
    const LSTATUS result =
        setting.Bind(key).Bind(name.folded).Bind(name.text).Bind(type).Bind(data, size).Run();
    return result == 0 && setting.Changes() == 0 ? static_cast<LSTATUS>(ERROR_KEY_DELETED) : result;
}

LSTATUS RegistryStore::DeleteValue(RegistryKeyId key, const RegistryName& name) {
    const LSTATUS failure = open(Use::Write, key, ERROR_FILE_NOT_FOUND);
    if (failure != 0)
        return failure;
    RegistryStatement deletion(database, RegistryQuery::DeleteValue);
    const LSTATUS result = deletion.Bind(key).Bind(name.folded).Run();
    return result == 0 && deletion.Changes() == 0 ? whyMissing(key, ERROR_FILE_NOT_FOUND) : result;
}

void RegistryStore::Close() {
    forgetPlaces();
    database.Close();
}

void RegistryStore::Suspend() {
    forgetPlaces();
    database.Suspend();
}

void RegistryStore::forgetPlaces() {
    for (Enumeration* enumeration : {&subKeys, &values})
        enumeration->cursor.MoveTo(Cursor());
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
    RegistryStatement insertion(database, RegistryQuery::AddKey);
    const LSTATUS result = insertion.Bind(parent).Bind(name.folded).Bind(name.text).Bind(depth).Run();
    if (result == 0)
        *key = insertion.InsertedRow();
    return result;
}

// Continues after the item that was listed last if nothing has changed since, and otherwise counts from the
// start. Each item must come after the one before it, so that a list ends whatever the store contains.
template<class Deliver>
LSTATUS RegistryStore::enumerate(Enumeration& enumeration, RegistryKeyId key, DWORD index, Deliver deliver) {
    LSTATUS result = open(Use::Read, key, ERROR_NO_MORE_ITEMS);
    sqlite3_int64 mark = 0;
    if (result == 0)
        result = database.GetChangeMark(&mark);
    if (result != 0)
        return result;

    Cursor& cursor = enumeration.cursor;
    const bool isNext =
        cursor.place != nullptr && cursor.key == key && cursor.index + 1 == index && cursor.mark == mark;
    RegistryStatement query(database, isNext ? enumeration.byPredecessor : enumeration.byIndex);
    query.Bind(key);
    if (isNext)
        query.Bind(cursor.place);
    else
        query.Bind(index);
    result = query.Step();
    if (result == kNoRow)
        return whyMissing(key, ERROR_NO_MORE_ITEMS);
    if (result != kFound)
        return result;
    if (query.Integer(kIsInPlaceColumn) == 0)
        return kDamaged;
    cursor.MoveTo({key, index, mark, query.Copy(kPlaceColumn)});
    return deliver(query);
}

} // namespace Tarn::Platform::Posix
