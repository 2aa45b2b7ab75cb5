/// \file
/// CVerInfo: the version record of a module.
///
/// No version records are read on any system; the class is the place where they would be. A value; for one
/// thread at a time.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/layout.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

class TARNKIT_API CVerInfo {
public:
    /// For the module or file with this name, which need not exist.
    explicit CVerInfo(const CUnicodeString& name);
    CVerInfo(const CVerInfo& other);
    CVerInfo& operator=(const CVerInfo&) = delete;

    /// False when there is no record, which is always so; `information` is not changed.
    bool GetFixedFileInfo(VS_FIXEDFILEINFO& information) const;

    /// The text with this name in the record; empty when there is none, which is always so.
    CUnicodeString GetString(const char16_t* name) const;

private:
    CArray<BYTE, CurrentMemoryManager> record;
    const BYTE* fixedInfo = nullptr;

    friend struct CLayout<CVerInfo>;

    void init(const CUnicodeString& name);
};
TARNKIT_LAYOUT(CVerInfo, 16, record, fixedInfo);

} // namespace Tarn
