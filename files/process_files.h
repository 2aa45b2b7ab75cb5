// What the process remembers of files.
#pragma once

namespace Tarn::FileSystem {

/// Called when the library is loaded: prepares for forks of the process.
void AttachPaths();

} // namespace Tarn::FileSystem

namespace Tarn::TempFile {

/// The same for the list of temporary files.
void AttachTempFiles();

} // namespace Tarn::TempFile
