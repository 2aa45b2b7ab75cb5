// What calls have found in a store: the keys at the ends of paths, and values. Each is kept under the text
// that was asked for, so that one that is asked for again need be neither parsed nor folded, and counts only
// for the version of the database that it was read from. At most one of each 256 hash values is kept, none
// with a name above 256 units or data above 1,024 bytes: 30 KB for a few settings, 430 KB at most.
#pragma once

#include "platform/posix/memory/allocator.h"

#include <tarnkit/types.h>

#include <cstdint>
#include <string_view>

namespace Tarn::Platform::Posix {

class RegistryCache {
public:
    enum class Kind { Path, Value };

    struct Question {
        Kind kind;
        std::int64_t key;
        std::u16string_view text;
    };

    struct Answer {
        LSTATUS result;
        std::int64_t key; ///< at the end of the path
        DWORD type;
        std::string_view data;
    };

    static constexpr std::size_t kLongestData = 1024;

    /// Whether the answer is known. Its data is valid until the next call.
    bool Find(std::uint64_t version, const Question& question, Answer* answer) const;
    void Keep(std::uint64_t version, const Question& question, const Answer& answer);

    /// Frees the memory.
    void Clear();

private:
    static constexpr std::size_t kPlaces = 256;
    static constexpr std::size_t kLongestText = 256;

    struct Item {
        std::uint64_t version = 0; // none has this one
        Kind kind;
        std::int64_t key;
        U16String text;
        Answer answer;
        String data;
    };
    struct Table {
        Item items[kPlaces];
    };

    static std::size_t placeOf(const Question& question);

    Table* table = nullptr;
};

} // namespace Tarn::Platform::Posix
