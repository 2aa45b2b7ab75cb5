/// \file
/// The library's life: start-up and shut-down, the modules that take part in it, what the application tells
/// the library about itself, its debug switches, and which system it runs on.
///
/// An application calls `Initialize` when it starts and `Clean` before it ends; the calls nest and only the
/// outermost pair does the work. Client modules register an initialisation and a termination function, which
/// the outermost pair calls. `Initialize`, `Clean` and registration belong to the main thread, at start-up
/// and shut-down; other threads must have ended before the last `Clean`. Everything else here may be called
/// on any thread at any time. The static-part and error flags belong to the calling thread; the throwing
/// switch, the title, the main window and the registry sections belong to the process.
///
/// \code
/// if (!Initialize(u"Software\\Example\\Editor", u"Software\\Example\\Editor"))
///     return 1; // the user has been told
/// SetAppTitle(u"Editor");
/// run();
/// Clean();
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// Starts the library with the application's registry sections (the paths of its keys under the current user
/// and under the machine). Null means `Software\Velmora\` followed by the executable's name. True when the
/// library is ready; a failure is shown to the user and never thrown.
TARNKIT_API bool Initialize(const char16_t* userRegistrySection, const char16_t* machineRegistrySection);

/// Undoes one `Initialize`.
TARNKIT_API void Clean();

/// Releases what the library keeps. Called when the library is unloaded; further calls do nothing.
TARNKIT_API void TerminateTarnkit();

/// Whether the library has been started and not been cleaned up.
TARNKIT_API bool IsTarnkitInitialized();

/// The version that clients are built against; the library they meet must report the same.
inline constexpr int kTarnkitVersion = 851;
/// The version of this library.
TARNKIT_API int GetTarnkitVersion();

/// Asserts, and says in words which versions met, when a module was built for another one than this
/// library's.
TARNKIT_API void RequireTarnkitVersion(int builtFor, HINSTANCE module);

/// Registers a client module with its initialisation and termination functions (each may be null).
/// Registering it again with the same functions changes nothing; with other ones it is an assertion. A module
/// that is registered after `Initialize` is initialised by the next `Initialize` or `LoadDLL`. Modules
/// usually call `RegisterThisModule` (tarnkit_static.h).
TARNKIT_API void RegisterModule(HINSTANCE module, void (*init)(), void (*term)());

/// The loaded module that contains `address`; null when none does.
TARNKIT_API HINSTANCE GetModuleOfAddress(const void* address);

///@{
/// The process's main module, recorded when the library is loaded. It can be set only once.
TARNKIT_API HINSTANCE GetApplicationInstance();
TARNKIT_API void SetApplicationInstance(HINSTANCE instance);
///@}

// Throwing or showing. Inside a static part of a thread, or while the process-wide switch is off, assertions
// and checks show their text and set the thread's error flag instead of throwing.

///@{
/// Static parts do not nest: the first `EndStaticPart` ends them all.
TARNKIT_API void BeginStaticPart();
TARNKIT_API void EndStaticPart();
TARNKIT_API bool IsInsideStaticPart();
///@}

/// Whether something failed on this thread without being thrown.
TARNKIT_API bool GetErrorFlag();
/// For code that shows such a failure itself, and to clear the flag.
TARNKIT_API void SetErrorFlag(bool isSet = true);

///@{
/// The process-wide switch. It is on at first.
TARNKIT_API bool IsThrowingEnabled();
TARNKIT_API void SetThrowingEnabled(bool isEnabled);
///@}

/// Sets the process-wide throwing switch for a scope.
class CThrowingSwitcher {
public:
    /// Remembers the switch and sets it.
    explicit CThrowingSwitcher(bool isEnabled) : previous(IsThrowingEnabled()) {
        SetThrowingEnabled(isEnabled);
    }
    ~CThrowingSwitcher() { SetThrowingEnabled(previous); }

    CThrowingSwitcher(const CThrowingSwitcher&) = delete;
    CThrowingSwitcher& operator=(const CThrowingSwitcher&) = delete;

private:
    bool previous;
};

// What the application tells the library about itself.

///@{
/// The caption of every message box; "Tarnkit" while none (or an empty one) is set.
TARNKIT_API CUnicodeString GetAppTitle();
TARNKIT_API void SetAppTitle(const CUnicodeString& title);
///@}
/// Whether a title that is not empty has been set.
TARNKIT_API bool IsAppTitleDefined();

///@{
/// The owner of message boxes; null until it is set. The window stays the application's.
TARNKIT_API HWND GetMainWindow();
TARNKIT_API void SetMainWindow(HWND window);
///@}

///@{
/// The registry paths of the application's settings. Asking for them asserts while the library is not
/// initialised; setting null always asserts.
TARNKIT_API CUnicodeString GetUserRegistrySection();
TARNKIT_API void SetUserRegistrySection(const char16_t* section);
TARNKIT_API CUnicodeString GetMachineRegistrySection();
TARNKIT_API void SetMachineRegistrySection(const char16_t* section);
///@}

///@{
/// The library's debug switches: string values under the current user's key `Software\Velmora\Tarnkit`,
/// opened for reading only. A value that is missing, has another type or does not parse as the number asked
/// for reads as the default.
TARNKIT_API CUnicodeString ReadLibrarySwitch(const char16_t* valueName, const char16_t* defaultValue);
TARNKIT_API int ReadLibraryNumber(const char16_t* valueName, int defaultValue, int radix = 10);
TARNKIT_API bool ReadLibraryFlag(const char16_t* valueName, bool defaultValue);
///@}
/// The same from the machine's key.
TARNKIT_API CUnicodeString ReadMachineSwitch(const char16_t* valueName, const char16_t* defaultValue);

///@{
/// The host system. A failure to find its version is an assertion.
TARNKIT_API bool IsWindows95();
TARNKIT_API bool IsWindows98();
TARNKIT_API bool IsWindowsME();
TARNKIT_API bool IsWindowsNT();
TARNKIT_API bool IsWindows2000();
TARNKIT_API bool IsWindowsXP();
TARNKIT_API bool IsPocketPC2000();
TARNKIT_API bool IsPocketPC2002();
///@}

} // namespace Tarn
