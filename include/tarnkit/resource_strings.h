/// \file
/// The string table of a resource module on systems whose modules have no resources.
///
/// A resource module exports one object of this form under the name ___TarnkitStrings; the message compiler
/// writes its definition. It is constant data that the module owns and that lives as long as the module is
/// loaded. On Windows a string table is a resource and this header is not used.
#pragma once

#include <tarnkit/export.h>

namespace Tarn {

/// A text of a module.
struct CResourceString {
    int id;               ///< 0 to 65535
    const char16_t* text; ///< belongs to the module
    int length;           ///< of `text` in units; it need not end with a zero
};

/// What a module exports.
struct CResourceStrings {
    /// The layout that this header describes; a table of another version is not read.
    static constexpr unsigned kVersion = 1;

    unsigned version;               ///< `kVersion`
    int count;                      ///< of the strings
    const CResourceString* strings; ///< sorted by id, no id twice
};

} // namespace Tarn

extern "C" {
/// Each resource module defines its own.
TARNKIT_MODULE_EXPORT extern const Tarn::CResourceStrings ___TarnkitStrings;
}
