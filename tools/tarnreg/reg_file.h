// Registry files (.reg): version 5, which is UTF-16 with a byte order mark, and version 4 in the ANSI code
// page.
//
// What is written is what the system's own editor writes, line by line, except that a text with line breaks
// is written as bytes (hex(1)), which every reader takes for the same: Windows writes line breaks as they
// are, but Wine's editors write escapes and lose a text that has them as they are. Reading takes all three,
// and also version 5 in UTF-8 or in the ANSI code page, comments behind values, and the escape \0.
#pragma once

#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

#include <string>
#include <string_view>
#include <vector>

namespace tarnreg {

struct Value {
    std::u16string name; // empty for the unnamed value
    DWORD type = 0;
    std::string data;
    bool isDeleted = false;
    int line = 0; // in the file that it was read from

    bool operator==(const Value& other) const {
        return name == other.name && type == other.type && data == other.data && isDeleted == other.isDeleted;
    }
};

struct Key {
    std::u16string path; // from the root key's full name on
    std::vector<Value> values;
    bool isDeleted = false; // with everything below it
    int line = 0;

    bool operator==(const Key& other) const {
        return path == other.path && values == other.values && isDeleted == other.isDeleted;
    }
};

enum class Version { Four = 4, Five = 5 };

/// The keys in the order of the file. Raises ERR_TARNREG_BAD_FILE, with the number of the line, at the first
/// thing that is not understood.
std::vector<Key> ParseRegFile(std::string_view bytes, const Tarn::CUnicodeString& fileName);

/// The bytes of a file. Raises ERR_TARNREG_CANT_EXPORT for what the version cannot express.
std::string WriteRegFile(const std::vector<Key>& keys, Version version);

/// The lines of a key and its values as version 5 has them, without the empty line at the end.
std::u16string LinesOf(const Key& key);

Tarn::CUnicodeString ToText(std::u16string_view text);

} // namespace tarnreg
