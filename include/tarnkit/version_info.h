/// \file
/// CVerInfo: the version record of a module.
///
/// Version records are not read on any system; this class is a placeholder for them. Threads may use
/// different objects at the same time; several may use one object only if none of them changes it.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/layout.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// The version record of a module; see the top of this header.
class TARNKIT_API CVerInfo {
public:
    /// For the module or file with this name, which need not exist.
    explicit CVerInfo(const CUnicodeString& name);
    CVerInfo(const CVerInfo& other);
    CVerInfo& operator=(const CVerInfo&) = delete;

    /// Always false, since no record is ever read; `information` is not changed.
    bool GetFixedFileInfo(VS_FIXEDFILEINFO& information) const;

    /// The text with this name in the record; always empty, since no record is ever read.
    CUnicodeString GetString(const char16_t* name) const;

private:
    CArray<BYTE, CurrentMemoryManager> record;
    const BYTE* fixedInfo = nullptr;

    friend struct CLayout<CVerInfo>;

    void init(const CUnicodeString& name);
};
TARNKIT_LAYOUT(CVerInfo, 16, record, fixedInfo);

} // namespace Tarn
