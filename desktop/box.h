// A message box that a toolkit shows, and what its flags mean.
#pragma once

#include <tarnkit/types.h>

#include <span>

namespace Tarn {

class CToolkitWindows;

struct CBox {
    HWND owner;
    const char16_t* text;
    const char16_t* caption;
    UINT flags;
    int answer = 0; // 0 until there is one

    // While the box is shown.
    CToolkitWindows* shownBy = nullptr;
    bool hasDisabledOwner = false;
    void* window = nullptr; // the toolkit's
    void* loop = nullptr;   // the toolkit's, while the thread of the windows waits for the answer
};

enum class TBoxIcon { None, Error, Question, Warning, Information };

struct CBoxLook {
    explicit CBoxLook(UINT flags);

    std::span<const int> buttons; // from left to right
    int preselected;              // the button
    int escape;                   // the answer that closing the box gives; 0 if it cannot be closed
    TBoxIcon icon;
    bool comesToFront;
    bool staysOnTop;
    bool isRightToLeft;
};

} // namespace Tarn
