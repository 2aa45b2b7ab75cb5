// The write-ahead log beside a database of the POSIX port's registry.
//
// SQLite takes a log whose header it cannot read for an empty one, and overwrites it. The header is on the
// disk before anything follows it, so no power cut leaves such a log: it was damaged, and may still hold
// everything.
#pragma once

namespace Tarn::Platform::Posix {

enum class RegistryLog {
    Empty,    ///< there is none, or nothing follows its header
    Readable, ///< up to a point that SQLite finds; or this user may not look, and SQLite will report that
    Damaged
};

RegistryLog CheckRegistryLog(const char* file);

} // namespace Tarn::Platform::Posix
