// Setup values: the persistent settings of an application, each an object that is read and written as a
// value.
//
// An object names one setting: where it lives, the path of its registry key and the name of its registry
// value, which always holds text. Reading never fails: what is missing or does not parse is the default. A
// write that fails raises `ERR_CANT_WRITE_TO_REGISTRY`. Plain values go to the registry every time; cached
// ones (`CCache...`) read it once, write through, and do not see what others write later. What they keep
// lives under the default memory manager, whichever is current. Nothing here locks: threads that share a
// cached value hold `cacheSetupSection` around its use.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/thread_storage.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// Where a setting lives: below the application's sections of the registry (which `Initialize` was given, and
/// which are asked for at every access), or anywhere below a root key.
enum TSetupType {
    ST_MachineSection,
    ST_UserSection,
    ST_LocalMachine,
    ST_CurrentUser,
    ST_Users,
    ST_ClassesRoot
};

class TARNKIT_API CSetupBase {
public:
    /// The text of the setting when the registry has none.
    virtual CUnicodeString GetDefaultString() const = 0;
    virtual ~CSetupBase();

    /// The text in the registry or the default one.
    CUnicodeString GetString() const;
    /// Stores a text, making the keys that are missing.
    void SetString(const CUnicodeString& value);

protected:
    CSetupBase(const CUnicodeString& keyPath, const CUnicodeString& name, TSetupType setupType);
    CSetupBase(const CSetupBase&) = default;
    CSetupBase& operator=(const CSetupBase&) = default;

private:
    HKEY getBaseKey() const;
    CUnicodeString getBaseKeyName() const;
    CUnicodeString getAbsolutePath() const;

    TSetupType type;
    CUnicodeString path;
    CUnicodeString valueName;

    template<class>
    friend struct CLayout;
};
TARNKIT_LAYOUT(CSetupBase, 16, type, path, valueName);

/// A value of type `T`, which the library has for `int`, stored as decimal text.
template<class T>
class TARNKIT_API CSetup : public CSetupBase {
public:
    CSetup(const CUnicodeString& keyPath, const CUnicodeString& name, T valueByDefault, TSetupType setupType);
    CSetup(const CSetup&) = default;
    CSetup& operator=(const CSetup&) = default;

    CUnicodeString GetDefaultString() const override;
    ~CSetup() override;
    virtual T Get();
    virtual void Set(T value);
    /// The default value for a text that does not parse.
    virtual T ConvertFromString(CUnicodeString text) const;
    virtual CUnicodeString ConvertToString(T value) const;

    T GetDefault() const { return defaultValue; }

private:
    T defaultValue;

    template<class>
    friend struct CLayout;
};
TARNKIT_EXTERN_TEMPLATE(class CSetup<int>);
TARNKIT_LAYOUT(CSetup<int>, 20, type, path, valueName, defaultValue);

template<class T>
class TARNKIT_API CCacheSetup : public CSetup<T> {
public:
    CCacheSetup(const CUnicodeString& keyPath, const CUnicodeString& name, T valueByDefault,
                TSetupType setupType);
    CCacheSetup(const CCacheSetup&) = default;
    CCacheSetup& operator=(const CCacheSetup&) = default;
    ~CCacheSetup() override;

    T Get() override;
    /// The value is kept even when it cannot be written.
    void Set(T value) override;

private:
    T cachedValue{};
    bool isCached = false;

    template<class>
    friend struct CLayout;
};
TARNKIT_EXTERN_TEMPLATE(class CCacheSetup<int>);
TARNKIT_LAYOUT(CCacheSetup<int>, 28, type, path, valueName, defaultValue, cachedValue, isCached);

/// One item of an enumeration. Items are static arrays that end with one without a name.
struct CEnumItem {
    int value;
    const char16_t* name;
};
TARNKIT_LAYOUT(CEnumItem, 8, value, name);

/// One of several values, stored under its name; names are found without regard to case.
class TARNKIT_API CSetupEnum : public CSetup<int> {
public:
    /// `enumItems` is not copied.
    CSetupEnum(const CUnicodeString& keyPath, const CUnicodeString& name, int valueByDefault,
               const CEnumItem* enumItems, TSetupType setupType);
    CSetupEnum(const CSetupEnum&) = default;
    CSetupEnum& operator=(const CSetupEnum&) = default;
    ~CSetupEnum() override;

    int ConvertFromString(CUnicodeString text) const override;
    /// Asserts on a value without a name.
    CUnicodeString ConvertToString(int value) const override;

private:
    const CEnumItem* items;

    friend struct CLayout<CSetupEnum>;
};
TARNKIT_LAYOUT(CSetupEnum, 24, type, path, valueName, defaultValue, items);

class TARNKIT_API CCacheSetupEnum : public CCacheSetup<int> {
public:
    CCacheSetupEnum(const CUnicodeString& keyPath, const CUnicodeString& name, int valueByDefault,
                    const CEnumItem* enumItems, TSetupType setupType);
    CCacheSetupEnum(const CCacheSetupEnum&) = default;
    CCacheSetupEnum& operator=(const CCacheSetupEnum&) = default;
    ~CCacheSetupEnum() override;

    int ConvertFromString(CUnicodeString text) const override;
    CUnicodeString ConvertToString(int value) const override;

private:
    const CEnumItem* items;

    friend struct CLayout<CCacheSetupEnum>;
};
TARNKIT_LAYOUT(CCacheSetupEnum, 32, type, path, valueName, defaultValue, cachedValue, isCached, items);

/// Set in the indices of system colours that `SetSysColor` takes: `kSysColorFlag + COLOR_WINDOW`.
inline constexpr int kSysColorFlag = 0x40000000;

/// A colour: red in bits 0 to 7, green in 8 to 15, blue in 16 to 23. Stored as "R=255, G=0, B=0", where
/// components that are left out are 0, or as the name of a system colour, "Sys=WINDOW". An empty text is
/// black.
class TARNKIT_API CSetupColor : public CSetup<int> {
public:
    CSetupColor(const CUnicodeString& keyPath, const CUnicodeString& name, unsigned long defaultColor,
                TSetupType setupType);
    CSetupColor(const CSetupColor&) = default;
    CSetupColor& operator=(const CSetupColor&) = default;
    ~CSetupColor() override;

    int ConvertFromString(CUnicodeString text) const override;
    CUnicodeString ConvertToString(int color) const override;

    /// Makes the setting a system colour, whose changes it follows from now on.
    void SetSysColor(int sysColorIndex);
};
TARNKIT_LAYOUT(CSetupColor, 20, type, path, valueName, defaultValue);

class TARNKIT_API CCacheSetupColor : public CCacheSetup<int> {
public:
    CCacheSetupColor(const CUnicodeString& keyPath, const CUnicodeString& name, unsigned long defaultColor,
                     TSetupType setupType);
    CCacheSetupColor(const CCacheSetupColor&) = default;
    CCacheSetupColor& operator=(const CCacheSetupColor&) = default;
    ~CCacheSetupColor() override;

    int ConvertFromString(CUnicodeString text) const override;
    CUnicodeString ConvertToString(int color) const override;

    /// This object keeps the colour as it is now.
    void SetSysColor(int sysColorIndex);
};
TARNKIT_LAYOUT(CCacheSetupColor, 28, type, path, valueName, defaultValue, cachedValue, isCached);

/// A list of texts, stored with commas between them and a backslash before each comma and backslash of a
/// text. Texts lose the white space around them; one that ends in a backslash is joined with the next one
/// when it is read back.
class TARNKIT_API CSetupStringArray : public CSetupBase {
public:
    CSetupStringArray(const CUnicodeString& keyPath, const CUnicodeString& name, TSetupType setupType);
    CSetupStringArray(const CSetupStringArray&) = default;
    CSetupStringArray& operator=(const CSetupStringArray&) = default;

    /// Empty: no texts.
    CUnicodeString GetDefaultString() const override;
    ~CSetupStringArray() override;
    virtual void Get(CArray<CUnicodeString, CurrentMemoryManager>& items);
    virtual void Set(const CArray<CUnicodeString, CurrentMemoryManager>& items);
    virtual void ConvertFromString(CUnicodeString text,
                                   CArray<CUnicodeString, CurrentMemoryManager>& items) const;
    virtual CUnicodeString ConvertToString(const CArray<CUnicodeString, CurrentMemoryManager>& items) const;

    /// Stores a list without texts.
    void SetDefault();
};
TARNKIT_LAYOUT(CSetupStringArray, 16, type, path, valueName);

class TARNKIT_API CCacheSetupStringArray : public CSetupStringArray {
public:
    CCacheSetupStringArray(const CUnicodeString& keyPath, const CUnicodeString& name, TSetupType setupType);
    CCacheSetupStringArray(const CCacheSetupStringArray& other);
    CCacheSetupStringArray& operator=(const CCacheSetupStringArray& other);
    ~CCacheSetupStringArray() override;

    void Get(CArray<CUnicodeString, CurrentMemoryManager>& items) override;
    /// The texts are kept, as they are given, even when they cannot be written.
    void Set(const CArray<CUnicodeString, CurrentMemoryManager>& items) override;

    /// Lets the next `Get` read the registry again.
    void Reset();

private:
    bool isCached = false;
    CArray<CUnicodeString, CurrentMemoryManager> cachedItems;

    friend struct CLayout<CCacheSetupStringArray>;
};
TARNKIT_LAYOUT(CCacheSetupStringArray, 32, type, path, valueName, isCached, cachedItems);

/// For client code that shares cached setup values between threads.
extern TARNKIT_API CCriticalSection cacheSetupSection;

} // namespace Tarn
