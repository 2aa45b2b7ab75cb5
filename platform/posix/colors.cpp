// The system colours: those of the standard desktop scheme until the application sets others.
#include "platform/platform.h"

#include <atomic>
#include <iterator>

namespace Tarn::Platform {
namespace {

constexpr DWORD rgb(DWORD red, DWORD green, DWORD blue) { return red | green << 8 | blue << 16; }

constexpr DWORD kBlack = rgb(0, 0, 0);
constexpr DWORD kDarkGrey = rgb(64, 64, 64);
constexpr DWORD kGrey = rgb(128, 128, 128);
constexpr DWORD kFace = rgb(212, 208, 200);
constexpr DWORD kWhite = rgb(255, 255, 255);
constexpr DWORD kNavy = rgb(10, 36, 106);

// By colour index. One thread may read a colour while another sets it.
constinit std::atomic<DWORD> colors[] = {
    kFace,             // COLOR_SCROLLBAR
    rgb(58, 110, 165), // COLOR_BACKGROUND
    kNavy,             // COLOR_ACTIVECAPTION
    kGrey,             // COLOR_INACTIVECAPTION
    kFace,             // COLOR_MENU
    kWhite,            // COLOR_WINDOW
    kBlack,            // COLOR_WINDOWFRAME
    kBlack,            // COLOR_MENUTEXT
    kBlack,            // COLOR_WINDOWTEXT
    kWhite,            // COLOR_CAPTIONTEXT
    kFace,             // COLOR_ACTIVEBORDER
    kFace,             // COLOR_INACTIVEBORDER
    kGrey,             // COLOR_APPWORKSPACE
    kNavy,             // COLOR_HIGHLIGHT
    kWhite,            // COLOR_HIGHLIGHTTEXT
    kFace,             // COLOR_BTNFACE
    kGrey,             // COLOR_BTNSHADOW
    kGrey,             // COLOR_GRAYTEXT
    kBlack,            // COLOR_BTNTEXT
    kFace,             // COLOR_INACTIVECAPTIONTEXT
    kWhite,            // COLOR_BTNHIGHLIGHT
    kDarkGrey,         // COLOR_3DDKSHADOW
    kFace,             // COLOR_3DLIGHT
    kBlack,            // COLOR_INFOTEXT
    rgb(255, 255, 225) // COLOR_INFOBK
};

std::atomic<DWORD>* findColor(int index) {
    return index >= 0 && index < static_cast<int>(std::size(colors)) ? &colors[index] : nullptr;
}

} // namespace

DWORD GetSysColor(int index) {
    const std::atomic<DWORD>* color = findColor(index);
    return color == nullptr ? 0 : color->load(std::memory_order_relaxed);
}

BOOL SetSysColors(int count, const INT* indices, const DWORD* values) {
    constexpr DWORD kColorBits = 0x00FFFFFF;
    for (int i = 0; i < count; i++)
        if (std::atomic<DWORD>* color = findColor(indices[i]))
            color->store(values[i] & kColorBits, std::memory_order_relaxed);
    return TRUE;
}

} // namespace Tarn::Platform

// The system's own calls, as clients know them.
DWORD GetSysColor(int index) { return Tarn::Platform::GetSysColor(index); }

BOOL SetSysColors(int count, const INT* indices, const DWORD* values) {
    return Tarn::Platform::SetSysColors(count, indices, values);
}
