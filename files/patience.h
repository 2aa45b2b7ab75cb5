// Waiting for others who have a file open for a moment only, to read it whole, to replace it or to append.
#pragma once

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>

#include <chrono>
#include <thread>

namespace Tarn {

/// How long to wait for a document, whose user is waiting, too.
inline constexpr std::chrono::milliseconds kWaitForDocument{300};

/// Repeats `action` as long as it throws a file exception for which `mayPass(code)` is true, and throws that
/// only after `longestWait`.
template<class Action, class MayPass>
void TryPatiently(std::chrono::milliseconds longestWait, Action action, MayPass mayPass) {
    constexpr std::chrono::milliseconds kBetweenTries{1};
    const auto end = std::chrono::steady_clock::now() + longestWait;
    for (;;) {
        try {
            return action();
        } catch (CFileException* e) {
            if (!mayPass(e->ErrorCode()) || std::chrono::steady_clock::now() >= end)
                throw;
            e->Delete();
        }
        std::this_thread::sleep_for(kBetweenTries);
    }
}

/// Opens as `CFile::Open` does, but waits for others who have the file open.
inline void OpenPatiently(CFile& file, const CUnicodeString& fileName, unsigned flags,
                          std::chrono::milliseconds longestWait = kWaitForDocument) {
    TryPatiently(
        longestWait, [&] { file.Open(fileName, flags); },
        [](DWORD code) { return code == ERROR_SHARING_VIOLATION; });
}

} // namespace Tarn
