// The string table of a resource module on the systems that have no resources of their own.
//
// A resource module exports one object of this shape under the name ___TarnkitStrings; the message compiler
// writes its definition. Plain constant data: the module owns all of it and it lives as long as the module is
// loaded. On Windows a string table is a resource and this header is not used.
#pragma once

#include <tarnkit/export.h>

namespace Tarn {

struct CResourceString {
    int id; // 0..65535
    const char16_t* text;
    int length; // units of `text`; a zero need not follow them
};

struct CResourceStrings {
    /// The layout that this header describes; a table of another version is not read.
    static constexpr unsigned kVersion = 1;

    unsigned version;
    int count;
    const CResourceString* strings; // sorted by id, no id twice
};

} // namespace Tarn

extern "C" {
/// What a resource module defines, one table for each.
TARNKIT_MODULE_EXPORT extern const Tarn::CResourceStrings ___TarnkitStrings;
}
