// The system's colours.
#include "platform/platform.h"

namespace Tarn::Platform {

DWORD GetSysColor(int index) { return ::GetSysColor(index); }

BOOL SetSysColors(int count, const INT* indices, const DWORD* values) {
    return ::SetSysColors(count, indices, values);
}

} // namespace Tarn::Platform
