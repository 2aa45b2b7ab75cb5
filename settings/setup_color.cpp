#include <tarnkit/setup.h>
#include <tarnkit/text_of_values.h>

#include "platform/platform.h"

#include <string_view>

namespace Tarn {

namespace {

constexpr int kComponentBits = 8;
constexpr int kComponentMask = 0xFF;
constexpr std::u16string_view kComponents = u"RGB"; // from the lowest bits up

struct CSysColorName {
    const char16_t* name;
    int index;
};

#define TARNKIT_SYS_COLOR(name)                                                                              \
    { u## #name, kSysColorFlag + COLOR_##name }

// In the order in which they are searched, by name and by index.
constexpr CSysColorName kSysColors[] = {TARNKIT_SYS_COLOR(3DDKSHADOW),
                                        TARNKIT_SYS_COLOR(3DFACE),
                                        TARNKIT_SYS_COLOR(BTNFACE),
                                        TARNKIT_SYS_COLOR(3DHILIGHT),
                                        TARNKIT_SYS_COLOR(3DHIGHLIGHT),
                                        TARNKIT_SYS_COLOR(BTNHIGHLIGHT),
                                        TARNKIT_SYS_COLOR(3DLIGHT),
                                        TARNKIT_SYS_COLOR(3DSHADOW),
                                        TARNKIT_SYS_COLOR(BTNSHADOW),
                                        TARNKIT_SYS_COLOR(ACTIVEBORDER),
                                        TARNKIT_SYS_COLOR(ACTIVECAPTION),
                                        TARNKIT_SYS_COLOR(APPWORKSPACE),
                                        TARNKIT_SYS_COLOR(BACKGROUND),
                                        TARNKIT_SYS_COLOR(DESKTOP),
                                        TARNKIT_SYS_COLOR(BTNTEXT),
                                        TARNKIT_SYS_COLOR(CAPTIONTEXT),
                                        TARNKIT_SYS_COLOR(GRAYTEXT),
                                        TARNKIT_SYS_COLOR(HIGHLIGHT),
                                        TARNKIT_SYS_COLOR(HIGHLIGHTTEXT),
                                        TARNKIT_SYS_COLOR(INACTIVEBORDER),
                                        TARNKIT_SYS_COLOR(INACTIVECAPTION),
                                        TARNKIT_SYS_COLOR(INACTIVECAPTIONTEXT),
                                        TARNKIT_SYS_COLOR(INFOBK),
                                        TARNKIT_SYS_COLOR(INFOTEXT),
                                        TARNKIT_SYS_COLOR(MENU),
                                        TARNKIT_SYS_COLOR(MENUTEXT),
                                        TARNKIT_SYS_COLOR(SCROLLBAR),
                                        TARNKIT_SYS_COLOR(WINDOW),
                                        TARNKIT_SYS_COLOR(WINDOWFRAME),
                                        TARNKIT_SYS_COLOR(WINDOWTEXT)};

#undef TARNKIT_SYS_COLOR

// The platform's calls take the indices without the flag.
int currentSysColor(int index) { return static_cast<int>(Platform::GetSysColor(index & ~kSysColorFlag)); }

// Cuts `text` at its first "=" into trimmed halves; false when there is none.
bool splitAtSign(const CUnicodeString& text, CUnicodeString& left, CUnicodeString& right) {
    const int sign = text.Find(u'=');
    if (sign < 0)
        return false;
    left = text.Left(sign);
    right = text.Mid(sign + 1);
    left.Trim();
    right.Trim();
    return true;
}

bool parseSysColor(const CUnicodeString& text, int& color) {
    CUnicodeString left, right;
    if (!splitAtSign(text, left, right) || left.CompareNoCase(u"Sys") != 0)
        return false;
    for (const CSysColorName& row : kSysColors)
        if (right.CompareNoCase(row.name) == 0) {
            color = currentSysColor(row.index);
            return true;
        }
    return false;
}

// Puts a component such as "R=255" into `color`.
bool parseComponent(const CUnicodeString& text, int& color) {
    CUnicodeString letter, number;
    if (!splitAtSign(text, letter, number) || letter.GetLength() != 1)
        return false;
    letter.MakeUpper();
    const std::size_t place = kComponents.find(letter[0]);
    int value = 0;
    if (place == kComponents.npos || !number.Value(value, 10))
        return false;
    const int shift = static_cast<int>(place) * kComponentBits;
    color = (color & ~(kComponentMask << shift)) | (value & kComponentMask) << shift;
    return true;
}

int colorFromString(const CUnicodeString& text, int defaultColor) {
    int color = 0;
    if (parseSysColor(text, color) || text.IsEmpty())
        return color;
    for (int start = 0, comma = 0; comma >= 0; start = comma + 1) {
        comma = text.Find(u',', start);
        const CUnicodeString part = comma < 0 ? text.Mid(start) : text.Mid(start, comma - start);
        if (!parseComponent(part, color))
            return defaultColor;
    }
    return color;
}

CUnicodeString colorToString(int color) {
    return Format(u"R=%d, G=%d, B=%d", color & kComponentMask, color >> kComponentBits & kComponentMask,
                  color >> 2 * kComponentBits & kComponentMask);
}

template<class Setup>
void setSysColor(Setup& setup, int index) {
    setup.Set(currentSysColor(index));
    const char16_t* name = u"";
    for (const CSysColorName& row : kSysColors)
        if (row.index == index) {
            name = row.name;
            break;
        }
    setup.SetString(Format(u"Sys=%s", name));
}

} // namespace

CSetupColor::CSetupColor(const CUnicodeString& keyPath, const CUnicodeString& name,
                         unsigned long defaultColor, TSetupType setupType)
    : CSetup(keyPath, name, static_cast<int>(defaultColor), setupType) {}

CSetupColor::~CSetupColor() = default;

int CSetupColor::ConvertFromString(CUnicodeString text) const { return colorFromString(text, GetDefault()); }

CUnicodeString CSetupColor::ConvertToString(int color) const { return colorToString(color); }

void CSetupColor::SetSysColor(int sysColorIndex) { setSysColor(*this, sysColorIndex); }

CCacheSetupColor::CCacheSetupColor(const CUnicodeString& keyPath, const CUnicodeString& name,
                                   unsigned long defaultColor, TSetupType setupType)
    : CCacheSetup(keyPath, name, static_cast<int>(defaultColor), setupType) {}

CCacheSetupColor::~CCacheSetupColor() = default;

int CCacheSetupColor::ConvertFromString(CUnicodeString text) const {
    return colorFromString(text, GetDefault());
}

CUnicodeString CCacheSetupColor::ConvertToString(int color) const { return colorToString(color); }

void CCacheSetupColor::SetSysColor(int sysColorIndex) { setSysColor(*this, sysColorIndex); }

} // namespace Tarn
