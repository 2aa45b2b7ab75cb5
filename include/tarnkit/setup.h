/// \file
/// Setup values: objects that each stand for one persistent setting of an application.
///
/// A setup value names a place in the registry: a root key or one of the application's sections, a path below
/// it, and a value, which always holds text. Reading never fails: a value that is missing, does not parse or
/// cannot be read at present gives the default. A failed write raises `ERR_CANT_WRITE_TO_REGISTRY`.
///
/// Plain setup values access the registry each time. Cached ones (`CCache...`) read it once and write
/// through; they do not see what others write later. If the registry cannot be read, they give the default
/// and try again the next time. What they keep in memory always comes from the default memory manager.
///
/// Any thread may read and set any value at any time, cached ones included: what was set last is what is
/// cached and stored. Copying and assigning a setup object counts as a change of the object, which others
/// must not use meanwhile. `cacheSetupSection` is not needed for any of this.
///
/// \code
/// static CSetup<int> width(u"Window", u"Width", 800, ST_UserSection);
/// width.Set(width.Get() + 100);
/// \endcode
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/thread_storage.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// What the path of a setting is relative to: one of the application's registry sections, which `Initialize`
/// was given and which are looked up at every access, or a root key.
enum TSetupType {
    ST_MachineSection, ///< the machine's section below HKEY_LOCAL_MACHINE
    ST_UserSection,    ///< the user's section below HKEY_CURRENT_USER
    ST_LocalMachine,   ///< HKEY_LOCAL_MACHINE
    ST_CurrentUser,    ///< HKEY_CURRENT_USER
    ST_Users,          ///< HKEY_USERS
    ST_ClassesRoot     ///< HKEY_CLASSES_ROOT
};

/// The base of all setup values: a named text in the registry.
class TARNKIT_API CSetupBase {
public:
    /// The text of the setting if the registry has none.
    virtual CUnicodeString GetDefaultString() const = 0;
    virtual ~CSetupBase();

    /// The text in the registry, or the default text if there is none.
    CUnicodeString GetString() const;
    /// Stores a text and creates missing keys. Raises `ERR_CANT_WRITE_TO_REGISTRY` if that fails.
    void SetString(const CUnicodeString& value);

protected:
    /// The setting `name` of the key `keyPath`, which `setupType` says where to look for. Nothing is read
    /// yet.
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

    friend class CSetupAccess;
    template<class>
    friend struct CLayout;
};
TARNKIT_LAYOUT(CSetupBase, 16, type, path, valueName);

/// A number, stored as decimal text. The library provides `CSetup<int>`.
template<class T>
class TARNKIT_API CSetup : public CSetupBase {
public:
    /// A setting with this place and default value. Nothing is read yet.
    CSetup(const CUnicodeString& keyPath, const CUnicodeString& name, T valueByDefault, TSetupType setupType);
    CSetup(const CSetup&) = default;
    CSetup& operator=(const CSetup&) = default;

    /// The default value as text.
    CUnicodeString GetDefaultString() const override;
    ~CSetup() override;
    /// The value in the registry, or the default value if there is none or it does not parse.
    virtual T Get();
    /// Stores the value. Raises `ERR_CANT_WRITE_TO_REGISTRY` if that fails.
    virtual void Set(T value);
    /// Gives the default value for a text that does not parse.
    virtual T ConvertFromString(CUnicodeString text) const;
    /// The text that is stored for `value`.
    virtual CUnicodeString ConvertToString(T value) const;

    /// The value if the registry has none.
    T GetDefault() const { return defaultValue; }

private:
    T defaultValue;

    template<class>
    friend struct CLayout;
};
TARNKIT_EXTERN_TEMPLATE(class CSetup<int>);
TARNKIT_LAYOUT(CSetup<int>, 20, type, path, valueName, defaultValue);

/// A number that is read from the registry once.
template<class T>
class TARNKIT_API CCacheSetup : public CSetup<T> {
public:
    /// As for `CSetup`.
    CCacheSetup(const CUnicodeString& keyPath, const CUnicodeString& name, T valueByDefault,
                TSetupType setupType);
    CCacheSetup(const CCacheSetup&) = default;
    CCacheSetup& operator=(const CCacheSetup&) = default;
    ~CCacheSetup() override;

    /// The value that was read first, or set last.
    T Get() override;
    /// Keeps the value in memory even if it cannot be written.
    void Set(T value) override;

    /// Makes the next `Get` read the registry again, for instance after a `CRegistryWatch` has seen a change.
    void Reset();

protected:
    /// Keeps the value in memory and stores a text that stands for it, in one step.
    void setAs(T value, const CUnicodeString& text);

private:
    T cachedValue{};
    bool isCached = false;

    void cache(T value);

    template<class>
    friend struct CLayout;
};
TARNKIT_EXTERN_TEMPLATE(class CCacheSetup<int>);
TARNKIT_LAYOUT(CCacheSetup<int>, 28, type, path, valueName, defaultValue, cachedValue, isCached);

/// One item of an enumeration. An enumeration's items are a static array that ends with an item whose name is
/// null.
struct CEnumItem {
    int value;            ///< what `Get` and `Set` know
    const char16_t* name; ///< what is stored; null ends the items
};
TARNKIT_LAYOUT(CEnumItem, 8, value, name);

/// One of several values, stored by name. Case does not matter when a name is read.
class TARNKIT_API CSetupEnum : public CSetup<int> {
public:
    /// `enumItems` is not copied; asserts if it is null.
    CSetupEnum(const CUnicodeString& keyPath, const CUnicodeString& name, int valueByDefault,
               const CEnumItem* enumItems, TSetupType setupType);
    CSetupEnum(const CSetupEnum&) = default;
    CSetupEnum& operator=(const CSetupEnum&) = default;
    ~CSetupEnum() override;

    int ConvertFromString(CUnicodeString text) const override;
    /// Asserts if no item has the value.
    CUnicodeString ConvertToString(int value) const override;

private:
    const CEnumItem* items;

    friend struct CLayout<CSetupEnum>;
};
TARNKIT_LAYOUT(CSetupEnum, 24, type, path, valueName, defaultValue, items);

/// An enumeration that is read from the registry once.
class TARNKIT_API CCacheSetupEnum : public CCacheSetup<int> {
public:
    /// As for `CSetupEnum`.
    CCacheSetupEnum(const CUnicodeString& keyPath, const CUnicodeString& name, int valueByDefault,
                    const CEnumItem* enumItems, TSetupType setupType);
    CCacheSetupEnum(const CCacheSetupEnum&) = default;
    CCacheSetupEnum& operator=(const CCacheSetupEnum&) = default;
    ~CCacheSetupEnum() override;

    int ConvertFromString(CUnicodeString text) const override;
    /// As for `CSetupEnum`: asserts if no item has the value.
    CUnicodeString ConvertToString(int value) const override;

private:
    const CEnumItem* items;

    friend struct CLayout<CCacheSetupEnum>;
};
TARNKIT_LAYOUT(CCacheSetupEnum, 32, type, path, valueName, defaultValue, cachedValue, isCached, items);

/// Marks the index of a system colour for `SetSysColor`: `kSysColorFlag + COLOR_WINDOW`. Windows CE defines
/// its own indices this way.
inline constexpr int kSysColorFlag = 0x40000000;

/// A colour: red in bits 0 to 7, green in bits 8 to 15, blue in bits 16 to 23. It is stored as "R=255, G=0,
/// B=0", where a missing component counts as 0, or as the name of a system colour, "Sys=WINDOW". An empty
/// text is black.
class TARNKIT_API CSetupColor : public CSetup<int> {
public:
    /// A setting with this place and default colour. Nothing is read yet.
    CSetupColor(const CUnicodeString& keyPath, const CUnicodeString& name, unsigned long defaultColor,
                TSetupType setupType);
    CSetupColor(const CSetupColor&) = default;
    CSetupColor& operator=(const CSetupColor&) = default;
    ~CSetupColor() override;

    int ConvertFromString(CUnicodeString text) const override;
    /// The components, as the class stores them.
    CUnicodeString ConvertToString(int color) const override;

    /// Makes the setting follow a system colour, also when that changes. An index without `kSysColorFlag`, or
    /// that of no system colour, stores a text that reads as the default colour.
    void SetSysColor(int sysColorIndex);
};
TARNKIT_LAYOUT(CSetupColor, 20, type, path, valueName, defaultValue);

/// A colour that is read from the registry once.
class TARNKIT_API CCacheSetupColor : public CCacheSetup<int> {
public:
    /// As for `CSetupColor`.
    CCacheSetupColor(const CUnicodeString& keyPath, const CUnicodeString& name, unsigned long defaultColor,
                     TSetupType setupType);
    CCacheSetupColor(const CCacheSetupColor&) = default;
    CCacheSetupColor& operator=(const CCacheSetupColor&) = default;
    ~CCacheSetupColor() override;

    int ConvertFromString(CUnicodeString text) const override;
    /// As for `CSetupColor`.
    CUnicodeString ConvertToString(int color) const override;

    /// Stores the name of the system colour as `CSetupColor` does; this object keeps its current colour.
    void SetSysColor(int sysColorIndex);
};
TARNKIT_LAYOUT(CCacheSetupColor, 28, type, path, valueName, defaultValue, cachedValue, isCached);

/// A list of texts, stored with commas between them; a comma or backslash inside a text is stored with a
/// backslash before it. White space around a text is lost. A text that ends in a backslash is joined to the
/// next one when the list is read back.
class TARNKIT_API CSetupStringArray : public CSetupBase {
public:
    /// A setting with this place. Nothing is read yet.
    CSetupStringArray(const CUnicodeString& keyPath, const CUnicodeString& name, TSetupType setupType);
    CSetupStringArray(const CSetupStringArray&) = default;
    CSetupStringArray& operator=(const CSetupStringArray&) = default;

    /// The empty text, which is the list without items.
    CUnicodeString GetDefaultString() const override;
    ~CSetupStringArray() override;
    /// The texts in the registry; none if it has none.
    virtual void Get(CArray<CUnicodeString, CurrentMemoryManager>& items);
    /// Stores the texts. Raises `ERR_CANT_WRITE_TO_REGISTRY` if that fails.
    virtual void Set(const CArray<CUnicodeString, CurrentMemoryManager>& items);
    /// The texts that `text` stands for.
    virtual void ConvertFromString(CUnicodeString text,
                                   CArray<CUnicodeString, CurrentMemoryManager>& items) const;
    /// The text that stands for `items`.
    virtual CUnicodeString ConvertToString(const CArray<CUnicodeString, CurrentMemoryManager>& items) const;

    /// Stores the empty list.
    void SetDefault();
};
TARNKIT_LAYOUT(CSetupStringArray, 16, type, path, valueName);

/// A list of texts that is read from the registry once.
class TARNKIT_API CCacheSetupStringArray : public CSetupStringArray {
public:
    /// As for `CSetupStringArray`.
    CCacheSetupStringArray(const CUnicodeString& keyPath, const CUnicodeString& name, TSetupType setupType);
    CCacheSetupStringArray(const CCacheSetupStringArray& other);
    CCacheSetupStringArray& operator=(const CCacheSetupStringArray& other);
    ~CCacheSetupStringArray() override;

    /// The texts that were read first, or set last.
    void Get(CArray<CUnicodeString, CurrentMemoryManager>& items) override;
    /// Keeps the texts in memory, untrimmed, even if they cannot be written.
    void Set(const CArray<CUnicodeString, CurrentMemoryManager>& items) override;

    /// Makes the next `Get` read the registry again.
    void Reset();

private:
    bool isCached = false;
    CArray<CUnicodeString, CurrentMemoryManager> cachedItems;

    friend struct CLayout<CCacheSetupStringArray>;
};
TARNKIT_LAYOUT(CCacheSetupStringArray, 32, type, path, valueName, isCached, cachedItems);

/// Lets client code mark, with a `CCriticalSectionLock`, where cached setup values are shared between
/// threads. Like every `CCriticalSection` it is empty; the values need no lock.
extern TARNKIT_API CCriticalSection cacheSetupSection;

} // namespace Tarn
