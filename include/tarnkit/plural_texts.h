/// \file
/// The plural forms of a resource module: messages whose text depends on a number.
///
/// A module with such messages exports one object of this form under the name ___TarnkitPlurals; the message
/// compiler writes its definition. A module without them exports none. The forms are strings of the module;
/// that of the message's own id is the last form, which is also the text when there is no number.
#pragma once

#include <tarnkit/export.h>

namespace Tarn {

/// The rule of a language.
struct CPluralRule {
    int formCount;                                           ///< at least 2
    unsigned long long (*formOf)(unsigned long long number); ///< the number of the form for a number, from 0
};

/// A message with plural forms.
struct CPluralText {
    int id;        ///< of the message
    int parameter; ///< that is the number: 0 is %0
    int firstForm; ///< the id of the first form; those of all but the last follow each other
    int rule;      ///< the index of its rule
};

/// What a module exports.
struct CPluralTexts {
    /// The layout that this header describes; an object of another version is not read.
    static constexpr unsigned kVersion = 1;

    unsigned version;         ///< `kVersion`
    int count;                ///< of the texts
    const CPluralText* texts; ///< sorted by id, no id twice
    const CPluralRule* rules; ///< those that the texts name by their indices
};

} // namespace Tarn

extern "C" {
/// Each resource module with plural forms defines its own.
TARNKIT_MODULE_EXPORT extern const Tarn::CPluralTexts ___TarnkitPlurals;
}
