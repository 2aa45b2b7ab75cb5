// The write-ahead log beside a database of the POSIX port's registry.
//
// SQLite takes a log whose header it cannot read for an empty one, and overwrites it. The header is on the
// disk before anything follows it, so no power cut leaves such a log: it was damaged, and may still hold
// everything.
#pragma once

#include <cstdint>
#include <string_view>

namespace Tarn::Platform::Posix {

enum class RegistryLog {
    Empty,    ///< there is none, or nothing follows its header
    Readable, ///< up to a point that SQLite finds; or this user may not look, and SQLite will report that
    Damaged
};

RegistryLog CheckRegistryLog(const char* file);

/// The running sum by which each part of a log says that it and all before it are intact.
class RegistryLogSum {
public:
    /// Takes the header of 32 bytes. False if it is damaged.
    bool Begin(std::string_view header);
    /// Takes a page with its header of 24 bytes. False if it is damaged.
    bool Continue(std::string_view frame);

private:
    void add(std::string_view bytes);

    std::uint32_t first = 0, second = 0;
    bool isBigEndian = false;
};

} // namespace Tarn::Platform::Posix
