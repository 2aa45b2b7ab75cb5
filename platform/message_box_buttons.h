// The buttons of a message box, for code that chooses one without showing it.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform {

inline constexpr UINT kButtonSetMask = 0xF;
inline constexpr UINT kDefaultButtonMask = 0xF00;
inline constexpr int kMostButtons = 3;

struct CMessageBoxButtons {
    UINT set; // MB_OK, ...
    int count;
    int ids[kMostButtons];

    /// The index of the preselected button. A button that the set does not have counts as the first.
    constexpr int Preselected(UINT flags) const {
        const UINT button = flags & kDefaultButtonMask;
        const int index = button == MB_DEFBUTTON2 ? 1 : button == MB_DEFBUTTON3 ? 2 : 0;
        return index < count ? index : 0;
    }
};

inline constexpr CMessageBoxButtons kMessageBoxButtons[] = {
    {MB_OK, 1, {IDOK}},
    {MB_OKCANCEL, 2, {IDOK, IDCANCEL}},
    {MB_ABORTRETRYIGNORE, 3, {IDABORT, IDRETRY, IDIGNORE}},
    {MB_YESNOCANCEL, 3, {IDYES, IDNO, IDCANCEL}},
    {MB_YESNO, 2, {IDYES, IDNO}},
    {MB_RETRYCANCEL, 2, {IDRETRY, IDCANCEL}},
};
/// Stands for every set that is not in the table: there is no choice, and this is the answer.
inline constexpr CMessageBoxButtons kUnknownButtons = {kButtonSetMask, 1, {IDABORT}};

constexpr const CMessageBoxButtons& ButtonsOf(UINT flags) {
    for (const CMessageBoxButtons& row : kMessageBoxButtons)
        if (row.set == (flags & kButtonSetMask))
            return row;
    return kUnknownButtons;
}

} // namespace Tarn::Platform
