#include <tarnkit/version_info.h>

namespace Tarn {

CVerInfo::CVerInfo(const CUnicodeString& name) { init(name); }

CVerInfo::CVerInfo(const CVerInfo& other) : record(other.record) {
    if (other.fixedInfo != nullptr)
        fixedInfo = record.Ptr() + (other.fixedInfo - other.record.Ptr());
}

// There are no version resources to read; the buffer stays empty.
void CVerInfo::init(const CUnicodeString&) {}

bool CVerInfo::GetFixedFileInfo(VS_FIXEDFILEINFO&) const { return false; }

CUnicodeString CVerInfo::GetString(const char16_t*) const { return CUnicodeString(); }

} // namespace Tarn
