/// \file
/// Resource modules and interface languages: where texts and other resources are looked up.
///
/// The registry holds modules in the order in which they were added: modules registered by handle (plug-ins,
/// the executable, the library itself), which it does not own, and families of language libraries (a prefix,
/// the code of the language, ".dll"), of which it loads and owns the one for the current interface language
/// and the one for language 0, the original. Messages are looked for first in what the application has added,
/// the last added first and families in the current language; then in the originals: the families' libraries
/// of language 0, the program, the library itself. So a translation wins over an original in the
/// program or in a library of language 0.
///
/// `Initialize` completes the set-up: it finds the languages that are present and chooses one. Until then
/// language libraries are not searched, and language queries are assertions.
///
/// Any thread may look things up, add modules and change the language at any time. Lookups wait for no
/// change: each finds the modules as they were before a change or as they are after it. Modules are loaded
/// and initialised, and languages changed, by one thread at a time.
///
/// \code
/// AddResourcePrefix(FileSystem::GetEXEDir(), u"App"); // App0.dll, App2.dll, ...
/// Initialize(nullptr, nullptr);                       // chooses the language of the system
/// SetCurrentLanguageCode(2);                          // German
/// \endcode
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
/// What "GetMessageSystemVersion" returns.
inline constexpr int kMessageSystemVersion = 200;

/// Registers a module by its handle; it must stay loaded until `Clean`. It is searched for names before every
/// module that was added earlier.
TARNKIT_API void AddResourceModule(HINSTANCE module);
/// Loads a module with `LoadDLL` and registers it; nothing happens when it cannot be loaded.
TARNKIT_API void AddResourceModule(const char16_t* fileName);
/// Registers the language libraries in `folder` (null or empty: the folder of the executable) that are named
/// `prefix`, a language code in decimal and ".dll", such as Res1.dll. The library of language 0 has the
/// original texts; it is searched for what no translation has. Called after `Initialize`, this adds the
/// languages found to the available ones and uses the library of the current language at once.
TARNKIT_API void AddResourcePrefix(const char16_t* folder, const char16_t* prefix);

/// The first registered module that has the resource, or null. For a string the type is 6 and the name its
/// id; `ResourceId` turns a number into a name or type. Language libraries are searched first. If it is one
/// of those, a change of language on another thread may unload it at any time.
TARNKIT_API HINSTANCE FindResourceW(const char16_t* name, const char16_t* type);
/// The id as a name or type of a resource.
inline const char16_t* ResourceId(int id) {
    return reinterpret_cast<const char16_t*>(static_cast<std::uintptr_t>(static_cast<WORD>(id)));
}

/// Loads a string resource; an empty or missing one empties `text` and returns false.
TARNKIT_API bool LoadStringW(HINSTANCE module, int id, CUnicodeString& text);
/// The same from the first registered module that has the string.
TARNKIT_API bool LoadStringW(int id, CUnicodeString& text);

/// Loads a library, looked for beside the executable and then where the system searches. Returns null when it
/// cannot be loaded, for instance because one of its static objects throws, and leaves the reason in the last
/// error; nothing is shown. `Clean` releases the library. Modules that registered themselves while they were
/// loaded are initialised at once, or by `Initialize`.
TARNKIT_API HINSTANCE LoadDLL(const char16_t* name);
/// The same; a failure is the check `ERR_CANT_LOAD_DLL`.
TARNKIT_API HINSTANCE LoadModule(const char16_t* name);

// Interface languages, known by codes 0 to 47.

/// Codes are below this.
inline constexpr int kNumberOfLanguageCodes = 48;

/// The number of languages for which a library has been found.
TARNKIT_API int NumberOfLanguages();
/// The code of the available language at `index` (0 to `NumberOfLanguages() - 1`).
TARNKIT_API int GetLanguageCode(int index);
/// The position of a code among the available languages; -1 when it is not one of them.
TARNKIT_API int FindLanguageIndex(int code);
/// The name of an available language in that language; its code in decimal when its library has no name.
TARNKIT_API CUnicodeString GetLanguageDisplayName(int code);

/// The code of the language in which messages are shown.
TARNKIT_API int GetCurrentLanguageCode();
/// Makes an available language the current one and loads its libraries instead of the previous ones. Throws,
/// with nothing changed, when there is no memory or a library cannot be opened or read at present.
TARNKIT_API void SetCurrentLanguageCode(int code);

/// Always true; asserts on a code outside the range.
TARNKIT_API bool CanDisplayLanguage(int code);
/// The Windows language identifier: the sublanguage shifted left by 10 bits, or-ed with the primary language.
TARNKIT_API int GetSystemLanguageIdFromInterfaceCode(int code);
/// The code whose language and sublanguage match, else the code of the language without a sublanguage; -1
/// when there is neither.
TARNKIT_API int GetInterfaceCodeFromSystemLanguageId(unsigned short languageId);

// For the message catalogue.

/// The first module that knows a message name, in the order above, and the string id there; false when none
/// does. A change of language may unload the module at any time; `LoadMessage` is safe from that.
TARNKIT_API bool FindMessage(const char16_t* name, HINSTANCE& module, int& id);
/// The text of a message in the current language; false when there is none.
TARNKIT_API bool LoadMessage(const char16_t* name, CUnicodeString& text);
/// The text of a message as if `language` were the current one; false when there is none.
TARNKIT_API bool LoadMessageInLanguage(const char16_t* name, int language, CUnicodeString& text);
/// Appends the names that the registered modules define, module by module in the order of registration.
TARNKIT_API void AppendDefinedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names);

} // namespace Tarn
