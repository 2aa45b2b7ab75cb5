/// \file
/// Every message box and every warning goes through one replaceable object, the current message handler.
///
/// The default shows a message box. A program without a user installs a handler that writes the text
/// somewhere and answers each question with the button that the box would have preselected.
/// `CMessageHandlerSwitcher` installs a handler for a scope, for the process or for the calling thread alone;
/// it does not own the handler, which must outlive the scope. Any thread may switch, for itself or for the
/// process. A handler is called on the thread that reports, by several threads at a time if it is the handler
/// of the process; the handlers of this header allow that. One for the process must outlive every report that
/// another thread began before the switch ended.
///
/// \code
/// CFileMessageHandler log(u"convert.log");
/// CMessageHandlerSwitcher toLog(&log);
/// Warning(e); // goes to the file
/// \endcode
#pragma once

#include <tarnkit/exceptions.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/string.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

#include <atomic>
#include <cstdarg>

namespace Tarn {

class CMessage;

/// Shows messages and warnings.
class TARNKIT_API CMessageHandler {
public:
    constexpr CMessageHandler() = default;
    constexpr virtual ~CMessageHandler() noexcept(false) {}

    /// Shows `text` with the flags of a message box; returns the code of the button pressed.
    virtual int ShowMessage(HWND owner, const char16_t* text, const char16_t* caption, unsigned flags) = 0;

    /// Shows an exception, which stays the caller's. An assertion or another warning on this thread while it
    /// is shown ends the process.
    virtual void ShowWarning(CException* e);

    /// The answer of a box with these flags when the user accepts the preselected button.
    static int GetDefaultReturnValue(unsigned flags);
};
TARNKIT_LAYOUT(CMessageHandler, 4);

/// A message box, modal for the whole application.
class TARNKIT_API CMessageBoxHandler : public CMessageHandler {
public:
    constexpr CMessageBoxHandler() = default;
    constexpr ~CMessageBoxHandler() override {}

    int ShowMessage(HWND owner, const char16_t* text, const char16_t* caption, unsigned flags) override;
};
TARNKIT_LAYOUT(CMessageBoxHandler, 4);

/// Writes to the debugger output and to a log file beside the executable, with the extension ".log". Always
/// answers OK.
class TARNKIT_API CConsoleMessageHandler : public CMessageHandler {
public:
    CConsoleMessageHandler();
    ~CConsoleMessageHandler() override;

    CConsoleMessageHandler(const CConsoleMessageHandler&) = delete;
    CConsoleMessageHandler& operator=(const CConsoleMessageHandler&) = delete;

    int ShowMessage(HWND owner, const char16_t* text, const char16_t* caption, unsigned flags) override;

    /// Makes a handler of this class the default one, if the default has not been needed yet.
    static void SetEnabled(bool isOn);
    /// Whether `SetEnabled` has been called with true last.
    static bool IsEnabled();
    /// Whether each message is followed by a line end; on by default.
    static void SetAddCRLF(bool isOn);

private:
    HANDLE logFile;
    CUnicodeString logFileName;

    static std::atomic<bool> isEnabled;
    static std::atomic<bool> isAddCRLF;

    friend void ReleaseMessageHandlers();
    friend struct CLayout<CConsoleMessageHandler>;

    bool openLogFile();
    void closeLogFile();
    void write(const char16_t* text);
};
TARNKIT_LAYOUT(CConsoleMessageHandler, 12, logFile, logFileName);

/// Appends each message with a blank line, in one write, to a file in UTF-16 with a byte order mark. Answers
/// with the preselected button.
class TARNKIT_API CFileMessageHandler : public CMessageHandler {
public:
    ///@{
    /// `name` is the file that the messages are appended to.
    explicit CFileMessageHandler(const CString& name);
    explicit CFileMessageHandler(const CUnicodeString& name);
    ///@}
    ~CFileMessageHandler() override;

    /// A message that cannot be written is lost.
    int ShowMessage(HWND owner, const char16_t* text, const char16_t* caption, unsigned flags) override;

private:
    CUnicodeString fileName;

    friend struct CLayout<CFileMessageHandler>;
};
TARNKIT_LAYOUT(CFileMessageHandler, 8, fileName);

/// Installs a handler for a scope. Scopes end in reverse order.
class TARNKIT_API CMessageHandlerSwitcher {
public:
    /// `newHandler` stays the caller's. It is installed for the process or, if `isForThread`, for the calling
    /// thread; at once, if `isBegun`.
    explicit CMessageHandlerSwitcher(CMessageHandler* newHandler, bool isBegun = true,
                                     bool isForThread = false);
    ~CMessageHandlerSwitcher();

    CMessageHandlerSwitcher(const CMessageHandlerSwitcher&) = delete;
    CMessageHandlerSwitcher& operator=(const CMessageHandlerSwitcher&) = delete;

    /// Installs the handler, unless that has been done. Without memory for a thread's handler nothing
    /// happens.
    void Begin();
    /// Brings the previous handler back, if this one is installed.
    void End();
    /// Whether the handler is installed.
    bool IsActive() const { return active; }

    /// Shows a message through the current handler. A `CException*` from the handler is deleted, and the
    /// preselected button is the answer.
    static int DoMessage(HWND owner, const char16_t* text, const char16_t* caption, unsigned flags);
    /// Shows an exception through the current handler; another one from the handler is deleted.
    static void DoWarning(CException* e);

private:
    CMessageHandler* handler;
    CMessageHandler* previous = nullptr;
    bool active = false;
    bool perThread;

    friend struct CLayout<CMessageHandlerSwitcher>;
};
TARNKIT_LAYOUT(CMessageHandlerSwitcher, 12, handler, previous, active, perThread);

/// The calling thread's handler, else the process's, else the default one; never null.
TARNKIT_API CMessageHandler* GetCurrentMessageHandler();

/// Shows a text, captioned with the application's title and owned by its main window; returns the button.
TARNKIT_API int MessageBoxW(const char16_t* text, int flags);
TARNKIT_API int MessageBoxW(const CMessage& message, int flags);

/// What a message box shows on the button with this code (IDOK, IDCANCEL, ..., IDNO, IDTRYAGAIN, IDCONTINUE),
/// in the interface language, or in English while the library is not started; empty for any other code. For
/// the boxes of toolkits: those of Windows have texts of its own.
TARNKIT_API CUnicodeString MessageBoxButtonText(int button);

/// The text as it can be written to a terminal without being obeyed there: control characters, and those that
/// change the order of what follows (U+202A to U+202E, U+2066 to U+2069), become visible, as `\x1B` or
/// `\u202E`. Tabs and line ends stay unless `isOneLine`; a carriage return stays only before a line feed. Of
/// the library, what asks on a terminal or traces does this itself.
TARNKIT_API CUnicodeString TerminalText(const CUnicodeString& text, bool isOneLine = false);

/// Sends formatted text to the debugger output.
TARNKIT_API void Trace(const char16_t* format, ...);
// Chosen, and refused, for an argument that is neither a number nor a pointer, as in `Format`.
template<class... Arguments>
requires(!CFormatArgument<std::decay_t<Arguments>> || ...) void Trace(const char16_t* format,
                                                                      const Arguments&... arguments) = delete;
/// The same with the arguments in a list.
TARNKIT_API void VTrace(const char16_t* format, va_list arguments);

/// Closes the log of the default handler. Called when the library is unloaded.
void ReleaseMessageHandlers();

/// Library-internal: prepares for forks of the process, when the library is loaded.
void AttachMessageHandlers();

} // namespace Tarn
