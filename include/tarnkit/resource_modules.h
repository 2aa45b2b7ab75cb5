// Resource modules and interface languages: where texts and other resources are looked up.
//
// The registry holds modules in the order in which they were added: modules registered by handle (the
// library, the executable, plug-ins), which it does not own, and families of language libraries (a prefix,
// the code of the language, ".dll"), of which it loads and owns the one for the current interface language.
// `Initialize` completes the set-up: it finds the languages that are present and chooses one; until then
// language libraries are not consulted and language queries are assertions. Everything is for the main
// thread, except lookups, which any thread may make while nobody changes the registry.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

#include <cstdint>

namespace Tarn {

// The catalogue protocol: what a resource module exports under these names. Texts are string resources of the
// module, one for each id.
extern "C" {
using TGetResourceID = int (*)(const char16_t* name);   ///< "GetResourceID": 0 for an unknown name
using TNumberOfMessages = int (*)();                    ///< "NumberOfMessages"
using TGetMessageName = const char16_t* (*)(int index); ///< "GetMessageName": names in ascending order
using TGetMessageSystemVersion = int (*)();             ///< "GetMessageSystemVersion"
}
inline constexpr int kMessageSystemVersion = 200;

/// Registers a module by its handle, which must stay loaded until `Clean`. It is asked for names before every
/// module that was added earlier.
TARNKIT_API void AddResourceModule(HINSTANCE module);
/// Loads a module with `LoadDLL` and registers it; nothing happens when it cannot be loaded.
TARNKIT_API void AddResourceModule(const char16_t* fileName);
/// Registers the language libraries in `folder` that are named `prefix`, a language code in decimal and
/// ".dll", such as Res1.dll. After `Initialize` the languages found join the available ones and the library
/// of the current language is used at once.
TARNKIT_API void AddResourcePrefix(const char16_t* folder, const char16_t* prefix);

/// The first registered module that holds the resource, or null. The type 6 is a string, the name its id;
/// `ResourceId` makes a name or type of a number. Language libraries are asked first.
TARNKIT_API HINSTANCE FindResourceW(const char16_t* name, const char16_t* type);
inline const char16_t* ResourceId(int id) {
    return reinterpret_cast<const char16_t*>(static_cast<std::uintptr_t>(static_cast<WORD>(id)));
}

/// Loads a string resource; an empty or missing one empties `text` and gives false.
TARNKIT_API bool LoadStringW(HINSTANCE module, int id, CUnicodeString& text);
/// The same from the first registered module that has it.
TARNKIT_API bool LoadStringW(int id, CUnicodeString& text);

/// Loads a library, looked for beside the executable and then where the platform searches; null when it
/// cannot be loaded, with the last error as the load left it. `Clean` gives the library back. Modules that
/// announced themselves while loading are initialised when Tarnkit is.
TARNKIT_API HINSTANCE LoadDLL(const char16_t* name);
/// The same; a failure is the check `ERR_CANT_LOAD_DLL`.
TARNKIT_API HINSTANCE LoadModule(const char16_t* name);

// Interface languages, known by codes 0 to 47.

inline constexpr int kNumberOfLanguageCodes = 48;

TARNKIT_API int NumberOfLanguages();
/// The code of the available language at `index` (0 to `NumberOfLanguages() - 1`).
TARNKIT_API int GetLanguageCode(int index);
/// The position of a code among the available languages, or -1.
TARNKIT_API int FindLanguageIndex(int code);
/// How an available language calls itself; its code in decimal when its library does not say.
TARNKIT_API CUnicodeString GetLanguageDisplayName(int code);

TARNKIT_API int GetCurrentLanguageCode();
/// Makes an available language the current one and exchanges the language libraries.
TARNKIT_API void SetCurrentLanguageCode(int code);

TARNKIT_API bool CanDisplayLanguage(int code);
/// The Windows language identifier: the sublanguage shifted left by 10 bits, or-ed with the primary language.
TARNKIT_API int GetSystemLanguageIdFromInterfaceCode(int code);
/// The code whose language and sublanguage match, or whose language matches any sublanguage; -1 when none.
TARNKIT_API int GetInterfaceCodeFromSystemLanguageId(unsigned short languageId);

// What the message catalogue asks of the registry.

/// The module and the string id that the first registered module in search order (last added first) gives
/// for a message name; false when none knows it.
TARNKIT_API bool FindMessage(const char16_t* name, HINSTANCE& module, int& id);
/// The text of a message as if `language` were the current one; false when there is none.
TARNKIT_API bool LoadMessageInLanguage(const char16_t* name, int language, CUnicodeString& text);
/// Appends the names that the registered modules define, module by module in the order of registration.
TARNKIT_API void AppendDefinedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names);

} // namespace Tarn
