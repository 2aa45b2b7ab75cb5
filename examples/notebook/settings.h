// What the notebook remembers from one run to the next, as setup values in the user's part of the registry.
#pragma once

#include <tarnkit/setup.h>

/// A text. The library has no setup value for texts; this is all that another type takes.
class CSetupText : public Tarn::CSetupBase {
public:
    CSetupText(const Tarn::CUnicodeString& keyPath, const Tarn::CUnicodeString& name,
               Tarn::TSetupType setupType)
        : CSetupBase(keyPath, name, setupType) {}

    Tarn::CUnicodeString GetDefaultString() const override { return Tarn::CUnicodeString(); }
};

class CSettings {
public:
    /// A profile is a name for a separate set of settings. The usual settings have none.
    explicit CSettings(const Tarn::CUnicodeString& profile);

    Tarn::CSetup<int> Language;
    Tarn::CCacheSetupColor TimeColor;
    Tarn::CCacheSetupColor TitleColor;
    CSetupText LastBook; // full names
    Tarn::CSetupStringArray RecentBooks;

    /// Makes the book the last one and the first of the recent ones.
    void Remember(const Tarn::CUnicodeString& bookName);

    /// Removes the settings from the registry.
    void Forget();

private:
    Tarn::CUnicodeString key; // below the program's section of the registry
};
