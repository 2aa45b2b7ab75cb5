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

// In the order in which they are searched, by name and by index.
constexpr CSysColorName kSysColors[] = {{u"3DDKSHADOW", COLOR_3DDKSHADOW},
                                        {u"3DFACE", COLOR_3DFACE},
                                        {u"BTNFACE", COLOR_BTNFACE},
                                        {u"3DHILIGHT", COLOR_3DHILIGHT},
                                        {u"3DHIGHLIGHT", COLOR_3DHIGHLIGHT},
                                        {u"BTNHIGHLIGHT", COLOR_BTNHIGHLIGHT},
                                        {u"3DLIGHT", COLOR_3DLIGHT},
                                        {u"3DSHADOW", COLOR_3DSHADOW},
                                        {u"BTNSHADOW", COLOR_BTNSHADOW},
                                        {u"ACTIVEBORDER", COLOR_ACTIVEBORDER},
                                        {u"ACTIVECAPTION", COLOR_ACTIVECAPTION},
                                        {u"APPWORKSPACE", COLOR_APPWORKSPACE},
                                        {u"BACKGROUND", COLOR_BACKGROUND},
                                        {u"DESKTOP", COLOR_DESKTOP},
                                        {u"BTNTEXT", COLOR_BTNTEXT},
                                        {u"CAPTIONTEXT", COLOR_CAPTIONTEXT},
                                        {u"GRAYTEXT", COLOR_GRAYTEXT},
                                        {u"HIGHLIGHT", COLOR_HIGHLIGHT},
                                        {u"HIGHLIGHTTEXT", COLOR_HIGHLIGHTTEXT},
                                        {u"INACTIVEBORDER", COLOR_INACTIVEBORDER},
                                        {u"INACTIVECAPTION", COLOR_INACTIVECAPTION},
                                        {u"INACTIVECAPTIONTEXT", COLOR_INACTIVECAPTIONTEXT},
                                        {u"INFOBK", COLOR_INFOBK},
                                        {u"INFOTEXT", COLOR_INFOTEXT},
                                        {u"MENU", COLOR_MENU},
                                        {u"MENUTEXT", COLOR_MENUTEXT},
                                        {u"SCROLLBAR", COLOR_SCROLLBAR},
                                        {u"WINDOW", COLOR_WINDOW},
                                        {u"WINDOWFRAME", COLOR_WINDOWFRAME},
                                        {u"WINDOWTEXT", COLOR_WINDOWTEXT}};

int currentSysColor(int index) { return static_cast<int>(Platform::GetSysColor(index)); }

// Splits `text` at its first "=" into trimmed halves; false if there is none.
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

// Sets the component that a text such as "R=255" names.
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

int colorOfMarkedIndex(int index) { return currentSysColor(index & ~kSysColorFlag); }

CUnicodeString textOfMarkedIndex(int index) {
    const char16_t* name = u"";
    for (const CSysColorName& row : kSysColors)
        if (kSysColorFlag + row.index == index) {
            name = row.name;
            break;
        }
    return Format(u"Sys=%s", name);
}

} // namespace

CSetupColor::CSetupColor(const CUnicodeString& keyPath, const CUnicodeString& name,
                         unsigned long defaultColor, TSetupType setupType)
    : CSetup(keyPath, name, static_cast<int>(defaultColor), setupType) {}

CSetupColor::~CSetupColor() = default;

int CSetupColor::ConvertFromString(CUnicodeString text) const { return colorFromString(text, GetDefault()); }

CUnicodeString CSetupColor::ConvertToString(int color) const { return colorToString(color); }

void CSetupColor::SetSysColor(int sysColorIndex) {
    Set(colorOfMarkedIndex(sysColorIndex));
    SetString(textOfMarkedIndex(sysColorIndex));
}

CCacheSetupColor::CCacheSetupColor(const CUnicodeString& keyPath, const CUnicodeString& name,
                                   unsigned long defaultColor, TSetupType setupType)
    : CCacheSetup(keyPath, name, static_cast<int>(defaultColor), setupType) {}

CCacheSetupColor::~CCacheSetupColor() = default;

int CCacheSetupColor::ConvertFromString(CUnicodeString text) const {
    return colorFromString(text, GetDefault());
}

CUnicodeString CCacheSetupColor::ConvertToString(int color) const { return colorToString(color); }

void CCacheSetupColor::SetSysColor(int sysColorIndex) {
    setAs(colorOfMarkedIndex(sysColorIndex), textOfMarkedIndex(sysColorIndex));
}

} // namespace Tarn
