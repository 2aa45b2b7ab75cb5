// Opening a file that others have open for a moment only, to read it whole, to replace it or to append to it.
#pragma once

#include <tarnkit/file.h>

#include <chrono>

namespace Tarn {

/// How long to wait for a document, whose user is waiting, too.
inline constexpr std::chrono::milliseconds kWaitForDocument{300};

/// Opens as `CFile::Open` does. While others have the file open so that it cannot be opened, tries again,
/// and fails only after `longestWait`.
void OpenPatiently(CFile& file, const CUnicodeString& fileName, unsigned flags,
                   std::chrono::milliseconds longestWait = kWaitForDocument);

} // namespace Tarn
