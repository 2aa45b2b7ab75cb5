// CVerInfo: the version record of a module.
//
// The handheld platform keeps no version records, so there is never one to read. A value; one thread at a
// time.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/layout.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

class TARNKIT_API CVerInfo {
public:
    /// For the module or file of that name, which need not exist.
    explicit CVerInfo(const CUnicodeString& name);
    CVerInfo(const CVerInfo& other);
    CVerInfo& operator=(const CVerInfo&) = delete;

    /// False, with `information` untouched, when there is no record: always.
    bool GetFixedFileInfo(VS_FIXEDFILEINFO& information) const;

    /// The text of that name in the record; empty when there is none: always.
    CUnicodeString GetString(const char16_t* name) const;

private:
    CArray<BYTE, CurrentMemoryManager> record;
    const BYTE* fixedInfo = nullptr;

    friend struct CLayout<CVerInfo>;

    void init(const CUnicodeString& name);
};
TARNKIT_LAYOUT(CVerInfo, 16, record, fixedInfo);

} // namespace Tarn
