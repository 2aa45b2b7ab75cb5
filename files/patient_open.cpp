#include "files/patient_open.h"

#include <tarnkit/exceptions.h>

#include <thread>

namespace Tarn {

void OpenPatiently(CFile& file, const CUnicodeString& fileName, unsigned flags,
                   std::chrono::milliseconds longestWait) {
    constexpr std::chrono::milliseconds kBetweenTries{1};
    const auto end = std::chrono::steady_clock::now() + longestWait;
    for (;;) {
        try {
            file.Open(fileName, flags);
            return;
        } catch (CFileException* e) {
            if (e->ErrorCode() != ERROR_SHARING_VIOLATION || std::chrono::steady_clock::now() >= end)
                throw;
            e->Delete();
        }
        std::this_thread::sleep_for(kBetweenTries);
    }
}

} // namespace Tarn
