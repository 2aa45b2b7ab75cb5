// Reads what can be read of a database of the POSIX port's registry, however damaged it is.
//
// SQLite gives up a table at the first page that is damaged. This reads the pages itself, those of the log
// included, and follows the tables from page to page; where a page that leads to others cannot be read, it
// takes the pages that nothing else leads to and that the database does not count as free.
#pragma once

#include "platform/posix/memory/allocator.h"

#include <cstdint>
#include <functional>
#include <map>

namespace Tarn::Platform::Posix {

struct SalvagedKey {
    std::int64_t parent;
    String name; ///< as the database stores it
};

struct SalvagedValue {
    String name;
    std::int64_t type;
    String data;
};

template<class K, class V>
using Map = std::map<K, V, std::less<>, Allocator<std::pair<const K, V>>>;

struct Salvage {
    Map<std::int64_t, SalvagedKey> keys;                              ///< by id
    Map<std::pair<std::int64_t, std::int64_t>, SalvagedValue> values; ///< by key and id
    std::uint64_t unreadablePages = 0;
    bool isLogDamaged = false;
};

/// The contents of a database, of the file and of its log. Throws std::bad_alloc.
Salvage SalvageRegistry(const String& database, const String& log);

} // namespace Tarn::Platform::Posix
