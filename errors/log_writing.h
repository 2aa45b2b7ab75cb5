// What the handlers that write logs share.
#pragma once

#include <tarnkit/file.h>

#include "memory/process_mutex.h"

#include <chrono>

namespace Tarn {

/// Messages of all threads are written to log files one after the other. Recursive, because a failure to
/// write may itself be shown.
extern constinit CRecursiveProcessMutex logMutex;

/// How long to wait for other processes, each of which has the log for one message.
inline constexpr std::chrono::seconds kWaitForOtherProcesses{2};

/// Calls `write` at the end of a log. If it throws a file exception, such as for a full disk, what it has
/// written is cut off again.
template<class Write>
void AppendWhole(CFile& log, Write write) {
    const Int64 end = log.Seek(Int64{0}, CFile::End);
    try {
        write(end);
    } catch (CFileException*) {
        try {
            log.SetLength(end);
        } catch (CFileException* e) { // nor can a device be cut
            e->Delete();
        }
        throw;
    }
}

} // namespace Tarn
