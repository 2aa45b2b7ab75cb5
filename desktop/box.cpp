#include "desktop/box.h"

#include "platform/message_box_buttons.h"

#include <algorithm>

namespace Tarn {

namespace {

// A set that the terminal and the handlers that ask nobody do not know.
constexpr Platform::CMessageBoxButtons kCancelTryContinue = {
    MB_CANCELTRYCONTINUE, 3, {IDCANCEL, IDTRYAGAIN, IDCONTINUE}};

const Platform::CMessageBoxButtons& buttonsOf(UINT flags) {
    const bool isExtra = (flags & MB_TYPEMASK) == MB_CANCELTRYCONTINUE;
    return isExtra ? kCancelTryContinue : Platform::ButtonsOf(flags);
}

// A single button is the answer in any case.
int escapeOf(std::span<const int> buttons) {
    if (buttons.size() == 1)
        return buttons[0];
    return std::ranges::find(buttons, IDCANCEL) != buttons.end() ? IDCANCEL : 0;
}

TBoxIcon iconOf(UINT flags) {
    switch (flags & MB_ICONMASK) {
    case MB_ICONERROR:
        return TBoxIcon::Error;
    case MB_ICONQUESTION:
        return TBoxIcon::Question;
    case MB_ICONWARNING:
        return TBoxIcon::Warning;
    case MB_ICONINFORMATION:
        return TBoxIcon::Information;
    default:
        return TBoxIcon::None;
    }
}

} // namespace

CBoxLook::CBoxLook(UINT flags)
    : buttons(buttonsOf(flags).ids, static_cast<std::size_t>(buttonsOf(flags).count)),
      preselected(buttonsOf(flags).ids[buttonsOf(flags).Preselected(flags)]), escape(escapeOf(buttons)),
      icon(iconOf(flags)), comesToFront((flags & MB_SETFOREGROUND) != 0),
      staysOnTop((flags & (MB_TOPMOST | MB_SYSTEMMODAL)) != 0), isRightToLeft((flags & MB_RTLREADING) != 0) {}

} // namespace Tarn
