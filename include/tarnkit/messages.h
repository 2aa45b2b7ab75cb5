/// \file
/// The message catalogue: every text that a user sees is a named message.
///
/// A `CMessage` (or `CError`) is a static object that holds only the name of the message. Its text is looked
/// up by that name, each time it is asked for, in the registered resource modules (resource_modules.h), so a
/// translation that is added later takes effect at once. A message that no module defines is still usable:
/// its name stands in for the text. A missing message never makes anything here throw.
///
/// Every live object is in one library-wide list, which it joins when it is built and leaves when it is
/// destroyed; a module's messages should therefore be static objects. Any thread may look up texts at any
/// time. While another thread changes the language, each lookup returns the text of the old language or of
/// the new one, and waits for neither.
///
/// \code
/// static CMessage MSG_NOTES_FOUND(u"MSG_NOTES_FOUND", 0); // "%0 notes contain \"%1\"."
///
/// MessageBoxW(MSG_NOTES_FOUND.SubstParam(UnicodeStr(count), word), MB_OK);
/// \endcode
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// A named text; see the top of this header.
class TARNKIT_API CMessage {
public:
    /// `messageName` is not copied and must live as long as the object. The number is for the application;
    /// the library does not use it.
    CMessage(const char16_t* messageName, int declaredNumber);
    ~CMessage();

    CMessage(const CMessage&) = delete;
    CMessage& operator=(const CMessage&) = delete;

    /// The name, which is the same in every language.
    const char16_t* Name() const { return name; }

    /// Whether some registered module knows the name.
    bool IsDefined() const;

    /// The text in the current interface language; the name when no module has one. Of plural forms it is the
    /// last one.
    CUnicodeString UnicodeStr() const;

    /// The text in the interface language with this code, that is, what `UnicodeStr()` would return if it
    /// were the current one. Loads the libraries of another language for the length of the call.
    CUnicodeString UnicodeStr(int language) const;

    /// The text with %0, %1, ... replaced by the parameters. A message without a text becomes its name
    /// followed by the parameters, each after a space, so that no information is lost. Of a text with plural
    /// forms it is the one for the number that the parameter is, by default %0, and the last form if that is
    /// no whole number in the digits 0 to 9.
    CUnicodeString SubstParam(const CUnicodeString& p0) const;
    CUnicodeString SubstParam(const CUnicodeString& p0, const CUnicodeString& p1) const;
    CUnicodeString SubstParam(const CUnicodeString& p0, const CUnicodeString& p1,
                              const CUnicodeString& p2) const;
    CUnicodeString SubstParam(const CUnicodeString& p0, const CUnicodeString& p1, const CUnicodeString& p2,
                              const CUnicodeString& p3) const;
    CUnicodeString SubstParam(const CArray<CUnicodeString, CurrentMemoryManager>& parameters) const;

    /// The names that the registered modules define. These three lists are sorted and have no duplicates.
    static void GetDefinedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names);
    /// The names of the message objects that no module defines.
    static void GetUndefinedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names);
    /// The names that some module defines and no message object of the running program has.
    static void GetUnusedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names);

    /// Does nothing; kept for programs that call it.
    static void CleanUp();

private:
    static CMessage* head;
    static CArray<CUnicodeString, CurrentMemoryManager> usedNames();

    CUnicodeString substitute(const char16_t* const* parameters, int count) const;

    const char16_t* name;
    CMessage* next;
    CMessage* previous;
    [[maybe_unused]] int number;

    friend struct CLayout<CMessage>;
};
TARNKIT_LAYOUT(CMessage, 16, name, next, previous, number);

/// A message that gives the reason for a failed check (`GenCheck`).
class TARNKIT_API CError : public CMessage {
public:
    /// As for a message.
    CError(const char16_t* messageName, int declaredNumber) : CMessage(messageName, declaredNumber) {}

    /// The error as a message.
    CMessage& GetMessage() { return *this; }
    const CMessage& GetMessage() const { return *this; }
};
static_assert(sizeof(CError) == sizeof(CMessage));

/// The string id of the message in the first module that knows it; 0 when none does.
TARNKIT_API int MessageID(const CMessage& message);

/// Writes the undefined names and, below a heading, the unused ones to a new UTF-16 file, for translators.
/// Throws a `CFileException` when the file cannot be written.
TARNKIT_API void SaveUndefinedMessages(const CUnicodeString& fileName);

/// The same as a PO file, whose entries can be given texts; the unused names are in comments.
TARNKIT_API void SaveUndefinedMessagesAsPo(const CUnicodeString& fileName);

/// The library's own reasons for failed checks. Their texts, and what each parameter stands for, are in
/// catalogue/en.po, which is installed beside the language libraries.
extern TARNKIT_API CError ERR_BAD_ARCHIVE;
extern TARNKIT_API CError ERR_BAD_ARCHIVE_VERSION;
extern TARNKIT_API CError ERR_BAD_INI_FILE;
extern TARNKIT_API CError ERR_BAD_TEXT_FILE;
extern TARNKIT_API CError ERR_CANT_LOAD_DLL;
extern TARNKIT_API CError ERR_CANT_LOAD_RESOURCE;
extern TARNKIT_API CError ERR_CANT_WRITE_TO_REGISTRY;
extern TARNKIT_API CError ERR_CANT_WRITE_TO_SETUP;
extern TARNKIT_API CError ERR_CREATE_TEMP_FILE;
extern TARNKIT_API CError ERR_DIVIDE_ZERO;
extern TARNKIT_API CError ERR_NO_GDI_RESOURCE;
extern TARNKIT_API CError ERR_NO_TLS;
extern TARNKIT_API CError ERR_RATIONAL_OVERFLOW;
extern TARNKIT_API CError REFUSED_INI_KEY;
extern TARNKIT_API CError REFUSED_INI_TEXT;
extern TARNKIT_API CError TEXT_FILE_TOO_LARGE;
extern TARNKIT_API CError TOOLKIT_WITHOUT_DISPLAY;

/// The library's other messages.
extern TARNKIT_API CMessage ERR_FILE_ACCESS_DENIED;
extern TARNKIT_API CMessage ERR_FILE_BAD_PATH;
extern TARNKIT_API CMessage ERR_FILE_BAD_SEEK;
extern TARNKIT_API CMessage ERR_FILE_DIRECTORY_FULL;
extern TARNKIT_API CMessage ERR_FILE_DISK_FULL;
extern TARNKIT_API CMessage ERR_FILE_END_OF_FILE;
extern TARNKIT_API CMessage ERR_FILE_GENERIC;
extern TARNKIT_API CMessage ERR_FILE_HARD_IO;
extern TARNKIT_API CMessage ERR_FILE_INVALID_FILE;
extern TARNKIT_API CMessage ERR_FILE_LOCK_VIOLATION;
extern TARNKIT_API CMessage ERR_FILE_NOT_FOUND;
extern TARNKIT_API CMessage ERR_FILE_REMOVE_CURRENT_DIR;
extern TARNKIT_API CMessage ERR_FILE_SHARING_VIOLATION;
extern TARNKIT_API CMessage ERR_FILE_TOO_MANY_OPEN_FILES;
extern TARNKIT_API CMessage ERR_UNCAUGHT_INTERNAL_ERROR;
extern TARNKIT_API CMessage MSG_MEMORY_FILE;

#if defined(TARNKIT_BUILDING)
// For the library itself only.
extern CMessage CURRENT_LANGUAGE_NAME;
extern CMessage ERR_UNKNOWN_COM_ERROR;
extern CMessage ERR_UNKNOWN_LAST_ERROR_TEXT;
extern CMessage MSG_ASSERT;
extern CMessage MSG_INTERNAL_ERROR;
extern CMessage MSG_PRESUME;
extern CMessage TEXT_OF_BUTTON_ABORT;
extern CMessage TEXT_OF_BUTTON_CANCEL;
extern CMessage TEXT_OF_BUTTON_CONTINUE;
extern CMessage TEXT_OF_BUTTON_IGNORE;
extern CMessage TEXT_OF_BUTTON_NO;
extern CMessage TEXT_OF_BUTTON_OK;
extern CMessage TEXT_OF_BUTTON_RETRY;
extern CMessage TEXT_OF_BUTTON_TRY_AGAIN;
extern CMessage TEXT_OF_BUTTON_YES;
extern CMessage WRONG_LIBRARY_VERSION;
#endif

} // namespace Tarn
